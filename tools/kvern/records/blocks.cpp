#include "kvern/records/blocks.h"

#include "kvern/records/recordreader.h"
#include "kvern/system/failure.h"

namespace command {

namespace {

constexpr int recordslooked = 16; // enough to tell blocks from records that look alike

// The data of the record at the front, which is taken off; false: none is there whole.
bool takerecord(const framing &kind, std::string_view &bytes, std::string_view &data) {
    uint32_t length;
    if (bytes.size() < kind.prefix || !readprefix(kind, bytes.data(), length) ||
        bytes.size() - kind.prefix < length)
        return false;
    data = bytes.substr(kind.prefix, length);
    bytes.remove_prefix(kind.prefix + length);
    return true;
}

bool allrecords(const framing &kind, std::string_view bytes) {
    std::string_view data;
    if (bytes.empty())
        return false;
    while (!bytes.empty())
        if (!takerecord(kind, bytes, data) || data.empty())
            return false;
    return true;
}

// The last record of the bytes may not be there whole.
bool looksblocked(const framing &kind, std::string_view bytes) {
    std::string_view data;
    int seen = 0;
    for (; seen < recordslooked && takerecord(kind, bytes, data); ++seen)
        if (!allrecords(kind, data))
            return false;
    return seen > 0;
}

} // namespace

void refuseblocks(std::vector<inputsource> &sources) {
    const framing &kind = *findframing("rdw");
    for (inputsource &source : sources) {
        if (looksblocked(kind, source.lookahead(aheadroom)))
            throw failure{ending::data,
                          source.name() + " holds blocks: each of its first records is made of "
                                          "further records",
                          std::string("give --framing bdw, or --framing ") + plainrdw +
                              " where they are records all the same"};
    }
}

void measureblocks(std::vector<inputsource> &sources, const recordshape &shape) {
    for (inputsource &source : sources) {
        recordreader reader(source, shape);
        while (reader.next()) {
        }
        source.rewind();
    }
}

} // namespace command
