#include "cobsort/tables.h"

#include "cobsort/explain.h"
#include "cobsort/keys.h"
#include "cobsort/store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <vector>

namespace cobsort {

namespace {

constexpr size_t worthwhile = size_t{1} << 16; // bytes; smaller tables are the run-time's

struct described {
    const unsigned char *collating = nullptr;
    std::vector<cob_file_key> keys;
};
described description; // of the table that is sorted next

bool known() { // else the run-time's structs are not looked into
    return runtimeversion() != version::unknown;
}

const unsigned char *collatingof(const unsigned char *given) {
    return given != nullptr ? given : cob_get_global_ptr()->cob_current_module->collating_sequence;
}

// False: nothing was changed.
bool sorted(const cob_field *table, size_t count, std::string &whynot) {
    const size_t length = table->size;
    const std::optional<keyplan> order = keyplan::make(
        description.keys.data(), description.keys.size(), description.collating, length, whynot);
    if (!order)
        return false;
    store records(*order, length);
    for (size_t i = 0; i < count; ++i)
        if (!records.put(table->data + i * length)) {
            whynot = uncleankey;
            return false;
        }
    records.end();
    // Where one cannot be read back, the table is left as it was.
    std::vector<unsigned char> all;
    all.reserve(count * length);
    while (const unsigned char *record = records.get())
        all.insert(all.end(), record + order->ahead(), record + order->ahead() + length);
    if (all.size() != count * length)
        throw std::logic_error("a sort gives back other than it took");
    std::memcpy(table->data, all.data(), all.size());
    return true;
}

bool taken(const cob_field *table, size_t count, std::string &whynot) {
    if (!known() || count < 2 || table->size * count < worthwhile)
        return false;
    try {
        return sorted(table, count, whynot);
    } catch (const std::exception &failed) {
        whynot = failed.what();
        return false;
    }
}

} // namespace

void tableinit(size_t keys, const unsigned char *collating) {
    own().tableinit(keys, collating);
    description.collating = known() ? collatingof(collating) : nullptr;
    description.keys.clear();
}

void tablekey(cob_field *field, int flag, unsigned offset) {
    own().tablekey(field, flag, offset);
    cob_file_key key{};
    key.field = field;
    key.flag = flag;
    key.offset = offset;
    description.keys.push_back(key);
}

void tablesort(cob_field *table, int given) {
    std::string whynot = "it is small";
    const auto begun = std::chrono::steady_clock::now();
    const size_t count = static_cast<size_t>(std::max(given, 0));
    const bool ours = taken(table, count, whynot);
    own().tablesort(table, ours ? 0 : given); // which forgets its keys too
    if (explained())
        tellsort("table", "the run-time", ours ? "" : whynot, count, count, begun);
}

} // namespace cobsort
