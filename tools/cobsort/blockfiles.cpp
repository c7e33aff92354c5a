#include "cobsort/blockfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace cobsort {

namespace {

constexpr size_t blockbytes = size_t{1} << 18;

// Nothing stands between its records, nothing is done to them on their way, and the
// descriptor is the file.
bool isplain(const cob_file *data) {
    struct stat found;
    return data->organization == COB_ORG_SEQUENTIAL && data->record_min == data->record_max &&
           data->record_max != 0 && data->variable_record == nullptr &&
           data->sort_collating == nullptr && // its code set
           !COB_FILE_SPECIAL(data) && (data->flag_select_features & COB_SELECT_LINAGE) == 0 &&
           data->flag_nonexistent == 0 && data->fd >= 0 && fstat(data->fd, &found) == 0 &&
           S_ISREG(found.st_mode);
}

} // namespace

std::optional<filerows> rowsof(const cob_file *data, const cob_file *sort) {
    struct stat found;
    const size_t step = data->record_max, room = sort->record->size;
    if (!isplain(data) || data->record->size != step || room > sort->record_max ||
        fstat(data->fd, &found) != 0)
        return std::nullopt;
    const off_t from = lseek(data->fd, 0, SEEK_CUR);
    if (from < 0 || found.st_size < from)
        return std::nullopt;
    const uint64_t count = static_cast<uint64_t>(found.st_size - from) / step;
    if (count < 2)
        return std::nullopt;
    const size_t taken = std::min(step, room);
    return filerows{data->fd, static_cast<uint64_t>(from), count - 1,
                    shape{step, taken, room - taken, sort->record->data, sort->record_max}};
}

bool skiprows(const filerows &rows) {
    const uint64_t behind = rows.from + rows.count * rows.form.step;
    return lseek(rows.descriptor, static_cast<off_t>(behind), SEEK_SET) >= 0;
}

void moverecord(cob_file *to, const cob_file *from) {
    const size_t room = to->record->size, moved = std::min(room, from->record->size);
    std::memcpy(to->record->data, from->record->data, moved);
    std::memset(to->record->data + moved, ' ', room - moved);
}

outfile::outfile(cob_file *to, const cob_file *from, bool straight)
    : file(to), sort(from), option(0), inblocks(straight && isplain(to)) {
    if (COB_FILE_SPECIAL(file) || file->organization == COB_ORG_LINE_SEQUENTIAL)
        option = COB_WRITE_BEFORE | COB_WRITE_LINES | 1;
    if (inblocks)
        block.reserve(std::max(blockbytes, file->record_max));
}

bool outfile::write() {
    file->record->size = file->record_max;
    cob_write(file, file->record, option, nullptr, 0);
    return file->file_status[0] != '3';
}

bool outfile::put() {
    file->record->size = file->record_max;
    moverecord(file, sort);
    if (!inblocks)
        return write();
    const size_t step = file->record_max;
    if (block.size() + step > block.capacity() && !flush(0))
        return false;
    block.insert(block.end(), file->record->data, file->record->data + step);
    return true;
}

bool outfile::finish() {
    return !inblocks || block.empty() || flush(1);
}

// Writes what waits, the last `keep` records through the run-time.  Where the system does not
// take all, the run-time writes each from there on: its status tells, and the file ends
// where it would have ended.
bool outfile::flush(size_t keep) {
    const size_t step = file->record_max, most = block.size() - keep * step;
    size_t done = 0;
    while (done < most) {
        const ssize_t put = ::write(file->fd, block.data() + done, most - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            break;
        done += static_cast<size_t>(put);
    }
    const size_t over = done % step;
    done -= over;
    if (over != 0) {
        const off_t end = lseek(file->fd, -static_cast<off_t>(over), SEEK_CUR);
        if (end < 0 || ftruncate(file->fd, end) != 0)
            return false;
    }
    inblocks = inblocks && done == most;
    bool well = true;
    for (; done < block.size() && (well || runtimeversion() == version::v31); done += step) {
        std::memcpy(file->record->data, block.data() + done, step);
        well = write();
    }
    block.clear();
    return well;
}

} // namespace cobsort
