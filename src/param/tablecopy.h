// Sizes of the tables that end in entry[1], and the caller's tables and literals
// copied to the arena.  Room is tested before the first byte of a table is read,
// so a nonsense count never leads past the caller's memory.
#pragma once

#include "session/arena.h"

#include <cstddef>
#include <cstring>

namespace kvern {

template <class Table>
constexpr uint64_t tablebytes(uint32_t count) {
    return offsetof(Table, entry) + uint64_t{count} * sizeof(Table::entry[0]);
}

// A cleared table; null after message 23.
template <class Table>
[[nodiscard]] Table *newtable(qha5ctx *ctx, uint32_t count) {
    uint8_t *room = arenaneed(ctx, tablebytes<Table>(count));
    if (room == nullptr)
        return nullptr;
    memset(room, 0, static_cast<size_t>(tablebytes<Table>(count)));
    return reinterpret_cast<Table *>(room);
}

[[nodiscard]] inline uint8_t *copybytes(qha5ctx *ctx, const void *from, uint64_t bytes) {
    uint8_t *room = arenaneed(ctx, bytes);
    if (room != nullptr)
        memcpy(room, from, static_cast<size_t>(bytes));
    return room;
}

template <class Table>
[[nodiscard]] Table *copytable(qha5ctx *ctx, const Table *from) {
    return reinterpret_cast<Table *>(copybytes(ctx, from, tablebytes<Table>(from->count)));
}

} // namespace kvern
