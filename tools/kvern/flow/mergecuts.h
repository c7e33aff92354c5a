// Where the inputs of a merge are cut, all by the same keys: what lies between two cuts is
// merged by itself.  Inputs that are in order are so across the cuts as well, for right
// ahead of each stands a record below it, and right behind it one that is not.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/records/recordreader.h"

#include <string>
#include <vector>

namespace command {

// Thrown where an input cannot be cut, because it is not in order or holds a record
// without a key.
struct uncut {};

class mergecuts {
  public:
    // Of placed inputs of fixed records or lines, in ranges of about so many bytes.
    mergecuts(const flowjob &given, unsigned threads, uint64_t rangebytes);

    size_t ranges() const { return cuts.size() + 1; }
    recordslice slice(size_t input, size_t range) const {
        return {places[input][range], places[input][range + 1]};
    }
    // Of all ranges ahead of it, with the ends that last lines lack.
    uint64_t bytesahead(size_t range) const;

  private:
    struct sample {
        std::string key;
        uint64_t place;
    };
    using samples = std::vector<sample>; // of an input, ascending

    const flowjob &job;
    std::vector<samples> seen;
    std::vector<std::string> cuts;             // the first key of each range but the first
    std::vector<std::vector<uint64_t>> places; // of each input, where each range begins
    std::vector<size_t> lacking;               // of each input, bytes of its last line's end

    template <typename Each>
    void eachinput(unsigned threads, Each each);
    samples look(class keyfinder &keys, inputsource &source, uint64_t step) const;
    void choosecuts(size_t samplesarange);
    std::vector<uint64_t> findplaces(class keyfinder &keys, size_t input) const;
    size_t lackingend(inputsource &source) const;
};

} // namespace command
