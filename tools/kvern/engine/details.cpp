// Three tables: the engine's own codes, the system errors that it translates to a few
// codes each, by operation, and those behind its few codes for temporary files.
// docs/details.md lists the first two one by one.

#include "kvern/engine/details.h"

#include "kvern.h"

#include <algorithm>

namespace command {

namespace {

struct ownrow {
    uint32_t detail, message;
    ending code;
    side where;
    const char *what;
    const char *advice;
};

constexpr const char *ourfault = "this is a fault of kvern, please report it";
constexpr const char *moreroom = "give more room with -S, or a shorter record or key";

constexpr ownrow ownrows[] = {
    {1, 0, ending::internal, side::none, "the engine does not know this interface", ourfault},
    {2, 0, ending::file, side::none, "the engine library cannot be loaded",
     "look at the setting that names it (KVERN_DLL_NAME, or DLL_Name in the registry)"},
    {50, 23, ending::room, side::none, "the working storage is too small", moreroom},
    {52, 0, ending::room, side::none,
     "no memory for the session, or the list of temporary directories is too long",
     "look at -T, KVERN_TMPDIR, TEMP and TMP"},
    {53, 0, ending::room, side::none, "no memory for the working storage", "ask for less with -S"},
    {55, 15, ending::usage, side::none, "the files cannot be served", ""},
    {56, 14, ending::usage, side::none, "an option was refused", ""},
    {57, 14, ending::usage, side::none, "options that exclude each other", ""},
    {59, 7, ending::usage, side::none, "a key was refused", "look at -k"},
    {60, 8, ending::usage, side::none, "a summation field was refused", "look at --sum"},
    {61, 16, ending::usage, side::none, "key and summation fields overlap", "look at -k and --sum"},
    {62, 17, ending::usage, side::none, "the engine does not support this combination", ""},
    {63, 10, ending::usage, side::none, "a condition was refused", "look at --where"},
    {64, 9, ending::usage, side::none, "a rebuild field was refused", "look at --rebuild"},
    {66, 72, ending::data, side::input, "a record lacks a field of a condition",
     "look at --where, or leave such records out with --short drop"},
    {67, 73, ending::data, side::input, "a record lacks a field of the rebuilt record",
     "look at --rebuild, or leave such records out with --short drop"},
    {111, 88, ending::data, side::input, "a record is longer than was said", ""},
    {114, 40, ending::notinorder, side::input, "the input is not in order", ""},
    {115, 41, ending::sumstopped, side::none, "summing stopped: a sum does not fit its field", ""},
    {116, 42, ending::sumstopped, side::none, "summing stopped: a record lacks its field", ""},
    {117, 86, ending::data, side::input, "a line does not end in the line end of --eol",
     "look at --eol"},
    {118, 87, ending::data, side::input, "a line lacks a key field", "look at -k and -t"},
    {200, 35, ending::file, side::input, "reading failed", ""},
    {201, 36, ending::file, side::output, "writing failed", ""},
    {205, 28, ending::usage, side::output, "the output is one of the inputs",
     "name another file with -o"},
    {208, 32, ending::file, side::none, "a file cannot be opened", ""},
    {209, 33, ending::file, side::none, "too many open files", ""},
    {210, 34, ending::file, side::none, "a file cannot be closed", ""},
    {212, 25, ending::room, side::none, "no temporary file space left",
     "name directories with more room with -T, or give more memory with -S"},
    {214, 26, ending::file, side::none, "no temporary file can be made, or no further one",
     "look at -T, KVERN_TMPDIR, TEMP and TMP, and at the room there"},
    {215, 27, ending::file, side::none, "a file does not exist", ""},
    {216, 37, ending::file, side::input, "no permission to read", ""},
    {217, 38, ending::file, side::output, "no permission to write", ""},
    {222, 31, ending::usage, side::none, "the record length is missing", "give --fixed N"},
    {224, 36, ending::file, side::none, "writing a temporary file failed", "look at -T"},
    {225, 35, ending::file, side::none, "reading a temporary file failed", "look at -T"},
    {227, 0, ending::usage, side::none, "the list of temporary directories is bad",
     "look at -T, KVERN_TMPDIR, TEMP and TMP"},
    {234, 79, ending::file, side::none, "a part of the path is no directory", ""},
    {235, 80, ending::file, side::none, "the path is a directory", ""},
    {236, 81, ending::room, side::output, "no space left", "make room, or name another place"},
    {237, 82, ending::room, side::output, "the file would become too large", ""},
    {238, 83, ending::file, side::none, "a system call failed", ""},
    {240, 23, ending::room, side::none,
     "the working storage is too small, or record and keys together pass 32716 bytes", moreroom},
    {241, 41, ending::data, side::input, "a number to be summed is none", "look at --sum"},
    {243, 0, ending::file, side::none, "the file manager failed", ""},
    {250, 43, ending::internal, side::none, "internal error of the engine", ourfault},
};

// How the codes of a system error are laid out behind the first one.
enum class layout : uint8_t {
    one,     // a single code
    byside,  // other operations, input, output
    byaction // open and close, read, write; each with a message of its own
};

struct systemrow {
    uint32_t first;
    layout codes;
    uint8_t message; // of layout one; the others are 32, or 32, 35 and 36
    ending code;
    const char *what;
};

constexpr systemrow systemrows[] = {
    {251, layout::one, 32, ending::file, "the file exists already"},
    {252, layout::byside, 32, ending::file, "bad device"},
    {255, layout::byside, 32, ending::file, "bad path name"},
    {258, layout::byside, 32, ending::file, "bad unit"},
    {261, layout::byside, 32, ending::file, "the file name is too long"},
    {264, layout::byside, 32, ending::file, "the directory entry cannot be made"},
    {267, layout::byside, 32, ending::file, "the connection is not available"},
    {270, layout::byside, 32, ending::file, "the directory is not the root"},
    {273, layout::byside, 32, ending::file, "the path is a directory"},
    {276, layout::one, 35, ending::file, "the disk is corrupt"},
    {277, layout::one, 36, ending::room, "no space left"},
    {278, layout::one, 32, ending::file, "a disk operation failed"},
    {279, layout::one, 32, ending::file, "the disk cannot be recalibrated"},
    {280, layout::one, 32, ending::file, "the disk cannot be reset"},
    {281, layout::byside, 32, ending::file, "the drive is locked"},
    {284, layout::one, 32, ending::file, "network error"},
    {285, layout::one, 35, ending::file, "the file is corrupt"},
    {286, layout::byaction, 0, ending::file, "the file changed under the program"},
    {289, layout::byside, 32, ending::file, "no such file"},
    {292, layout::byside, 32, ending::file, "the file name is too long"},
    {295, layout::one, 36, ending::room, "no space left"},
    {296, layout::byside, 32, ending::file, "invalid drive"},
    {299, layout::byside, 32, ending::file, "invalid file name"},
    {302, layout::one, 32, ending::file, "device error"},
    {303, layout::byside, 32, ending::file, "a part of the file is locked"},
    {306, layout::one, 32, ending::file, "bad position in the file"},
    {307, layout::one, 36, ending::file, "writing to the network failed"},
    {308, layout::byside, 32, ending::file, "no access to the network"},
    {311, layout::one, 32, ending::file, "the network is busy"},
    {312, layout::one, 32, ending::file, "no more files"},
    {313, layout::byside, 32, ending::file, "no network"},
    {316, layout::byside, 32, ending::file, "no such network name"},
    {319, layout::byside, 32, ending::file, "the volume has no label"},
    {322, layout::byside, 32, ending::file, "no network connection"},
    {325, layout::byside, 32, ending::file, "the disk has a foreign format"},
    {328, layout::byside, 32, ending::file, "the device is not ready"},
    {331, layout::byside, 32, ending::file, "the system does not support this"},
    {334, layout::byside, 32, ending::file, "the file cannot be opened"},
    {337, layout::byside, 32, ending::file, "the path is busy"},
    {340, layout::byside, 32, ending::file, "no such directory"},
    {343, layout::byside, 32, ending::file, "a privilege is missing"},
    {346, layout::one, 35, ending::file, "reading failed"},
    {347, layout::one, 32, ending::file, "the other computer does not listen"},
    {348, layout::one, 32, ending::file, "the network refused the request"},
    {349, layout::byaction, 0, ending::file, "bad sector"},
    {352, layout::byaction, 0, ending::file, "bad position on the device"},
    {355, layout::byaction, 0, ending::file, "the device has no positions"},
    {358, layout::one, 32, ending::file, "sharing is paused"},
    {359, layout::byside, 32, ending::file, "another program uses the file"},
    {362, layout::byside, 32, ending::file, "too many open files"},
    {364, layout::byside, 32, ending::file, "the medium is not recognised"},
    {367, layout::one, 32, ending::file, "the volume is not recognised"},
    {368, layout::one, 36, ending::file, "writing failed"},
    {369, layout::one, 36, ending::file, "the medium is write-protected"},
    {370, layout::byside, 32, ending::file, "access denied"},
};
constexpr uint32_t lastdetail = 372;

// The codes of "too many open files" lack the one for other operations.
constexpr uint32_t toomanyopen = 362;

explanation explainsystem(const systemrow &row, uint32_t detail) {
    const uint32_t place = detail - row.first + (row.first == toomanyopen ? 1 : 0);
    explanation out{row.what, "", row.code, row.message, side::none};
    if (row.codes == layout::one) {
        if (row.message != 32) // reading, or writing
            out.where = row.message == 35 ? side::input : side::output;
        return out;
    }
    constexpr side sides[] = {side::none, side::input, side::output};
    constexpr uint32_t messages[] = {32, 35, 36};
    out.where = sides[place];
    if (row.codes == layout::byaction)
        out.message = messages[place];
    return out;
}

// What the system said when a temporary file failed; other codes are told by number.
constexpr const char *otherplace = "name more directories, or ones with more room, with -T, or "
                                   "give more memory with -S";
constexpr const char *lookatplaces = "look at -T, KVERN_TMPDIR, TEMP and TMP";
struct temprow {
    uint64_t syscode;
    ending code;
    const char *what;
    const char *advice;
};
constexpr temprow temprows[] = {
    {3, ending::file, "no such directory", lookatplaces},
    {4, ending::file, "too many open files", "allow this process more of them"},
    {5, ending::file, "access denied", lookatplaces},
    {19, ending::file, "the medium is write-protected", lookatplaces},
    {38, ending::file, "it is shorter than it was written", ""},
    {39, ending::room,
     "it may not become larger, and no other one can be made (on 32 bits each has 4 GiB at most)",
     otherplace},
    {112, ending::room, "no space left", otherplace},
    {1117, ending::file, "device error", lookatplaces},
};

// The details that failing temporary files end in.  The last one is a fault of the engine
// only where no system code stands behind it.
bool isoftemp(uint32_t detail) {
    constexpr uint32_t details[] = {KVRN_D_TEMPSPACE, KVRN_D_TEMPCREATE, KVRN_D_TEMPWRITE,
                                    KVRN_D_SYSTEM, KVRN_D_LOGIC};
    return std::find(std::begin(details), std::end(details), detail) != std::end(details);
}

void settlebysystem(explanation &out, uint64_t syscode) {
    const std::string number = "system error " + std::to_string(syscode);
    temprow its = {syscode, ending::file, number.c_str(), lookatplaces};
    for (const temprow &row : temprows)
        if (row.syscode == syscode)
            its = row;
    out.what = std::string("a temporary file: ") + its.what;
    out.code = its.code;
    out.advice = its.advice;
}

explanation explaindetail(uint32_t detail) {
    for (const ownrow &row : ownrows)
        if (row.detail == detail)
            return {row.what, row.advice, row.code, row.message, row.where};
    const systemrow *found = nullptr;
    for (const systemrow &row : systemrows)
        if (row.first <= detail)
            found = &row;
    if (found != nullptr && detail <= lastdetail)
        return explainsystem(*found, detail);
    return {"the engine refused the session", ourfault, ending::internal, 0, side::none};
}

} // namespace

explanation explain(uint32_t detail, uint64_t syscode) {
    explanation out = explaindetail(detail);
    if (syscode != 0 && isoftemp(detail))
        settlebysystem(out, syscode);
    return out;
}

} // namespace command
