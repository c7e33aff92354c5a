// Descriptors, file facts and signals: the only file of the command that knows
// the system.  All bytes pass untranslated on every system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace command {

constexpr int standardinput = 0;
constexpr int standardoutput = 1;
constexpr int standarderror = 2;

// Standard streams carry bytes, not text with translated line ends, and are there.
void usebinarystreams();

enum class filesort : uint8_t { missing, regular, directory, stream };
struct filefacts {
    filesort sort;
    uint64_t size;     // of a regular file, from its position to its end
    std::string error; // why it is missing
};
filefacts inspect(const std::string &path);
filefacts inspect(int descriptor);

// -1 on failure, then systemerror() tells why.
int openinput(const std::string &path);
void closeinput(int descriptor);
// A new file that only the user may read, open for writing; -1: it is there already,
// or cannot be made.
int createfile(const std::string &path);
// An output made or emptied; -1 on failure.
int openoutput(const std::string &path);
// False: what was written may not have reached it.
bool closeoutput(int descriptor);
// All of it, or throws the failure of the file.
void writefile(int descriptor, const std::string &path, const void *from, size_t length);
// Up to `room` bytes; 0 at the end, -1 on failure.  Throws `stopped` when a
// signal came in between.
int64_t readsome(int descriptor, void *to, size_t room);
// The place of a regular file's next byte, and back to it.
int64_t position(int descriptor);
bool goback(int descriptor, int64_t place);

bool isterminal(int descriptor);
std::string systemerror();
// A number that no other running process has.
uint64_t processnumber();

// From here on an interrupt or a request to end only marks stopwanted().
void catchsignals();
bool stopwanted();

} // namespace command
