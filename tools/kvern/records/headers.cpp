#include "kvern/records/headers.h"

#include "kvern/records/recordreader.h"

namespace command {

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
