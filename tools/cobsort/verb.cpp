#include "cobsort/verb.h"

#include "cobsort/explain.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace cobsort {

namespace {

bool iswell(const cob_file *file) {
    return file->file_status[0] == '0';
}

// Version 3.1 takes a file that cannot be opened as one without records, and writes on where
// one cannot be written; both end in other statuses than the file's.  3.2 does neither, and
// has an exception of its own for files that are open, which is left to it.
bool stopsatfaults() {
    return runtimeversion() == version::v32;
}

bool isopenalready(const cob_file *file) {
    return file->file_status[0] == '4';
}

uint64_t sequenceof(const keyplan &order, const unsigned char *record) {
    uint64_t number = 0;
    for (size_t i = order.ahead() - sizeof number; i < order.ahead(); ++i)
        number = number << 8 | record[i];
    return number;
}

} // namespace

verb::verb(cob_file *sort, int *result, cob_field *filestatus)
    : file(sort), sortreturn(result), status(filestatus) {}

verb::~verb() = default;

// ---- whose it is

void verb::decide() {
    if (whose != owner::nobody)
        return;
    whose = owner::theirs;
    order = keyplan::make(file->keys, file->nkeys, file->sort_collating, file->record_max, whynot);
    if (!order)
        return;
    records = std::make_unique<store>(*order, file->record_max);
    whose = owner::ours;
}

void verb::handover(const std::string &why, uint64_t below) {
    if (whose == owner::theirs || whose == owner::lost)
        return;
    whynot = why;
    if (whose == owner::ours) {
        const std::vector<unsigned char> area(file->record->data,
                                              file->record->data + file->record_max);
        if (!retrieving)
            records->endunsorted();
        while (const unsigned char *record = records->get())
            if (sequenceof(*order, record) < below) {
                std::memcpy(file->record->data, record + order->ahead(), area.size());
                own().release(file);
            }
        std::memcpy(file->record->data, area.data(), area.size());
        records.reset();
    }
    whose = owner::theirs;
}

void verb::lose() {
    static_cast<void>(records.release()); // its threads cannot be waited for
    whose = owner::lost;
}

// ---- what the program is told

void verb::succeed() {
    cob_global *global = cob_get_global_ptr();
    global->cob_error_file = file;
    global->cob_exception_code = 0;
    std::memset(file->file_status, '0', 2);
    if (status != nullptr)
        std::memset(status->data, '0', 2);
}

// A record that is released to a sort that has begun to give back is what the run-time
// refuses as it does any failure.
void verb::fail() {
    own().giveback(file);
    own().release(file);
}

void verb::tellfault() {
    if (sortreturn != nullptr)
        *sortreturn = 16;
}

// False where it fails, from then on always: records are gone.
template <typename Work>
bool verb::guarded(Work work) {
    if (whose == owner::lost)
        return false;
    try {
        return work();
    } catch (const kvern::error &failed) {
        // Where the run-time ends the program; the engine names a full folder so as well.
        if (failed.detail == KVRN_D_TEMPCREATE && !cancreate()) {
            cob_runtime_error("SORT is unable to acquire temporary file");
            cob_stop_run(1);
        }
    } catch (const std::exception &) { // no memory
    }
    records.reset();
    whose = owner::lost;
    return false;
}

// ---- towards the sort

// False: it is handed over, without what was offered.
template <typename Put>
bool verb::offer(Put put) {
    const uint64_t before = records->taken();
    std::string why = uncleankey;
    try {
        if (put())
            return true;
    } catch (const notstarted &failed) {
        why = failed.what();
    }
    handover(why, before);
    return false;
}

bool verb::submit() {
    decide();
    if (whose == owner::ours && retrieving)
        return false;
    ++in;
    if (whose == owner::ours && offer([&] { return records->put(file->record->data); }))
        return true;
    own().release(file);
    return iswell(file);
}

void verb::release() {
    const bool done = guarded([&] { return submit(); });
    if (whose == owner::theirs)
        return; // who has told
    done ? succeed() : fail();
}

// False: the file cannot be read on.
bool verb::submitrows(cob_file *data) {
    const std::optional<filerows> rows = rowsof(data, file);
    if (whose != owner::ours || !rows || !offer([&] { return records->put(*rows); }))
        return true;
    in += rows->count;
    return skiprows(*rows);
}

void verb::sortusing(cob_file *data) {
    guarded([&] { return decide(), true; });
    if (whose == owner::theirs && !explained())
        return own().sortusing(file, data);
    cob_open(data, COB_OPEN_INPUT, 0, nullptr);
    if (!iswell(data) && stopsatfaults()) {
        if (!isopenalready(data))
            return tellfault();
        guarded([&] { return handover("a file is open already"), true; });
        return own().sortusing(file, data);
    }
    bool going = retrieving || !iswell(data) || guarded([&] { return submitrows(data); });
    while (going) {
        cob_read_next(data, nullptr, COB_READ_NEXT);
        if (!iswell(data))
            break;
        moverecord(file, data);
        going = guarded([&] { return submit(); });
    }
    cob_close(data, nullptr, COB_CLOSE_NORMAL, 0);
}

// ---- back

// False: it is handed over.
bool verb::begin() {
    if (!std::exchange(retrieving, true)) {
        if (!order->stillfits()) {
            retrieving = false;
            handover("a key field has changed its size");
            return false;
        }
        records->end();
    }
    return whose == owner::ours;
}

// The next record into the record area; false: there is none, or it is not ours.
bool verb::retrieve() {
    if (whose != owner::ours || !begin())
        return false;
    const unsigned char *record = records->get();
    if (record == nullptr && out != in)
        throw std::logic_error("a sort gives back other than it took");
    if (record == nullptr)
        return false;
    std::memcpy(file->record->data, record + order->ahead(), file->record_max);
    ++out;
    return true;
}

void verb::giveback() {
    if (whose == owner::nobody)
        handover("there are no records");
    if (guarded([&] { return retrieve(); }))
        return succeed();
    if (whose == owner::lost)
        return fail();
    own().giveback(file);
    if (whose == owner::theirs && iswell(file))
        ++out;
}

void verb::giving(const std::vector<cob_file *> &files) {
    if (whose == owner::nobody)
        handover("there are no records");
    if (whose == owner::ours)
        guarded([&] { return begin(); });
    const bool passable = files.size() <= mostpassed;
    if (whose == owner::theirs && !explained() && passable)
        return passgiving(file, files);
    for (cob_file *one : files)
        cob_open(one, COB_OPEN_OUTPUT, 0, nullptr);
    if (stopsatfaults() && passable && std::any_of(files.begin(), files.end(), isopenalready)) {
        for (cob_file *one : files)
            if (iswell(one))
                cob_close(one, nullptr, COB_CLOSE_NORMAL, 0);
        guarded([&] { return handover("a file is open already"), true; });
        return passgiving(file, files);
    }
    std::vector<cob_file *> opened;
    std::copy_if(files.begin(), files.end(), std::back_inserter(opened),
                 [](const cob_file *one) { return iswell(one) || !stopsatfaults(); });
    const bool written = writeout(opened);
    for (cob_file *one : opened)
        cob_close(one, nullptr, COB_CLOSE_NORMAL, 0);
    if (written)
        std::memcpy(file->file_status, whose == owner::lost ? "30" : "10", 2);
    if (!written || whose == owner::lost || opened.size() != files.size())
        tellfault();
}

// The next record for the files, whoever has it.
bool verb::nextrecord() {
    if (whose != owner::theirs)
        return guarded([&] { return retrieve(); });
    own().giveback(file);
    if (!iswell(file))
        return false;
    ++out;
    return true;
}

// False: a file cannot be written, and nothing more is.
bool verb::writeout(const std::vector<cob_file *> &files) {
    const bool stops = stopsatfaults();
    std::vector<outfile> outs;
    outs.reserve(files.size());
    for (cob_file *one : files) // where one stops all, it has to be seen at its record
        outs.emplace_back(one, file, !stops || files.size() == 1);
    while (nextrecord())
        for (outfile &one : outs)
            if (!one.put() && stops)
                return false;
    for (outfile &one : outs)
        if (!one.finish() && stops)
            return false;
    return true;
}

void verb::yield() {
    guarded([&] { return handover("files have handlers of the program's own"), true; });
}

void verb::explain() const {
    if (whose == owner::lost)
        tellsort(file->select_name, "nobody", "Kvern failed", in, out, begun);
    else
        tellsort(file->select_name, "the run-time", whynot, in, out, begun);
}

} // namespace cobsort
