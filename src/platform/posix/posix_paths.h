// Taking a path apart, for the operations that ask about its directory.
#pragma once

#include <climits>

namespace kvern::platform {

// Copies the directory part ("." or "/" where there is none of its own) and
// gives the last name; null when it is too long for a path.
[[nodiscard]] const char *splitpath(const char *path, char (&directory)[PATH_MAX]);

} // namespace kvern::platform
