#include "kvern/run/feeding.h"

#include "kvern/records/recordintake.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <cstring>
#include <deque>

namespace command {

namespace {

// About this much passes in one call.
constexpr uint32_t blockbytes = 256u << 10;
constexpr uint32_t lengthword = 4; // in front of a variable record in a block

void feedfixed(session &engine, inputsource &source, const jobplan &plan, tally &counts) {
    const uint32_t reclen = plan.shape.length;
    std::vector<char> block(size_t{std::max(blockbytes / reclen, 1u)} * reclen);
    uint64_t records = source.skippedrecords();
    for (bool atend = false; !atend;) {
        size_t filled = 0;
        while (filled < block.size() && !atend) {
            const size_t count = source.read(block.data() + filled, block.size() - filled);
            filled += count;
            atend = count == 0;
        }
        records += filled / reclen;
        const size_t torn = filled % reclen;
        if (torn != 0 && !plan.form.dropshort)
            throw failure{ending::data,
                          source.name() + " ends inside record " + std::to_string(records + 1) +
                              ", after " + std::to_string(torn) + " of " + plural(reclen, "byte"),
                          "look at --fixed"};
        counts.shorts += torn != 0 ? 1 : 0;
        if (filled > torn)
            engine.put(block.data(), static_cast<uint32_t>(filled - torn));
    }
}

void feedvariable(session &engine, recordintake &intake) {
    std::string block;
    while (intake.next()) {
        const std::string_view data = intake.record().data();
        const auto length = static_cast<uint32_t>(data.size());
        if (block.size() + lengthword + length > blockbytes && !block.empty()) {
            engine.put(block.data(), static_cast<uint32_t>(block.size()));
            block.clear();
        }
        block.append(reinterpret_cast<const char *>(&length), lengthword);
        block.append(data);
    }
    if (!block.empty())
        engine.put(block.data(), static_cast<uint32_t>(block.size()));
}

// One line a call: the engine takes a line that ends in one byte as a record,
// and one that ends in CR LF as a block of its own.
void feedtext(session &engine, recordintake &intake) {
    while (intake.next()) {
        const std::string_view line = intake.record().raw();
        engine.put(line.data(), static_cast<uint32_t>(line.size()));
    }
}

// A line that ends in CR LF as one that ends in the byte of the plan.
std::string_view withend(const recordreader &record, char end, std::string &line) {
    if (record.data().find(end) != std::string_view::npos)
        throw failure{ending::data,
                      record.whichrecord() + " holds a bare line feed or carriage return",
                      "such lines can be sorted, but not checked, merged or copied here"};
    line.assign(record.data());
    line += end;
    return line;
}

[[noreturn]] void failorder(const recordreader &record, const char *fault, const char *advice,
                            uint32_t message, uint32_t detail) {
    throw failure{ending::notinorder, record.whichrecord() + fault, advice, message, detail};
}

} // namespace

void feed(session &engine, std::vector<inputsource> &sources, const jobplan &plan, tally &counts) {
    textscanner tests(plan.form);
    for (inputsource &source : sources) {
        if (plan.shape.kind == formkind::fixed) {
            feedfixed(engine, source, plan, counts);
            continue;
        }
        recordintake intake(source, plan.shape, tests, false);
        if (plan.view.text)
            feedtext(engine, intake);
        else
            feedvariable(engine, intake);
    }
    counts.shorts += tests.shorts();
    engine.endinput();
}

void draw(session &engine, const jobplan &plan, recordsink &out, const lookat &look) {
    const void *data;
    uint32_t length;
    while (engine.get(&data, &length)) {
        look();
        if (plan.shape.kind != formkind::variable) {
            out.write(data, length);
            continue;
        }
        auto from = static_cast<const char *>(data);
        for (const char *end = from + length; from < end;) {
            uint32_t bytes;
            std::memcpy(&bytes, from, lengthword);
            out.put(from + lengthword, bytes);
            from += lengthword + bytes;
        }
    }
    look();
}

void drawmerged(session &engine, recordsink &out, const lookat &look) {
    const void *data;
    uint32_t length;
    while (engine.getmerged(&data, &length)) {
        look();
        out.write(data, length);
    }
    look();
}

void exchange(session &engine, std::vector<inputsource> &sources, const jobplan &plan,
              recordsink *out, const lookat &look, tally &counts) {
    // A copy's inputs follow each other as one.
    const bool oneinput = plan.kind == jobkind::copy;
    const std::string_view textend = endbytes(plan.shape.end);
    const bool otherend = plan.view.text && plan.lineput != textend;
    std::vector<recordintake> intakes;
    std::deque<textscanner> scanners;
    intakes.reserve(sources.size());
    for (inputsource &source : sources)
        intakes.emplace_back(source, plan.shape, scanners.emplace_back(plan.form),
                             plan.form.dropshort);
    const bool strict =
        plan.kind == jobkind::check && (plan.engine.prim.options & KVRN_SUPPRESS) != 0;
    uint64_t taken = 0;
    size_t current = 0;
    std::string line;
    const void *data = nullptr;
    uint32_t length = 0;
    for (;;) {
        std::string_view given;
        const bool wanted = engine.wantsinput();
        if (wanted && !oneinput)
            current = engine.wanted();
        bool more = wanted && intakes[current].next();
        while (wanted && !more && oneinput && current + 1 < intakes.size())
            more = intakes[++current].next();
        const recordreader &record = intakes[current].record();
        if (more)
            given = !plan.view.text ? record.data()
                    : otherend      ? withend(record, plan.lineput[0], line)
                                    : record.raw();
        try {
            if (!engine.step(more ? given.data() : nullptr, given.size(), &data, &length))
                break;
        } catch (const enginefailure &what) {
            if (what.detail == KVRN_D_ORDER)
                failorder(record, " sorts before the one ahead of it",
                          plan.kind == jobkind::merge ? orderadvice : "", 40, KVRN_D_ORDER);
            throw;
        }
        look();
        taken += more ? 1 : 0;
        // With one input, each record but the first puts out the one ahead of it.
        if (strict && more && taken > 1 && data == nullptr)
            failorder(record, " has the key of the one ahead of it", "", 0, 0);
        if (data == nullptr || out == nullptr)
            continue;
        if (plan.shape.kind == formkind::variable)
            out->put(data, length);
        else
            out->write(data, otherend ? length - 1 : length);
        if (otherend)
            out->write(textend.data(), textend.size());
    }
    look();
    for (const textscanner &one : scanners)
        counts.shorts += one.shorts();
    for (const recordintake &one : intakes)
        counts.shorts += one.record().torn() ? 1u : 0u;
}

void drawfile(const std::string &path, recordsink &out, bool doseof) {
    inputsource source(path);
    if (doseof)
        source.endatmark();
    std::vector<char> block(blockbytes);
    while (const size_t count = source.read(block.data(), block.size()))
        out.write(block.data(), count);
}

void takeinto(scratchfile &file, inputsource &source) {
    std::vector<char> block(blockbytes);
    file.clear();
    while (const size_t count = source.read(block.data(), block.size()))
        file.append(block.data(), count);
    file.finish();
}

void siftinto(scratchfile &file, inputsource &source, const jobplan &plan, textscanner &tests) {
    recordintake intake(source, plan.shape, tests, true);
    std::string block;
    file.clear();
    while (intake.next()) {
        block += intake.record().raw();
        if (block.size() < blockbytes)
            continue;
        file.append(block.data(), block.size());
        block.clear();
    }
    file.append(block.data(), block.size());
    file.finish();
}

std::string takeheaders(std::vector<inputsource> &sources, const recordshape &shape,
                        uint32_t records) {
    std::string header;
    for (inputsource &source : sources) {
        recordreader reader(source, shape);
        std::string taken;
        uint64_t count = 0;
        while (count < records && reader.next()) {
            taken += reader.raw();
            ++count;
        }
        if (&source == &sources.front())
            header = taken;
        source.beginbehind(count, reader.offset() + reader.raw().size(), reader.rest(),
                           reader.blockrest());
    }
    return header;
}

} // namespace command
