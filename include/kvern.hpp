// kvern.hpp - sessions of kvern.h for C++17: what is open closes itself, what fails throws
// kvern::error, and the type of an object says what may be done next.
//
//   auto in = kvern::fixed(80)
//                 .by(kvern::key::chars(0, 10))
//                 .by(kvern::key::packed(20, 6).descending())
//                 .open();
//   in.put(record);
//   auto out = std::move(in).sorted(); // records are put before, and got after
//   while (auto next = out.get())      // a std::string_view, valid until the next get
//       use(*next);
//   out.close();                       // throws where the session failed at its end
//
// Keys of lines and keys of other records are different types, so that neither stands
// where the other belongs.  kvern::session alone guards what is not wrapped here: merges,
// copies, selection, sums.  Header only, yet the library must be linked.
#ifndef KVERN_HPP
#define KVERN_HPP

#include "kvern.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvern {

// A call that failed: what it returned, the detail code, the engine's message and number.
struct error : std::runtime_error {
    error(const std::string &call, int returned, unsigned code, const std::string &message)
        : std::runtime_error(call + ": detail " + std::to_string(code) + " " + message),
          result(returned), detail(code), text(message) {
        if (text.compare(0, 6, "KVERN:") == 0)
            number = static_cast<unsigned>(std::strtoul(text.c_str() + 6, nullptr, 10));
    }
    int result;
    unsigned detail;
    unsigned number = 0;
    std::string text;
};

// Guards one session from kvrnopen to kvrnclse.  The engine knows its blocks by their
// address, so they stay where they are when the guard moves.
class session {
  public:
    explicit session(const KVRNPRIM &prim, KVRNKEY *keys = nullptr, KVRNFILE *files = nullptr,
                     KVRNOPT *opts = nullptr)
        : own(std::make_unique<blocks>()) {
        own->prim = prim;
        const int result =
            kvrnopen(KVRN_VERSION_L4, &own->link, &own->prim, &own->sess, keys, files, opts);
        if (result != KVRN_DONE) // 1, stopped by the hook, has no detail
            throw error("kvrnopen", result, own->sess.detail, own->text());
    }

    // The checked calls on block(); false: the end.
    bool put() { return call("kvrnput", &KVRNLINK::chkp); }
    bool get() { return call("kvrnget", &KVRNLINK::chkg); }
    bool merge() { return call("kvrnmrge", &KVRNLINK::chkm); }
    KVRNSESS &block() {
        if (!own)
            throw std::logic_error("kvern: this session is over, or has moved");
        return own->sess;
    }

    // Probes, which leave the session as it is, also where they throw.  The key of a record,
    // for memcmp as for operator<, or nothing where the filter drops it; and what the filter
    // says.  Of text a line with its delimiter.
    std::optional<std::string> key(std::string_view record) {
        unsigned room = 0;
        kvrnkey(&block(), nullptr, 0, nullptr, &room); // tells the length alone
        std::string out(room, '\0');
        const auto bytes = static_cast<unsigned>(record.size());
        if (!probe("kvrnkey", kvrnkey(&block(), record.data(), bytes, out.data(), &room)))
            return std::nullopt;
        return out;
    }
    bool keeps(std::string_view record) {
        const auto bytes = static_cast<unsigned>(record.size());
        return probe("kvrntest", kvrntest(&block(), record.data(), bytes));
    }

    KVRNSTAT counters() {
        KVRNSTAT stat = {};
        stat.size = sizeof stat;
        kvrnstat(&block(), &stat);
        return stat;
    }

    // Ends the session, and says so where it failed, which a destructor cannot: some
    // failures, as a sum that found no room, show here alone.
    void close() {
        const std::string message = (block(), own->text()); // gone with the session
        const std::unique_ptr<blocks> last = std::move(own);
        const int result = last->close();
        if (result < 0 || last->sess.detail != 0)
            throw error("kvrnclse", result, last->sess.detail, message);
    }

  private:
    struct blocks {
        KVRNLINK link = {};
        KVRNPRIM prim = {};
        KVRNSESS sess = {};
        ~blocks() { close(); } // a second close is refused and does nothing
        int close() { return kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess); }
        std::string text() {
            char message[512] = "";
            kvrntext(&sess, message, sizeof message);
            return message;
        }
    };
    std::unique_ptr<blocks> own;

    bool probe(const char *name, int result) {
        if (result < 0) // which has no message
            throw error(name, result, own->sess.detail, "");
        return result == KVRN_DONE;
    }

    bool call(const char *name, int (KVRN_CALL *KVRNLINK::*routine)(KVRNSESS *)) {
        KVRNSESS &sess = block();
        const int result = (own->link.*routine)(&sess);
        if (result < 0)
            throw error(name, result, sess.detail, own->text());
        return result == KVRN_DONE;
    }
};

// A block that ends in an array: the count, then the entries, laid out as C does.
template <class Block, class Entry, size_t Offset>
class table {
  public:
    explicit table(const std::vector<Entry> &entries)
        : bytes(Offset + sizeof(Entry) * entries.size()) {
        const auto count = static_cast<uint32_t>(entries.size());
        std::memcpy(bytes.data(), &count, sizeof count);
        if (count != 0)
            std::memcpy(bytes.data() + Offset, entries.data(), sizeof(Entry) * count);
    }
    Block *block() { return reinterpret_cast<Block *>(bytes.data()); }

  private:
    std::vector<unsigned char> bytes;
};

// A key of fixed and variable records: bytes from a position, which counts from 0.
struct key : KVRNKEYE {
    static key chars(uint32_t at, uint32_t length) { return {at, length, KVRN_CHAR}; }
    static key zoned(uint32_t at, uint32_t length) { return {at, length, KVRN_ZONED}; }
    static key packed(uint32_t at, uint32_t length) { return {at, length, KVRN_PACKED}; }
    // Most or least significant byte first; signed is two's complement.
    static key signed_be(uint32_t at, uint32_t length) { return {at, length, KVRN_SBEBIN}; }
    static key signed_le(uint32_t at, uint32_t length) { return {at, length, KVRN_SLEBIN}; }
    static key unsigned_be(uint32_t at, uint32_t length) { return {at, length, KVRN_UBEBIN}; }
    static key unsigned_le(uint32_t at, uint32_t length) { return {at, length, KVRN_ULEBIN}; }
    static key float32(uint32_t at) { return {at, 4, KVRN_FLOAT4}; }
    static key float64(uint32_t at) { return {at, 8, KVRN_FLOAT8}; }
    key descending() const { return {position, length, type, KVRN_DESCENDING}; }

  private:
    key(uint32_t at, uint32_t bytes, int kind, uint8_t way = KVRN_ASCENDING) : KVRNKEYE() {
        position = at, length = bytes, type = static_cast<uint8_t>(kind), order = way;
    }
};

// A key of lines: a field by its number, from 0.  Its first `width` bytes count.
struct field : KVRNKEYE {
    explicit field(uint32_t number, uint32_t width = 64) : KVRNKEYE() {
        position = number, length = width, type = KVRN_CHAR, order = KVRN_ASCENDING;
    }
    field numeric() const { return with(KVRN_TXT_NUMERIC, order); }
    field fold() const { return with(KVRN_TXT_FOLD, order); }
    field skip_blanks() const { return with(KVRN_TXT_SKIPBLANKS, order); }
    field descending() const { return with(0, KVRN_DESCENDING); }

  private:
    field with(int option, uint8_t way) const {
        field out = *this;
        out.textoption = static_cast<uint8_t>(textoption | option);
        out.order = way;
        return out;
    }
};

// The sorted records.
class output {
  public:
    output(session from, bool oflines) : open(std::move(from)), lines(oflines) {}
    // The next record, a line without its end; nothing: that was all.
    std::optional<std::string_view> get() {
        if (ended || (ended = !open.get()))
            return std::nullopt;
        return std::string_view(static_cast<const char *>(open.block().recaddr),
                                open.block().reclen - (lines ? 1 : 0));
    }
    KVRNSTAT counters() { return open.counters(); }
    void close() { open.close(); }

  private:
    session open;
    bool lines, ended = false;
};

// Takes the records, then becomes the output.
class input {
  public:
    input(session to, bool oflines) : open(std::move(to)), lines(oflines) {}
    void put(std::string_view record) { // copied before it returns
        record = framed(record);
        open.block().code = KVRN_RECORD;
        open.block().recaddr = const_cast<char *>(record.data()); // which is only read
        open.block().reclen = static_cast<uint32_t>(record.size());
        open.put();
    }
    void put(const void *record, size_t bytes) { put({static_cast<const char *>(record), bytes}); }
    // What the record would be sorted by; it is not put.  Keys of one way to sort compare.
    std::string key(std::string_view record) { return *open.key(framed(record)); }
    output sorted() && {
        open.block().code = KVRN_END;
        open.put();
        return {std::move(open), lines};
    }

  private:
    session open;
    bool lines;
    std::string line;

    std::string_view framed(std::string_view record) { // the engine wants the end of a line
        return lines ? line.assign(record).append(1, '\n') : record;
    }
};

// How to sort, made by fixed, variable or lines.  A value: each step gives a new one.
template <class Key>
class sorting {
  public:
    sorting(uint8_t form, uint32_t length, uint8_t fieldmode = 0, std::string parting = {})
        : separator(std::move(parting)) {
        prim.function = KVRN_SORT;
        prim.recform = form;
        prim.reclen = length;
        prim.fieldmode = fieldmode;
        prim.linedlmt = KVRN_DLMT_LF;
        prim.memsize = KVRN_MEM_MAX;
    }
    // The first key weighs most; without keys the whole record is the key.
    sorting by(const Key &next) const {
        sorting out = *this;
        out.keys.push_back(next);
        return out;
    }
    sorting keep_order() const { return with(KVRN_KEEPORDER); } // of records of equal key
    sorting unique() const { return with(KVRN_SUPPRESS); }      // one record of each key

    using paths = std::vector<std::string>;
    input open() const { return {start({}, nullptr), prim.fieldmode != 0}; }
    output open(const paths &files) const { return {start(files, nullptr), prim.fieldmode != 0}; }
    void run(const paths &files, const std::string &to) const { start(files, to.c_str()).close(); }

  private:
    KVRNPRIM prim = {};
    std::vector<KVRNKEYE> keys;
    std::string separator;

    sorting with(int option) const {
        sorting out = *this;
        out.prim.options = static_cast<uint8_t>(out.prim.options | option);
        return out;
    }
    session start(const paths &files, const char *to) const { // the engine keeps copies
        std::vector<const char *> names;
        for (const std::string &file : files)
            names.push_back(file.c_str());
        table<KVRNFLST, const char *, offsetof(KVRNFLST, path)> list(names);
        table<KVRNKEY, KVRNKEYE, offsetof(KVRNKEY, entry)> weights(keys);
        KVRNFILE ends = {};
        ends.infiles = list.block();
        ends.outfile = to;
        KVRNPRIM described = prim;
        described.separator = separator.empty() ? nullptr : separator.c_str();
        return session(described, weights.block(), &ends);
    }
};

// Records of so many bytes, of up to so many, and lines of up to so many without their end.
inline auto fixed(uint32_t length) {
    return sorting<key>(KVRN_FIXED, length);
}
inline auto variable(uint32_t longest) {
    return sorting<key>(KVRN_VARIABLE, longest);
}
inline auto lines(uint32_t longest, std::string separator = {}) { // by default white space
    return sorting<field>(KVRN_VARIABLE, longest + 1, KVRN_FIELDS, std::move(separator));
}

} // namespace kvern

#endif // KVERN_HPP
