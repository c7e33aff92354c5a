// A session context with one file and one block, for the file routines alone.
// Block and carry are as long as a session makes them, to the byte, so that a
// memory checker sees every step outside.
#pragma once

#include "file/filectl.h"
#include "support/tempfolder.h"

#include <cstring>
#include <string>
#include <vector>

inline std::string filewith(const kvern::test::tempfolder &dir, const std::string &name,
                            const std::string &content) {
    kvern::test::writefile(dir.file(name), content);
    return dir.file(name);
}

struct fileroom {
    kvern::qha5ctx ctx{};
    kvern::filectl file{};
    kvern::blockhdr block{};
    kvern::carryentry carry{};
    std::vector<uint8_t> data, carried;
    std::string name;

    // A block of `readlen` bytes and room for one record.
    fileroom(uint8_t form, uint32_t inreclen, uint32_t readlen) {
        ctx.recform = form;
        ctx.inreclen = inreclen;
        ctx.inblklen = ctx.textreadlen = readlen;
        ctx.carrytab = &carry;
        data.resize(form == 'r' ? readlen + inreclen : readlen);
        carried.resize((inreclen + 3) / 4 * 4);
        carry.bytes = carried.data();
        block.first = block.next = block.limit = data.data();
        block.end = data.data() + data.size();
        file.block = &block;
    }
    fileroom(const fileroom &) = delete;
    fileroom &operator=(const fileroom &) = delete;

    void delimiter(const std::string &bytes) {
        memcpy(ctx.linedlmt, bytes.c_str(), bytes.size() + 1);
        ctx.linedlmtlen = static_cast<uint32_t>(bytes.size());
    }
    int bind(uint8_t kind, char mode, const std::string &path) {
        name = path;
        file.kind = kind;
        file.mode = static_cast<uint8_t>(mode);
        file.name = name.c_str();
        return kvern::bindfile(&ctx, &file);
    }
    int32_t open() { return file.openfn(&ctx, &file); }
    int32_t close() { return file.closefn(&ctx, &file); }
    int32_t read() { return file.readfn(&ctx, &file); }
    int32_t write(const std::string &bytes) {
        memcpy(block.first, bytes.data(), bytes.size());
        block.limit = block.first + bytes.size();
        return file.writefn(&ctx, &file);
    }
    std::string held() const { return {block.first, block.limit}; }

    // All blocks up to the end of the file, joined by `joint`; "!" and the number
    // of the message at the end where a read failed.
    std::string readall(const std::string &joint = "") {
        std::string all;
        for (;;) {
            const int32_t got = read();
            if (got <= 0)
                return got == 0 ? all : all + "!" + std::to_string(ctx.lastmsg);
            const auto bytes = static_cast<uint32_t>(got);
            if (bytes != held().size() ||
                block.count != (ctx.recform == 'f' ? bytes / ctx.inreclen : 0))
                return all + "?count";
            all += (all.empty() ? "" : joint) + held();
        }
    }
};
