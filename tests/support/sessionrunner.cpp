// The blocks lie in memory of exactly the size that the version promises, and
// hold rubbish in every byte that the engine has no business with.
#include "support/sessionrunner.h"

#include "manager/managerclient.h"

#include <cstring>
#include <memory>

namespace kvern::test {

namespace {

constexpr unsigned char rubbish = 0xA5;
constexpr uint64_t enoughcalls = 20000000;

// Memory that ends where the text does; `end` bytes of zero behind it.
std::shared_ptr<void> exactly(const bytes &text, size_t end = 0) {
    void *const made = std::calloc(text.size() + end, 1);
    std::memcpy(made, text.data(), text.size());
    return {made, std::free};
}

class callersmemory {
  public:
    template <class T>
    T *make(size_t size, unsigned char fill = rubbish) {
        return reinterpret_cast<T *>(text(bytes(size, static_cast<char>(fill))));
    }
    char *text(const bytes &text, size_t end = 0) {
        return static_cast<char *>(all.emplace_back(exactly(text, end)).get());
    }
    // A block of `front` bytes and its entries.
    template <class T, class E>
    T *list(size_t front, const std::vector<E> &entries) {
        T *block = make<T>(front + entries.size() * sizeof(E));
        block->count = static_cast<uint32_t>(entries.size());
        for (size_t i = 0; i < entries.size(); ++i)
            std::memcpy(reinterpret_cast<char *>(block) + front + i * sizeof(E), &entries[i],
                        sizeof(E));
        return block;
    }

  private:
    std::vector<std::shared_ptr<void>> all{};
};

uint8_t kindof(exchange way) {
    constexpr uint8_t kinds[] = {KVRN_FILE_PLAIN, KVRN_FILE_DESCRIPTOR, KVRN_FILE_MANAGER,
                                 KVRN_FILE_RELATIVE, KVRN_FILE_INDEXED};
    return kinds[static_cast<size_t>(way) - static_cast<size_t>(exchange::plainfile)];
}

// A file of the manager for records of up to `longest` bytes.  Its primary key, the
// first byte, may occur more than once.
filekind managedkind(const sessionspec &s, exchange way, uint32_t longest) {
    const auto number = static_cast<uint32_t>(way) - static_cast<uint32_t>(exchange::managerfile);
    return {2 * number + 2, s.form == 'v', longest, keypart(0, 1, 0x10)};
}

// Takes records out of their frames.  False: they are not whole.
bool unframe(const sessionspec &s, const bytes &data, std::vector<bytes> *out) {
    const bytes delimiter = s.delimiter();
    for (size_t p = 0; p < data.size();) {
        size_t length = s.outlength();
        if (s.form == 'v') {
            uint32_t word = 0;
            if (data.size() - p < sizeof word)
                return false;
            std::memcpy(&word, data.data() + p, sizeof word);
            p += sizeof word;
            length = word;
        } else if (s.text()) {
            length = data.find(delimiter, p) - p; // none: greater than what is left
        } else if (length == 0) {
            return false;
        }
        if (data.size() - p < length)
            return false;
        out->push_back(data.substr(p, length));
        p += length + delimiter.size();
    }
    return true;
}

class folderdisk : public sessiondisk {
  public:
    explicit folderdisk(const tempfolder &under) : folder(under) {}
    std::string file(const std::string &name) const override { return folder.file(name); }
    std::vector<std::string> workplaces() const override { return {folder.path()}; }
    void write(const std::string &path, const bytes &data) const override { writefile(path, data); }
    bytes read(const std::string &path) const override { return readfile(path); }

  private:
    const tempfolder &folder;
};

class session {
  public:
    session(const sessionspec &spec, const sessiondisk &place, mischief *who)
        : s(spec), disk(place), by(who), output(place.file("output")) {
        const size_t size =
            s.version >= KVRN_VERSION_L3 ? sizeof(KVRNSESS) : offsetof(KVRNSESS, syserr);
        sess = memory.make<KVRNSESS>(size, 0);
        makeprim();
        maketables();
        makefiles();
    }

    runresult run() {
        const int opened = open();
        const bool merges = s.function == KVRN_MERGE;
        const bool whole =
            expect("kvrnopen", opened, 0) &&
            (merges ? (s.filein() && s.fileout()) || merge() : (s.filein() || put()) && collect());
        result.counters.size = sizeof result.counters;
        (void)kvrnstat(sess, &result.counters);
        if (!whole)
            insist();
        const int closed =
            s.level() == 1 ? qha5term(prim, sess) : kvrnclse(s.version, &link, prim, sess);
        if (s.level() != 1 && link.init != nullptr)
            result.broken = "a link table that is not emptied";
        if (whole && expect("kvrnclse", closed, 0) && merges && s.fileout())
            collect(); // a merge closes its output with the session
        if (result.detail != 0 && sess->detail == 0)
            result.pretends = "kvrnclse";
        return result;
    }

  private:
    using recordcall = int(KVRN_CALL *)(KVRNSESS *);

    const sessionspec &s;
    const sessiondisk &disk;
    mischief *by;
    std::string output;
    std::vector<std::string> inputs{}, workfolders{};
    callersmemory memory{};
    std::shared_ptr<void> given{}; // to the last call
    KVRNSESS *sess = nullptr;
    KVRNPRIM *prim = nullptr;
    KVRNKEY *keys = nullptr;
    KVRNOPT options = {};
    KVRNFILE files = {};
    KVRNLINK link = {};
    runresult result{};
    uint64_t calls = 0;

    // ---- blocks ------------------------------------------------------------------

    [[nodiscard]] size_t primbytes() const {
        return s.level() >= 1 ? sizeof(KVRNPRIM) : offsetof(KVRNPRIM, separator);
    }

    void makeprim() {
        const unsigned level = s.level();
        prim = memory.make<KVRNPRIM>(primbytes());
        prim->function = s.function;
        prim->recform = static_cast<uint8_t>(s.text() ? 'v' : s.form);
        prim->options = static_cast<uint8_t>(
            32 | (s.keeporder ? KVRN_KEEPORDER : 0) | (s.suppress ? KVRN_SUPPRESS : 0) |
            (s.sums.empty() ? 0 : KVRN_SUM) | (s.conditions.empty() ? 0 : KVRN_SELECT) |
            (s.pieces.empty() ? 0 : KVRN_RECONSTRUCT) | (s.descall ? KVRN_DESCENDALL : 0) |
            (level == 0 ? KVRN_SELECT | KVRN_RECONSTRUCT | KVRN_DESCENDALL : 0));
        prim->fileoprat = s.onto_input ? KVRN_SAMEFILE : 0;
        const int in = s.input == exchange::record ? KVRN_PUT_RECORD : KVRN_PUT_BLOCK;
        const int out = s.output == exchange::record ? KVRN_GET_RECORD : KVRN_GET_BLOCK;
        prim->recoprat = static_cast<uint8_t>((s.filein() ? 0 : in) | (s.fileout() ? 0 : out));
        prim->reclen = s.reclen;
        prim->mergecnt = s.function == KVRN_MERGE ? static_cast<uint32_t>(s.inputs.size()) : 0;
        prim->memsize = s.memsize;
        if (level >= 1) {
            prim->cdmode = s.cdmode;
            prim->separator = s.separator ? memory.text(*s.separator, 1) : nullptr;
            prim->tmpopt = 0;
            prim->fieldmode = s.fieldmode;
            prim->keyoption = s.keyoption;
            prim->keyoption2 = s.byte39();
            prim->linedlmt = s.version == KVRN_VERSION_L2_OLDDLMT ? rubbish : s.linedlmt;
            prim->altmode = level >= 4 ? s.altmode : rubbish;
        }
    }

    void maketables() {
        std::vector<KVRNKEYE> keyentries;
        for (const keyspec &k : s.keys) {
            const void *table = k.table.empty() ? nullptr : k.table.data();
            keyentries.push_back({k.position, k.length, k.type, k.order, k.textoption, k.kanjiconv,
                                  static_cast<const uint8_t *>(table)});
        }
        if (!s.keys.empty() || s.reclen % 2 != 0) // no block is like no entry
            keys = memory.list<KVRNKEY>(offsetof(KVRNKEY, entry), keyentries);
        std::vector<KVRNSUME> sums;
        for (const sumfield &f : s.sums)
            sums.push_back({f.position, f.length, f.type, {1, 2, 3}});
        options.sum = memory.list<KVRNSUM>(offsetof(KVRNSUM, entry), sums);
        std::vector<KVRNSELE> conditions;
        for (const condition &c : s.conditions) {
            KVRNSELE one = {c.op,    c.ltype,  c.rtype,    c.options,  c.lpos,
                            c.llen,  {c.rpos}, c.rlen,     c.iftrue,   c.iffalse,
                            rubbish, 0,        c.truejump, c.falsejump};
            if (c.isliteral())
                one.rlit = memory.text(c.literal);
            conditions.push_back(one);
        }
        options.sel = memory.list<KVRNSEL>(offsetof(KVRNSEL, entry), conditions);
        std::vector<KVRNRCNE> pieces;
        for (const piece &p : s.pieces) {
            KVRNRCNE one = {{p.position}, p.length, KVRN_FLD_COPY, {}};
            if (p.literal) {
                one.literal = memory.text(p.text);
                one.type = KVRN_FLD_LIT;
            }
            pieces.push_back(one);
        }
        options.rcn = memory.list<KVRNRCN>(offsetof(KVRNRCN, entry), pieces);
    }

    KVRNFLST *listof(const std::vector<std::string> &paths) {
        std::vector<const char *> addresses;
        for (const std::string &path : paths)
            addresses.push_back(path.c_str());
        return memory.list<KVRNFLST>(offsetof(KVRNFLST, path), addresses);
    }

    // The file block, and the input files themselves.
    void makefiles() {
        workfolders = disk.workplaces();
        files.workfiles = listof(workfolders);
        if (s.filein()) {
            for (const auto &records : s.inputs)
                makeinput(records);
            files.infiles = listof(inputs);
            const std::vector<uint8_t> last = {kindof(s.input)}; // holds for the rest
            if (s.input != exchange::plainfile)
                files.intypes = memory.list<KVRNFTYP>(offsetof(KVRNFTYP, kind), last);
        }
        if (s.fileout()) {
            output = s.onto_input ? inputs.front() : output;
            files.outfile = output.c_str();
            files.outtype = kindof(s.output);
        }
        if (s.output == exchange::indexedfile) {
            const std::vector<KVRNOKEYE> only = {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x52, rubbish}};
            files.outkey = memory.list<KVRNOKEY>(offsetof(KVRNOKEY, entry), only);
            files.outkey->options = 0;
        }
    }

    void makeinput(const std::vector<bytes> &records) {
        inputs.push_back(disk.file("input" + std::to_string(inputs.size())));
        if (ismanaged(s.input)) {
            const filekind kind = managedkind(s, s.input, s.reclen);
            EXPECT_EQ(managerclient().writeall(inputs.back(), kind, records), 0) << describe(s);
            return;
        }
        bytes data;
        for (const bytes &record : records)
            data += record + s.delimiter();
        if (s.unterminated && !records.empty() && !records.back().empty())
            data.resize(data.size() - s.delimiter().size());
        if (s.endmark)
            data += "\x1A behind" + s.delimiter() + "the end";
        disk.write(inputs.back(), data);
    }

    // ---- calls -------------------------------------------------------------------

    // The table of an option that is off lies where nothing can be read.
    template <class T>
    static void unread(T *&table, unsigned option) {
        table = option != 0 ? table : reinterpret_cast<T *>(uintptr_t{1});
    }

    int open() {
        callerblocks b = {prim, primbytes(), sess, keys, &files, options};
        if (by != nullptr)
            by->bend(b);
        const unsigned on = prim->options & (s.level() >= 1 ? 0xFF : KVRN_SUM);
        unread(b.opts.sum, on & KVRN_SUM);
        unread(b.opts.sel, on & KVRN_SELECT);
        unread(b.opts.rcn, on & KVRN_RECONSTRUCT);
        if (s.level() != 1)
            return kvrnopen(s.version, &link, b.prim, b.sess, b.keys, b.files, &b.opts);
        link = {qha5chkp, qha5chkg, qha5chkm, qha5init, qha5term, nullptr, nullptr, nullptr};
        return qha5init(s.version, &link, b.prim, b.sess, b.keys, b.files, &b.opts);
    }

    int call(recordcall plain, recordcall checked) {
        constexpr int left = 99;
        if (++calls > enoughcalls) {
            result.broken = "a session without end";
            return left;
        }
        void *const record = sess->recaddr;
        const uint32_t length = sess->reclen;
        const uint8_t code = sess->code;
        if (by != nullptr && !by->before(*sess, link))
            return left;
        sess->recaddr = record;
        sess->reclen = length;
        sess->code = code;
        return (s.checked && checked != nullptr ? checked : plain)(sess);
    }

    bool note(const std::string &what) {
        result.failed = result.failed.empty() ? what : result.failed;
        return false;
    }

    bool expect(const char *call, int got, int wanted) {
        if (result.detail == 0 || foldingstopped(result.detail))
            result.detail = sess->detail;
        if (got == wanted && (sess->detail == 0 || foldingstopped(sess->detail) ||
                              sess->detail == KVRN_D_SUMOPERAND))
            return disk.sound() || note(std::string(call) + " claims success");
        return note(std::string(call) + " gave " + std::to_string(got) + ", detail " +
                    std::to_string(sess->detail));
    }

    // What a caller does who looks at the last result only.  Records that were ready
    // before the failure are still given.
    void insist() {
        const std::pair<const char *, recordcall> ways[] = {
            {"kvrnput", kvrnput},   {"a checked put", link.chkp},
            {"kvrnget", kvrnget},   {"a checked get", link.chkg},
            {"kvrnmrge", kvrnmrge}, {"a checked merge", link.chkm}};
        for (const auto &[name, routine] : ways) {
            int got = routine == nullptr ? KVRN_FAILED : KVRN_DONE;
            for (size_t i = 0; got == KVRN_DONE && i <= s.records(); ++i) {
                sess->code = KVRN_END;
                got = routine(sess);
            }
            if (got != KVRN_FAILED)
                result.pretends = name;
        }
    }

    bool count(const char *name, uint32_t got, size_t wanted) {
        return got == wanted || note(std::string(name) + " is " + std::to_string(got) + ", not " +
                                     std::to_string(wanted));
    }

    // An own piece of memory for each call: reading past it shows.
    void give(const bytes &data) {
        given = exactly(data, data.empty() ? 1 : 0);
        sess->recaddr = given.get();
        sess->reclen = static_cast<uint32_t>(data.size());
        sess->code = KVRN_RECORD;
    }

    // Blocks hold one, two, three records and so on.
    bool put() {
        const bool byblock = s.input == exchange::block && !s.text();
        const auto &records = s.inputs.front();
        size_t pending = 0, taken = 0;
        bytes data;
        for (const bytes &record : records) {
            const auto length = static_cast<uint32_t>(record.size());
            if (byblock && s.form == 'v')
                data.append(reinterpret_cast<const char *>(&length), sizeof length);
            data += record + s.delimiter();
            ++taken;
            ++pending;
            if (byblock && pending * pending <= taken && taken != records.size())
                continue;
            give(data);
            if (!expect("kvrnput", call(kvrnput, link.chkp), 0))
                return false;
            data.clear();
            pending = 0;
        }
        // A block of lines counts its own lines only.
        const bool lines = s.text() && s.input == exchange::block;
        sess->code = KVRN_END;
        return count("putcount", sess->putcount, lines && taken != 0 ? 1 : taken) &&
               expect("kvrnput at the end", call(kvrnput, link.chkp), 1);
    }

    // Takes what a call gave apart.
    bool take(const void *address, uint32_t length, bool framed) {
        const bytes data(static_cast<const char *>(address), length);
        if (framed)
            return unframe(s, data, &result.records) || note("broken records from a call");
        result.records.push_back(data);
        return true;
    }

    // Looks at mergestat and inputno only.
    bool merge() {
        std::vector<size_t> next(s.inputs.size());
        for (;;) {
            if (!s.filein() && sess->mergestat == KVRN_WANTS_RECORD) {
                const uint16_t n = sess->inputno;
                if (n >= next.size())
                    return note("inputno is " + std::to_string(n));
                const bool more = next[n] < s.inputs[n].size();
                if (more)
                    give(s.inputs[n][next[n]++] + s.delimiter());
                sess->code = more ? KVRN_RECORD : KVRN_END;
            }
            const int got = call(kvrnmrge, link.chkm);
            if (got == 1)
                return expect("kvrnmrge", got, 1) &&
                       (s.filein() || sess->mergestat == KVRN_WANTS_NONE || note("mergestat")) &&
                       (sess->outaddr == nullptr || note("a record at the end")) &&
                       (s.filein() || count("putcount", sess->putcount, s.records())) &&
                       (s.fileout() || count("getcount", sess->getcount, result.records.size()));
            if (!expect("kvrnmrge", got, 0))
                return false;
            if (sess->outaddr == nullptr)
                continue;
            // Of a delimiter of two bytes the second one comes with the next
            // line, or not at all: intended.
            bytes data(static_cast<const char *>(sess->outaddr), sess->outlen);
            if (s.delimiter().size() == 2)
                data = data.substr(data[0] == '\n' ? 1 : 0) + "\n";
            if (!take(data.data(), static_cast<uint32_t>(data.size()), s.form != 'v'))
                return false;
        }
    }

    bool collect() {
        if (ismanaged(s.output)) {
            constexpr int atend = 0x10;
            const filekind kind = managedkind(s, s.output, s.outlength());
            return managerclient().readall(output, kind, &result.records) == atend ||
                   note("broken output file");
        }
        if (s.fileout()) {
            bytes data = disk.read(output);
            if (s.endmark) { // goes over to the output
                if (data.empty() || data.back() != '\x1A')
                    return note("the end mark is missing");
                data.pop_back();
            }
            return unframe(s, data, &result.records) || note("broken records in the output file");
        }
        int got;
        while ((got = call(kvrnget, link.chkg)) == 0) {
            const bool framed = s.output == exchange::block || s.form != 'v';
            if (!expect("kvrnget", got, 0) || !take(sess->recaddr, sess->reclen, framed))
                return false;
        }
        return expect("kvrnget", got, 1) && (sess->code == KVRN_END || note("code at the end")) &&
               count("getcount", sess->getcount, result.records.size());
    }
};

} // namespace

runresult run(const sessionspec &spec, const sessiondisk &disk, mischief *by) {
    return session(spec, disk, by).run();
}

runresult run(const sessionspec &spec, const tempfolder &folder, mischief *by) {
    return run(spec, folderdisk(folder), by);
}

} // namespace kvern::test
