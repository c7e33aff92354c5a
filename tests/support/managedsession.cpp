#include "support/managedsession.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint32_t mostinputs = 4;

// As deep as the direct reader goes: block 0 with one key entry.
std::string indexedhead(const managedjob &job, uint32_t number) {
    std::string head(512, 0);
    const auto put = [&head](size_t at, uint32_t value, size_t bytes) {
        for (size_t i = 0; i < bytes; i++)
            head[at + i] = static_cast<char>(value >> 8 * (bytes - 1 - i));
    };
    head.replace(6, 4, "RMKF");
    put(1, 1, 1);
    put(16, job.form == 'f' ? job.reclen : 1, 2);
    put(18, job.reclen, 2);
    put(20, 1, 1);
    put(23, 2, 1);
    put(25, 1, 1);
    put(26, 512 + number, 2); // to tell the files' descriptions apart
    put(105, 7, 1);
    put(107, 9, 1);
    put(256 + 2, 1, 2); // position 0, length 1
    return head;
}

struct watch {
    const recordingmanager *manager;
    size_t stopat;
};

// Failures are printed.
int KVRN_CALL watching(KVRNSESS *sess, void *with) {
    const watch *w = static_cast<const watch *>(with);
    (void)kvrnlevl(sess, 2);
    return w->manager->lines.size() >= w->stopat ? 1 : 0;
}

// Everything that must live until kvrnclse.
struct session {
    tempfolder folder{};
    std::vector<std::string> names{};
    struct {
        uint32_t count;
        const char *path[mostinputs];
    } paths = {};
    struct {
        uint32_t count;
        uint8_t kind[mostinputs];
    } kinds = {};
    std::string output{};
    KVRNOKEY outkey = {0, 1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x50, 0}}};
    KVRNFILE files = {};
    KVRNPRIM prim = {};
    KVRNLINK link = {};
    KVRNSESS sess = {};

    session(const managedjob &job, recordingmanager &manager) {
        prim.function = job.function;
        prim.recform = static_cast<uint8_t>(job.form);
        prim.reclen = job.reclen;
        prim.memsize = job.memsize;
        prim.options = KVRN_MSGPRINT;
        prim.mergecnt = job.function == KVRN_MERGE ? static_cast<uint32_t>(job.inputs.size()) : 0;
        for (size_t i = 0; i < job.inputs.size(); i++)
            addinput(job, manager, i);
        if (paths.count != 0)
            files.infiles = reinterpret_cast<KVRNFLST *>(&paths);
        if (!job.listed.empty())
            files.intypes = reinterpret_cast<KVRNFTYP *>(&kinds);
        output = folder.file("out");
        files.outfile = job.outkind == nooutput ? nullptr : output.c_str();
        files.outtype = job.outkind;
        files.outkey = &outkey;
    }

    void addinput(const managedjob &job, recordingmanager &manager, size_t i) {
        names.reserve(mostinputs); // so that the texts stay where they are
        names.push_back(folder.file("in" + std::to_string(i)));
        manager.files["in" + std::to_string(i)] = job.inputs[i];
        paths.path[paths.count++] = names.back().c_str();
        if (i < job.listed.size())
            kinds.kind[kinds.count++] = job.listed[i];
        if (!job.listed.empty() && job.listed[std::min(i, job.listed.size() - 1)] == 18)
            writefile(names.back(), indexedhead(job, static_cast<uint32_t>(i)));
    }

    bool give(const std::vector<std::string> &records) {
        for (const std::string &record : records) {
            sess.code = KVRN_RECORD;
            sess.recaddr = const_cast<char *>(record.data());
            sess.reclen = static_cast<uint32_t>(record.size());
            if (kvrnput(&sess) != KVRN_DONE)
                return false;
        }
        sess.code = KVRN_END;
        return kvrnput(&sess) == KVRN_ENDED;
    }
};

} // namespace

std::string doublefolder(doublekind kind) {
    static constexpr const char *folders[] = {"/fmgr_double", "/fmgr_lacking", "/fmgr_told"};
    return std::string(KVERN_BINARY_DIR) + folders[static_cast<size_t>(kind)];
}

managedresult run(const managedjob &job, recordingmanager &manager) {
    session s(job, manager);
    managedresult result;
    watch watched = {&manager, job.stopat};
    kvrnhook(watching, &watched);
    testing::internal::CaptureStdout();
    result.opened =
        kvrnopen(KVRN_VERSION_L4, &s.link, &s.prim, &s.sess, nullptr, &s.files, nullptr);
    result.syserr = s.sess.syserr;
    if (result.opened == KVRN_DONE && job.inputs.empty() && !s.give(job.put))
        result.opened = KVRN_FAILED;
    if (result.opened == KVRN_DONE && job.outkind == nooutput)
        while (kvrnget(&s.sess) == KVRN_DONE)
            result.got.emplace_back(static_cast<const char *>(s.sess.recaddr), s.sess.reclen);
    result.closed = kvrnclse(KVRN_VERSION_L4, &s.link, &s.prim, &s.sess);
    result.detail = s.sess.detail;
    const std::string printed = testing::internal::GetCapturedStdout();
    kvrnhook(nullptr, nullptr);
    constexpr size_t headlength = sizeof "KVERN:" - 1;
    if (printed.rfind("KVERN:", 0) == 0)
        result.message = static_cast<uint32_t>(std::atoi(printed.c_str() + headlength));
    return result;
}

} // namespace kvern::test
