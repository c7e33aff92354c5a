// The command line of a job as values, not yet judged against each other.
//
// In this folder: from the words of the command line to these values and back, for help,
// manual and completions, by one table (optiontable); optioncheck judges them.  Left to
// others: what the texts of keys, conditions and pieces say (syntax), what they mean for a
// session (plan).  In order: parsejob, checkoptions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace command {

enum class jobkind : uint8_t { sort, merge, copy, check, deal };

struct joboptions {
    jobkind kind = jobkind::sort;

    // Record form
    uint32_t fixed = 0;    // 0: not fixed
    uint32_t variable = 0; // 0: not variable
    std::string framing;
    uint32_t blocksize = 0; // 0: as the largest block of the inputs
    bool text = false;
    bool columns = false;
    std::string textonly; // an option of text that was given, none: empty
    std::string eol = "auto";
    std::string separator;
    bool separatorgiven = false;
    bool doseof = false;  // a byte 0x1A ends text
    uint32_t maxline = 0; // 0: found by a first pass

    // Data code
    std::string data = "ascii";
    std::string zoned = "zone5";
    bool zonedgiven = false;
    uint32_t ebcdictable = 0;

    // Keys
    std::vector<std::string> keys;
    bool reverse = false, stable = false, unique = false;
    uint8_t textoption = 0; // of -b -d -f -i -n, as KVRNKEYE has it

    // Equal keys, selection and shape
    std::vector<std::string> sums;
    bool warnoverflow = false;
    std::string where, wherefile, layoutfile, rebuild;
    bool wheregiven = false, rebuildgiven = false;
    uint32_t header = 0; // records
    bool dropshort = false;

    // Files and room
    std::vector<std::string> inputs;
    std::string output; // empty or "-": standard output
    std::vector<std::string> tempdirs;
    std::string memory; // as it was given, empty: by default
    unsigned jobs = 0;  // threads, 0: by default
    bool keeptemp = false;

    // Dealing
    static constexpr uint32_t mostways = 1000;
    uint32_t ways = 0;             // files; 0: as the ranges say
    std::string sample, rangefile; // empty: none

    // Reporting
    bool quiet = false;
    std::string color = "auto", progress = "auto";
    std::string stats; // empty: none
    bool explain = false;

    bool istext() const { return fixed == 0 && variable == 0; }
    bool tofile() const { return !output.empty() && output != "-"; }
};

} // namespace command
