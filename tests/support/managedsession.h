// A session with files of the file manager's double: small enough that a test can
// write down every request.
#pragma once

#include "kvern.h"
#include "support/recordingmanager.h"
#include "support/tempfolder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvern::test {

constexpr uint8_t nooutput = 0xFF; // the records go to the caller

struct managedjob {
    uint8_t function = KVRN_SORT;
    char form = 'f';
    uint32_t reclen = 2;
    std::vector<uint8_t> listed{};                  // kinds of the inputs, as the caller lists them
    std::vector<std::vector<std::string>> inputs{}; // records of in0, in1, ...
    uint8_t outkind = nooutput;
    std::vector<std::string> put{}; // without inputs: what the caller gives
    uint32_t memsize = 0;
    size_t stopat = SIZE_MAX; // lines behind which the session is asked to stop
};

struct managedresult {
    int opened = 0, closed = 0; // results of kvrnopen and kvrnclse
    uint32_t detail = 0, syserr = 0;
    uint32_t message = 0;           // number of the first that was printed
    std::vector<std::string> got{}; // what the caller was given
};

// The folder of the double's library, and of those with a function fewer and one more.
enum class doublekind : uint8_t { plain, lacking, told };
[[nodiscard]] std::string doublefolder(doublekind kind = doublekind::plain);

// Files of kind 18 are there as far as the engine itself reads them: a head with
// one key, the record's first byte.
[[nodiscard]] managedresult run(const managedjob &job, recordingmanager &manager);

} // namespace kvern::test
