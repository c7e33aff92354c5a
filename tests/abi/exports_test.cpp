// Reads the tables of the built library itself: exactly the promised names go
// out, and nothing comes in but from the system.
#include "kvern.h"
#include "support/tempfolder.h"

#include <cstring>
#include <gtest/gtest.h>
#include <set>
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <elf.h>
#endif

namespace kvern::test {

namespace {

using namespace std::string_literals;
using names = std::set<std::string>;

const names promised = {"kvrnopen", "kvrnput",  "kvrnget",  "kvrnmrge", "kvrnclse", "qha5init",
                        "qha5chkp", "qha5chkg", "qha5chkm", "qha5term", "kvrnstop", "kvrnlevl",
                        "kvrntmpd", "kvrnhook", "kvrnstat", "kvrntext"};

struct tables {
    names exported, imported, libraries;
    names paths = {};      // where the system looks for them
    bool bindsnow = false; // all is resolved at the start
};

template <class T>
T at(const std::string &image, size_t offset) {
    T value;
    std::memcpy(&value, image.substr(offset, sizeof value).data(), sizeof value);
    return value;
}

std::string textat(const std::string &image, size_t offset) {
    return image.substr(offset, image.find('\0', offset) - offset);
}

#ifdef _WIN32

std::string libraryimage() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(GetModuleHandleA("m7hqkvrn.dll"), path, sizeof path);
    return readfile(path);
}

// Place in the file of what is loaded at a relative address.
size_t fileoffset(const std::string &image, uint32_t address) {
    const auto header = at<uint32_t>(image, 0x3C);
    const auto nt = at<IMAGE_NT_HEADERS32>(image, header);
    const size_t first =
        header + offsetof(IMAGE_NT_HEADERS32, OptionalHeader) + nt.FileHeader.SizeOfOptionalHeader;
    for (size_t i = 0; i < nt.FileHeader.NumberOfSections; ++i) {
        const auto s = at<IMAGE_SECTION_HEADER>(image, first + i * sizeof(IMAGE_SECTION_HEADER));
        if (address - s.VirtualAddress < s.SizeOfRawData)
            return address - s.VirtualAddress + s.PointerToRawData;
    }
    return 0;
}

tables readtables(const std::string &image) {
    tables out;
    const auto nt = at<IMAGE_NT_HEADERS32>(image, at<uint32_t>(image, 0x3C));
    const auto &directory = nt.OptionalHeader.DataDirectory;
    const auto exports = at<IMAGE_EXPORT_DIRECTORY>(
        image, fileoffset(image, directory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress));
    for (uint32_t i = 0; i < exports.NumberOfNames; ++i) {
        const auto name = at<uint32_t>(image, fileoffset(image, exports.AddressOfNames) + i * 4);
        out.exported.insert(textat(image, fileoffset(image, name)));
    }
    EXPECT_EQ(exports.NumberOfFunctions, exports.NumberOfNames) << "exports without a name";
    size_t entry = fileoffset(image, directory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (;; entry += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        const auto import = at<IMAGE_IMPORT_DESCRIPTOR>(image, entry);
        if (import.Name == 0)
            return out;
        std::string library = textat(image, fileoffset(image, import.Name));
        for (char &c : library)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        out.libraries.insert(library);
    }
}

#else

std::string libraryimage() {
    Dl_info info = {};
    dladdr(reinterpret_cast<void *>(&kvrnopen), &info);
    return readfile(info.dli_fname);
}

tables readtables(const std::string &image) {
    tables out;
    const auto header = at<Elf64_Ehdr>(image, 0);
    const auto section = [&](size_t i) {
        return at<Elf64_Shdr>(image, header.e_shoff + i * sizeof(Elf64_Shdr));
    };
    for (size_t i = 0; i < header.e_shnum; ++i) {
        const auto s = section(i);
        const auto strings = section(s.sh_link).sh_offset;
        for (size_t p = s.sh_offset; p < s.sh_offset + s.sh_size; p += s.sh_entsize) {
            if (s.sh_type == SHT_DYNSYM) {
                const auto symbol = at<Elf64_Sym>(image, p);
                const std::string name = textat(image, strings + symbol.st_name);
                // Weak names that nothing has to define come with every library.
                const bool optional = ELF64_ST_BIND(symbol.st_info) == STB_WEAK;
                if (symbol.st_shndx != SHN_UNDEF)
                    out.exported.insert(name);
                else if (!name.empty() && !optional)
                    out.imported.insert(name);
            } else if (s.sh_type == SHT_DYNAMIC) {
                const auto entry = at<Elf64_Dyn>(image, p);
                if (entry.d_tag == DT_RUNPATH || entry.d_tag == DT_RPATH)
                    out.paths.insert(textat(image, strings + entry.d_un.d_val));
                out.bindsnow |= entry.d_tag == DT_BIND_NOW ||
                                (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_BIND_NOW) != 0);
                if (entry.d_tag == DT_NEEDED)
                    out.libraries.insert(textat(image, strings + entry.d_un.d_val));
            } else {
                break;
            }
        }
    }
    return out;
}

#endif

} // namespace

TEST(abi, exports_are_the_promised_names) {
    EXPECT_EQ(readtables(libraryimage()).exported, promised);
}

TEST(abi, the_file_manager_exports_the_ten_names) {
    const names ten = {"InitFileManager", "InitReqMsgBuild", "BldNumParm",  "BldStrParm",
                       "BldFlagParm",     "FileManager",     "InitMsgScan", "ScanParmType",
                       "TermFileManager", "FailFileManager"};
#ifdef _WIN32
    const tables found = readtables(readfile("m7hxfmg.dll"));
    EXPECT_EQ(found.libraries, (names{"KERNEL32.DLL", "MSVCRT.DLL"}));
#else
    const tables found = readtables(readfile(KVERN_BINARY_DIR "/libm7hxfmg.so"));
#endif
    EXPECT_EQ(found.exported, ten);
}

TEST(abi, imports_come_from_the_system_only) {
    const tables found = readtables(libraryimage());
    ASSERT_FALSE(found.libraries.empty());
    names allowed = {"KERNEL32.DLL", "USER32.DLL", "ADVAPI32.DLL",
                     "MSVCRT.DLL",   "libc.so.6",  "ld-linux-x86-64.so.2"};
    const bool sanitized = found.imported.count("__asan_init") != 0;
    if (sanitized) // the sanitizers' own libraries, in sanitized builds alone
        allowed.insert({"libasan.so.8", "libubsan.so.1", "libgcc_s.so.1", "libm.so.6"});
    for (const std::string &library : found.libraries)
        EXPECT_EQ(allowed.count(library), 1U) << library;
    for (const std::string &name : found.imported) {
        const bool ofcplusplus = name.rfind("_Z", 0) == 0 || name.rfind("__cxa_", 0) == 0 ||
                                 name.rfind("__gxx_", 0) == 0;
        EXPECT_FALSE(ofcplusplus) << name;
    }
}

#ifdef _WIN32
TEST(abi, built_files_are_guarded) {
    const std::string image = readfile("kvern.exe");
    const auto nt = at<IMAGE_NT_HEADERS32>(image, at<uint32_t>(image, 0x3C));
    EXPECT_NE(nt.FileHeader.Characteristics & IMAGE_FILE_LARGE_ADDRESS_AWARE, 0);
    EXPECT_NE(image.find("*** stack smashing detected ***"), std::string::npos);
    for (const char *file : {"m7hqkvrn.dll", "m7hxfmg.dll"}) // the guard before it is chosen
        EXPECT_NE(readfile(file).find("\xFF\x00\x0A\x0D"s), std::string::npos) << file;
}
#else
TEST(abi, built_files_are_guarded) {
    for (const char *file : {"kvern", "libkvern.so", "libm7hxfmg.so"}) {
        const tables found = readtables(readfile(KVERN_BINARY_DIR "/"s + file));
        EXPECT_TRUE(found.bindsnow) << file;
        EXPECT_EQ(found.imported.count("__stack_chk_fail"), 1U) << file;
        // An empty entry is the current directory, where anything may lie.
        for (const std::string &path : found.paths)
            for (size_t from = 0, to; from <= path.size(); from = to + 1) {
                to = std::min(path.find(':', from), path.size());
                const std::string entry = path.substr(from, to - from);
                EXPECT_EQ(entry.rfind("$ORIGIN", 0), 0U) << file << ": " << path;
            }
    }
}
#endif

} // namespace kvern::test
