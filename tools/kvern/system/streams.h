// Descriptors and file facts as the system has them.  All bytes pass untranslated on every system.
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

// Which file it is, whatever its names.
struct fileidentity {
    bool known = false;
    bool keeps = false; // what is written to it is read from it later: a file, a disk
    uint64_t device = 0, number = 0;

    bool same(const fileidentity &other) const {
        return known && other.known && device == other.device && number == other.number;
    }
};
fileidentity identify(const std::string &path);
fileidentity identify(int descriptor);
bool iswritable(int descriptor); // as it was opened
// A regular file that is written at any place, not one opened for appending.
bool isplaceable(int descriptor);

// -1 on failure, then systemerror() tells why.  The opening of a pipe waits for its other
// end; throws `stopped` as readsome does.
int openinput(const std::string &path);
void closeinput(int descriptor);
// For writing, as it is; -1 on failure.
int openstream(const std::string &path);
// All of it, or throws the failure of the file.
void writefile(int descriptor, const std::string &path, const void *from, size_t length);
// The same at a place of a regular file, whatever its position, by several threads.
void writeplace(int descriptor, const std::string &path, uint64_t place, const void *from,
                size_t length);
// To standard error, where no memory may be taken; that it fails is told nowhere.
void saydirectly(const char *text);
// Up to `room` bytes; 0 at the end, -1 on failure.  Throws `stopped` when a
// signal came in between.
int64_t readsome(int descriptor, void *to, size_t room);
// The same at a place of a regular file, whatever its position, by several threads.
int64_t readplace(int descriptor, uint64_t place, void *to, size_t room);
// The place of a regular file's next byte, and back to it.
int64_t position(int descriptor);
bool goback(int descriptor, int64_t place);

// How many files can be opened now, as far as anybody asks.
size_t freedescriptors(size_t wanted);

bool isterminal(int descriptor);
std::string systemerror();
// Throws the failure of a file with the C library's error number.
[[noreturn]] void failsystem(int code, const std::string &path, const std::string &advice = "");

} // namespace command
