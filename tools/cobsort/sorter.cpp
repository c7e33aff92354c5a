#include "cobsort/sorter.h"

namespace cobsort {

namespace {

using keytable = kvern::table<KVRNKEY, KVRNKEYE, offsetof(KVRNKEY, entry)>;
using pathtable = kvern::table<KVRNFLST, const char *, offsetof(KVRNFLST, path)>;

kvern::session opened(const keyplan &order, size_t recordbytes, uint32_t memory,
                      const std::string &folder) {
    KVRNPRIM prim{};
    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_BLOCK;
    prim.reclen = static_cast<uint32_t>(recordbytes);
    prim.memsize = memory;
    std::vector<KVRNKEYE> keys;
    for (const piece &one : order.pieces()) {
        KVRNKEYE key{};
        key.position = one.position;
        key.length = one.length;
        key.type = KVRN_CHAR;
        key.order = one.descending ? KVRN_DESCENDING : KVRN_ASCENDING;
        keys.push_back(key);
    }
    keytable table(keys);
    pathtable folders({folder.c_str()});
    KVRNFILE files{};
    files.workfiles = folders.block();
    return kvern::session(prim, table.block(), &files);
}

} // namespace

sorter::sorter(const keyplan &order, size_t recordbytes, uint32_t memory, const std::string &folder)
    : session(opened(order, recordbytes, memory, folder)) {}

void sorter::put(std::string_view records) {
    KVRNSESS &block = session.block();
    block.code = KVRN_RECORD;
    block.recaddr = const_cast<char *>(records.data()); // which is only read
    block.reclen = static_cast<uint32_t>(records.size());
    session.put();
}

void sorter::end() {
    session.block().code = KVRN_END;
    session.put();
}

std::string_view sorter::get() {
    if (!session.get())
        return {};
    return {static_cast<const char *>(session.block().recaddr), session.block().reclen};
}

} // namespace cobsort
