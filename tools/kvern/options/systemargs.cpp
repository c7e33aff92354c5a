#include "kvern/options/systemargs.h"

#include "kvern/system/failure.h"

#if defined(_WIN32)
#include <algorithm>
#include <cstdio>
#include <windows.h>

// The C library's own, which the linked start has called for the narrow words.
extern "C" int __cdecl __wgetmainargs(int *, wchar_t ***, wchar_t ***, int, int *);
#endif

namespace command {

#if defined(_WIN32)

namespace {

// What the code page cannot say, as \u and four digits.
std::string escaped(const std::wstring &text) {
    std::string out;
    for (const wchar_t c : text)
        if (c >= ' ' && c < 0x7F) {
            out += static_cast<char>(c);
        } else {
            char digits[8];
            std::snprintf(digits, sizeof digits, "\\u%04X", static_cast<unsigned>(c));
            out += digits;
        }
    return out;
}

// No character is exchanged for one that only looks like it: that is another file's name.
std::string narrowed(const std::wstring &text) {
    const bool unicode = GetACP() == CP_UTF8; // says all, and takes no flags
    const DWORD flags = unicode ? 0 : WC_NO_BEST_FIT_CHARS;
    BOOL lost = FALSE;
    const auto convert = [&](char *to, int room) {
        return WideCharToMultiByte(CP_ACP, flags, text.data(), static_cast<int>(text.size()), to,
                                   room, nullptr, unicode ? nullptr : &lost);
    };
    if (text.empty())
        return "";
    const int length = convert(nullptr, 0);
    if (length <= 0 || lost)
        refuse("\"" + escaped(text) + "\" has characters outside the code page " +
                   std::to_string(GetACP()),
               "rename the file, or take a copy under another name");
    std::string out(static_cast<size_t>(length), '\0');
    convert(out.data(), length);
    return out;
}

std::wstring widened(const std::string &text) {
    const auto convert = [&](wchar_t *to, int room) {
        return MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), to, room);
    };
    std::wstring out(static_cast<size_t>(std::max(convert(nullptr, 0), 0)), L'\0');
    convert(out.data(), static_cast<int>(out.size()));
    return out;
}

std::vector<std::string> filesof(const std::string &pattern) {
    std::vector<std::string> found;
    const size_t folder = pattern.find_last_of("\\/:") + 1; // npos + 1 is 0
    if (pattern.find_first_of("*?", folder) == std::string::npos)
        return found;
    WIN32_FIND_DATAW each;
    const HANDLE all = FindFirstFileW(widened(pattern).c_str(), &each);
    if (all == INVALID_HANDLE_VALUE)
        return found;
    std::vector<std::wstring> names;
    do {
        if ((each.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            names.emplace_back(each.cFileName);
    } while (FindNextFileW(all, &each));
    const DWORD error = GetLastError();
    FindClose(all);
    if (error != ERROR_NO_MORE_FILES)
        throw failure{ending::file,
                      pattern + ": the directory cannot be read to its end (system error " +
                          std::to_string(error) + ")",
                      ""};
    std::sort(names.begin(), names.end());
    for (const std::wstring &name : names)
        found.push_back(pattern.substr(0, folder) + narrowed(name));
    return found;
}

} // namespace

systemwords::systemwords(int argc, const char *const *argv) {
    int count = 0, newmode = 0;
    wchar_t **wide = nullptr, **environment = nullptr;
    if (__wgetmainargs(&count, &wide, &environment, 0, &newmode) == 0 && wide)
        for (int i = 0; i < count; ++i)
            texts.push_back(i == 0 ? "kvern" : narrowed(wide[i]));
    else
        texts.assign(argv, argv + argc);
    for (const std::string &text : texts)
        pointers.push_back(text.c_str());
}

void expandpatterns(std::vector<std::string> &paths) {
    std::vector<std::string> out;
    for (const std::string &path : paths) {
        const std::vector<std::string> files = filesof(path);
        if (files.empty())
            out.push_back(path);
        out.insert(out.end(), files.begin(), files.end());
    }
    paths = std::move(out);
}

#else

systemwords::systemwords(int argc, const char *const *argv) : pointers(argv, argv + argc) {}

void expandpatterns(std::vector<std::string> &) {}

#endif

} // namespace command
