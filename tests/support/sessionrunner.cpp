// The blocks lie in memory of exactly the size that the version promises, and
// hold rubbish in every byte that the engine has no business with.
#include "support/sessionrunner.h"

#include "manager/managerclient.h"

#include <cstring>
#include <memory>

namespace kvern::test {

namespace {

constexpr unsigned char rubbish = 0xA5;

struct freed {
    void operator()(void *p) const { std::free(p); }
};
template <class T>
using block = std::unique_ptr<T, freed>;

template <class T>
block<T> makeblock(size_t size, unsigned char fill = rubbish) {
    void *p = std::malloc(size);
    std::memset(p, fill, size);
    return block<T>(static_cast<T *>(p));
}

// Text that ends where its memory does; `end` bytes of zero behind it.
block<char> exact(const bytes &text, size_t end = 0) {
    auto made = makeblock<char>(text.size() + end, 0);
    std::memcpy(made.get(), text.data(), text.size());
    return made;
}

// An address that must not be read.
template <class T>
T *unreadable() {
    return reinterpret_cast<T *>(uintptr_t{1});
}

template <class T, class E>
block<T> maketable(size_t entries) {
    auto table = makeblock<T>(offsetof(T, entry) + entries * sizeof(E));
    table->count = static_cast<uint32_t>(entries);
    return table;
}

size_t primbytes(const sessionspec &s) {
    return s.level() >= 1 ? sizeof(KVRNPRIM) : offsetof(KVRNPRIM, separator);
}

block<KVRNPRIM> makeprim(const sessionspec &s, const char *separator) {
    const unsigned level = s.level();
    auto prim = makeblock<KVRNPRIM>(primbytes(s));
    prim->function = s.function;
    prim->recform = static_cast<uint8_t>(s.form == 'r' ? 'v' : s.form);
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
        prim->separator = separator;
        prim->tmpopt = 0;
        prim->fieldmode = s.fieldmode;
        prim->keyoption = s.keyoption;
        prim->keyoption2 = s.byte39();
        prim->linedlmt = s.version == KVRN_VERSION_L2_OLDDLMT ? rubbish : s.linedlmt;
        prim->altmode = level >= 4 ? s.altmode : rubbish;
    }
    return prim;
}

block<KVRNKEY> makekeys(const sessionspec &s) {
    auto keys = maketable<KVRNKEY, KVRNKEYE>(s.keys.size());
    for (size_t i = 0; i < s.keys.size(); ++i) {
        const keyspec &k = s.keys[i];
        const void *table = k.table.empty() ? nullptr : k.table.data();
        const KVRNKEYE entry = {k.position,
                                k.length,
                                k.type,
                                k.order,
                                k.textoption,
                                k.kanjiconv,
                                static_cast<const uint8_t *>(table)};
        std::memcpy(&keys->entry[0] + i, &entry, sizeof entry);
    }
    return keys;
}

using texts = std::vector<block<char>>;

block<KVRNRCN> makepieces(const sessionspec &s, texts &literals) {
    auto rcn = maketable<KVRNRCN, KVRNRCNE>(s.pieces.size());
    for (size_t i = 0; i < s.pieces.size(); ++i) {
        const piece &p = s.pieces[i];
        KVRNRCNE entry = {};
        if (p.literal)
            entry.literal = literals.emplace_back(exact(p.text)).get();
        else
            entry.position = p.position;
        entry.length = p.length;
        entry.type = p.literal ? KVRN_FLD_LIT : KVRN_FLD_COPY;
        std::memcpy(&rcn->entry[0] + i, &entry, sizeof entry);
    }
    return rcn;
}

block<KVRNSUM> makesums(const sessionspec &s) {
    auto sum = maketable<KVRNSUM, KVRNSUME>(s.sums.size());
    for (size_t i = 0; i < s.sums.size(); ++i) {
        const KVRNSUME entry = {s.sums[i].position, s.sums[i].length, s.sums[i].type, {1, 2, 3}};
        std::memcpy(&sum->entry[0] + i, &entry, sizeof entry);
    }
    return sum;
}

block<KVRNSEL> makeconditions(const sessionspec &s, texts &literals) {
    auto sel = maketable<KVRNSEL, KVRNSELE>(s.conditions.size());
    for (size_t i = 0; i < s.conditions.size(); ++i) {
        const condition &c = s.conditions[i];
        KVRNSELE entry = {c.op,   c.ltype,  c.rtype,   c.options, c.lpos, c.llen,     {c.rpos},
                          c.rlen, c.iftrue, c.iffalse, rubbish,   0,      c.truejump, c.falsejump};
        if (c.isliteral())
            entry.rlit = literals.emplace_back(exact(c.literal)).get();
        std::memcpy(&sel->entry[0] + i, &entry, sizeof entry);
    }
    return sel;
}

uint8_t kindof(exchange way) {
    constexpr uint8_t kinds[] = {KVRN_FILE_PLAIN, KVRN_FILE_DESCRIPTOR, KVRN_FILE_MANAGER,
                                 KVRN_FILE_RELATIVE, KVRN_FILE_INDEXED};
    return kinds[static_cast<int>(way) - static_cast<int>(exchange::plainfile)];
}

// A file of the manager for records of up to `longest` bytes.  Its primary key, the
// first byte, may occur more than once.
filekind managedkind(const sessionspec &s, exchange way, uint32_t longest) {
    constexpr uint32_t organisations[] = {2, 4, 6};
    return {organisations[static_cast<int>(way) - static_cast<int>(exchange::managerfile)],
            s.form == 'v', longest, keypart(0, 1, 0x10)};
}

// Paths, kinds and the file block, and the input files themselves.
struct files {
    std::vector<std::string> inputs{};
    std::string output;
    std::vector<std::string> workfolders;
    block<KVRNFLST> inlist, worklist;
    block<KVRNFTYP> types;
    block<KVRNOKEY> outkey;
    KVRNFILE fileblock = {};

    files(const sessionspec &s, const sessiondisk &disk)
        : output(disk.file("output")), workfolders(disk.workplaces()) {
        worklist = makelist(workfolders);
        fileblock.workfiles = worklist.get();
        if (s.filein()) {
            writeinputs(s, disk);
            inlist = makelist(inputs);
            types = makeblock<KVRNFTYP>(offsetof(KVRNFTYP, kind) + 1);
            types->count = 1; // the last one listed holds for the rest
            types->kind[0] = kindof(s.input);
            fileblock.infiles = inlist.get();
            fileblock.intypes = s.input == exchange::plainfile ? nullptr : types.get();
        }
        if (s.fileout()) {
            output = s.onto_input ? inputs.front() : output;
            fileblock.outfile = output.c_str();
            fileblock.outtype = kindof(s.output);
        }
        if (s.output == exchange::indexedfile) {
            outkey = maketable<KVRNOKEY, KVRNOKEYE>(1);
            outkey->options = 0;
            outkey->entry[0] = {0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x52, rubbish};
            fileblock.outkey = outkey.get();
        }
    }

    static block<KVRNFLST> makelist(const std::vector<std::string> &paths) {
        auto list = makeblock<KVRNFLST>(offsetof(KVRNFLST, path) + paths.size() * sizeof(char *));
        list->count = static_cast<uint32_t>(paths.size());
        for (size_t i = 0; i < paths.size(); ++i) {
            const char *path = paths[i].c_str();
            std::memcpy(&list->path[0] + i, &path, sizeof path);
        }
        return list;
    }

    void writeinputs(const sessionspec &s, const sessiondisk &disk) {
        for (const auto &records : s.inputs) {
            inputs.push_back(disk.file("input" + std::to_string(inputs.size())));
            if (ismanaged(s.input)) {
                managerclient manager;
                EXPECT_EQ(
                    manager.writeall(inputs.back(), managedkind(s, s.input, s.reclen), records), 0)
                    << describe(s);
                continue;
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
    }
};

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
        : s(spec), on(place), by(who), disk(spec, place),
          separator(exact(spec.separator.value_or(""), 1)),
          prim(makeprim(spec, spec.separator ? separator.get() : nullptr)), keys(makekeys(spec)),
          pieces(makepieces(spec, literals)), sums(makesums(spec)),
          conditions(makeconditions(spec, literals)) {
        const size_t size =
            s.version >= KVRN_VERSION_L3 ? sizeof(KVRNSESS) : offsetof(KVRNSESS, syserr);
        sess = makeblock<KVRNSESS>(size, 0);
    }

    runresult run() {
        const int opened = open();
        const bool merges = s.function == KVRN_MERGE;
        const bool whole =
            expect("kvrnopen", opened, 0) &&
            (merges ? (s.filein() && s.fileout()) || merge() : (s.filein() || put()) && collect());
        result.counters.size = sizeof result.counters;
        (void)kvrnstat(sess.get(), &result.counters);
        if (!whole)
            insist();
        const int closed = s.level() == 1 ? qha5term(prim.get(), sess.get())
                                          : kvrnclse(s.version, &link, prim.get(), sess.get());
        if (s.level() != 1 && link.init != nullptr)
            result.broken = "a link table that is not emptied";
        if (whole && expect("kvrnclse", closed, 0) && merges && s.fileout())
            collect(); // a merge closes its output with the session
        if (result.detail != 0 && sess->detail == 0)
            result.pretends = "kvrnclse";
        return result;
    }

  private:
    const sessionspec &s;
    const sessiondisk &on;
    mischief *by;
    files disk;
    texts literals;
    block<char> separator;
    block<KVRNPRIM> prim;
    block<KVRNKEY> keys;
    block<KVRNRCN> pieces;
    block<KVRNSUM> sums;
    block<KVRNSEL> conditions;
    block<char> given; // to the last call
    block<KVRNSESS> sess;
    KVRNLINK link = {};
    callerblocks b{};
    runresult result{};
    uint64_t made = 0; // record calls
    static constexpr uint64_t enoughcalls = 20000000;

    int open() {
        const bool none = s.keys.empty() && s.reclen % 2 == 0; // no block is like no entry
        b = {prim.get(),      primbytes(s),
             sess.get(),      none ? nullptr : keys.get(),
             &disk.fileblock, {sums.get(), conditions.get(), pieces.get()}};
        if (by != nullptr)
            by->bend(b);
        // A table whose option is off stays unread.
        const unsigned options = prim->options;
        const bool newer = s.level() >= 1;
        if ((options & KVRN_SUM) == 0)
            b.opts.sum = unreadable<KVRNSUM>();
        if (!newer || (options & KVRN_SELECT) == 0)
            b.opts.sel = unreadable<KVRNSEL>();
        if (!newer || (options & KVRN_RECONSTRUCT) == 0)
            b.opts.rcn = unreadable<KVRNRCN>();
        if (s.level() != 1)
            return kvrnopen(s.version, &link, b.prim, b.sess, b.keys, b.files, &b.opts);
        link = {qha5chkp, qha5chkg, qha5chkm, qha5init, qha5term, nullptr, nullptr, nullptr};
        return qha5init(s.version, &link, b.prim, b.sess, b.keys, b.files, &b.opts);
    }

    int call(int(KVRN_CALL *plain)(KVRNSESS *), int(KVRN_CALL *checked)(KVRNSESS *)) {
        constexpr int left = 99;
        if (++made > enoughcalls) {
            result.broken = "a session without end";
            return left;
        }
        if (by != nullptr) {
            void *const record = sess->recaddr;
            const uint32_t length = sess->reclen;
            const uint8_t code = sess->code;
            if (!by->before(*sess, link))
                return left;
            sess->recaddr = record;
            sess->reclen = length;
            sess->code = code;
        }
        return (s.checked && checked != nullptr ? checked : plain)(sess.get());
    }
    int putcall() { return call(kvrnput, link.chkp); }

    bool note(const std::string &what) {
        result.failed = result.failed.empty() ? what : result.failed;
        return false;
    }

    bool expect(const char *call, int got, int wanted) {
        if (result.detail == 0 || foldingstopped(result.detail))
            result.detail = sess->detail;
        if (got == wanted && (sess->detail == 0 || foldingstopped(sess->detail) ||
                              sess->detail == KVRN_D_SUMOPERAND))
            return on.sound() || note(std::string(call) + " claims success");
        return note(std::string(call) + " gave " + std::to_string(got) + ", detail " +
                    std::to_string(sess->detail));
    }

    // What a caller does who looks at the last result only.
    void insist() {
        const struct {
            const char *name;
            int(KVRN_CALL *plain)(KVRNSESS *), (KVRN_CALL * checked)(KVRNSESS *);
        } calls[] = {{"kvrnput", kvrnput, link.chkp},
                     {"kvrnget", kvrnget, link.chkg},
                     {"kvrnmrge", kvrnmrge, link.chkm}};
        for (const auto &call : calls)
            for (const auto routine : {call.plain, call.checked}) {
                sess->code = KVRN_END;
                if (routine != nullptr && routine(sess.get()) != KVRN_FAILED)
                    result.pretends = call.name;
            }
    }

    bool count(const char *name, uint32_t got, size_t wanted) {
        return got == wanted || note(std::string(name) + " is " + std::to_string(got) + ", not " +
                                     std::to_string(wanted));
    }

    // An own piece of memory for each call: reading past it shows.
    void give(const bytes &data) {
        given = exact(data, data.empty() ? 1 : 0);
        sess->recaddr = given.get();
        sess->reclen = static_cast<uint32_t>(data.size());
        sess->code = KVRN_RECORD;
    }

    bool putone(const bytes &data) {
        give(data);
        return expect("kvrnput", putcall(), 0);
    }

    bool put() {
        const bool byblock = s.input == exchange::block && s.form != 'r';
        size_t pending = 0, taken = 0;
        bytes data;
        for (const bytes &record : s.inputs.front()) {
            const auto length = static_cast<uint32_t>(record.size());
            if (byblock && s.form == 'v')
                data.append(reinterpret_cast<const char *>(&length), sizeof length);
            data += record + s.delimiter();
            ++taken;
            // Blocks of one, two, three records and so on.
            ++pending;
            if (byblock && pending * pending <= taken && taken != s.inputs.front().size())
                continue;
            if (!putone(data))
                return false;
            data.clear();
            pending = 0;
        }
        // A block of lines counts its own lines only.
        const bool lines = s.form == 'r' && s.input == exchange::block;
        if (!count("putcount", sess->putcount, lines && taken != 0 ? 1 : taken))
            return false;
        sess->code = KVRN_END;
        return expect("kvrnput at the end", putcall(), 1);
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
            if (got == 1) {
                return expect("kvrnmrge", got, 1) &&
                       (s.filein() || sess->mergestat == KVRN_WANTS_NONE || note("mergestat")) &&
                       (sess->outaddr == nullptr || note("a record at the end")) &&
                       (s.filein() || count("putcount", sess->putcount, s.records())) &&
                       (s.fileout() || count("getcount", sess->getcount, result.records.size()));
            }
            if (!expect("kvrnmrge", got, 0))
                return false;
            if (sess->outaddr == nullptr)
                continue;
            bytes data(static_cast<const char *>(sess->outaddr), sess->outlen);
            // Of a delimiter of two bytes the second one comes with the next
            // line, or not at all: intended.
            if (s.delimiter().size() == 2)
                data = data.substr(data[0] == '\n' ? 1 : 0) + "\n";
            if (s.form == 'v')
                result.records.push_back(data);
            else if (!unframe(s, data, &result.records))
                return note("broken record from kvrnmrge");
        }
    }

    bool collect() {
        if (ismanaged(s.output)) {
            constexpr int atend = 0x10;
            managerclient manager;
            return manager.readall(disk.output, managedkind(s, s.output, s.outlength()),
                                   &result.records) == atend ||
                   note("broken output file");
        }
        if (s.fileout()) {
            bytes data = on.read(disk.output);
            if (s.endmark) { // goes over to the output
                if (data.empty() || data.back() != '\x1A')
                    return note("the end mark is missing");
                data.pop_back();
            }
            return unframe(s, data, &result.records) || note("broken records in the output file");
        }
        for (;;) {
            const int got = call(kvrnget, link.chkg);
            if (got == 1) {
                return expect("kvrnget", got, 1) &&
                       (sess->code == KVRN_END || note("code at the end")) &&
                       count("getcount", sess->getcount, result.records.size());
            }
            if (!expect("kvrnget", got, 0))
                return false;
            const bytes data(static_cast<const char *>(sess->recaddr), sess->reclen);
            if (s.output == exchange::record && s.form == 'v')
                result.records.push_back(data);
            else if (!unframe(s, data, &result.records))
                return note("broken records from kvrnget");
        }
    }
};

} // namespace

bool unframe(const sessionspec &s, const bytes &data, std::vector<bytes> *out) {
    const bytes delimiter = s.delimiter();
    for (size_t p = 0; p < data.size();) {
        size_t length = s.outlength(), behind = delimiter.size();
        if (s.form == 'v') {
            uint32_t word = 0;
            if (data.size() - p < sizeof word)
                return false;
            std::memcpy(&word, data.data() + p, sizeof word);
            p += sizeof word;
            length = word;
        } else if (s.form == 'r') {
            const size_t end = data.find(delimiter, p);
            if (end == bytes::npos)
                return false;
            length = end - p;
        }
        if (data.size() - p < length || data.size() - p - length < behind ||
            (s.form != 'v' && length + behind == 0))
            return false;
        out->push_back(data.substr(p, length));
        p += length + behind;
    }
    return true;
}

runresult run(const sessionspec &spec, const sessiondisk &disk, mischief *by) {
    return session(spec, disk, by).run();
}

runresult run(const sessionspec &spec, const tempfolder &folder) {
    return run(spec, folderdisk(folder));
}

} // namespace kvern::test
