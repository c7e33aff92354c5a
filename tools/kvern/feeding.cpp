#include "feeding.h"

#include "report.h"

#include <algorithm>

namespace command {

namespace {

// About this much passes in one call.
constexpr uint32_t blockbytes = 256u << 10;

void feedfixed(session &engine, inputsource &source, uint32_t reclen) {
    std::vector<char> block(size_t{std::max(blockbytes / reclen, 1u)} * reclen);
    uint64_t records = 0;
    for (bool atend = false; !atend;) {
        size_t filled = 0;
        while (filled < block.size() && !atend) {
            const size_t count = source.read(block.data() + filled, block.size() - filled);
            filled += count;
            atend = count == 0;
        }
        records += filled / reclen;
        if (filled % reclen != 0)
            throw failure{ending::data,
                          source.name() + " ends inside record " + std::to_string(records + 1) +
                              ", after " + std::to_string(filled % reclen) + " of " +
                              plural(reclen, "byte"),
                          "look at --fixed"};
        if (filled > 0)
            engine.put(block.data(), static_cast<uint32_t>(filled));
    }
}

// One line a call: the engine takes a line that ends in one byte as a record,
// and one that ends in CR LF as a block of its own.
void feedtext(session &engine, inputsource &source, const textform &form, textscanner &scanner) {
    const size_t endlength = endbytes(form.end).size();
    scanner.startsource(source.name());
    eachline(source, form.end, false, [&](std::string_view text) {
        scanner.line(text);
        // A block is measured up to its end or a zero byte.
        if (form.end == lineend::crlf && text.find('\0') != std::string_view::npos)
            throw failure{ending::data,
                          "line " + std::to_string(scanner.linenumber()) + " of " + source.name() +
                              " holds a zero byte",
                          "lines with CR LF and zero bytes can be sorted from files only"};
        engine.put(text.data(), static_cast<uint32_t>(text.size() + endlength));
    });
}

} // namespace

void feed(session &engine, std::vector<inputsource> &sources, const jobplan &plan) {
    textscanner scanner(plan.form);
    for (inputsource &source : sources)
        if (plan.text)
            feedtext(engine, source, plan.form, scanner);
        else
            feedfixed(engine, source, plan.engine.prim.reclen);
    engine.endinput();
}

void draw(session &engine, const std::function<void()> &look) {
    const void *data;
    uint32_t length;
    while (engine.get(&data, &length)) {
        look();
        writeoutput(data, length);
    }
    look();
}

void drawmerged(session &engine, const std::function<void()> &look) {
    std::string buffer;
    const void *data;
    uint32_t length;
    while (engine.getmerged(&data, &length)) {
        look();
        buffer.append(static_cast<const char *>(data), length);
        if (buffer.size() < blockbytes)
            continue;
        writeoutput(buffer.data(), buffer.size());
        buffer.clear();
    }
    look();
    writeoutput(buffer.data(), buffer.size());
}

void drawfile(const std::string &path) {
    inputsource source(path);
    std::vector<char> block(blockbytes);
    while (const size_t count = source.read(block.data(), block.size()))
        writeoutput(block.data(), count);
}

void takeinto(scratchfile &file, inputsource &source) {
    std::vector<char> block(blockbytes);
    file.clear();
    while (const size_t count = source.read(block.data(), block.size()))
        file.append(block.data(), count);
    file.finish();
}

} // namespace command
