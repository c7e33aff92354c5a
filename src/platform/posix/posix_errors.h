// From errno to the engine's code space of system errors.
#pragma once

#include "platform/platform.h"

namespace kvern::platform {

constexpr syserror err_filenotfound = 2;
constexpr syserror err_pathnotfound = 3;
constexpr syserror err_accessdenied = 5;
constexpr syserror err_negativeseek = 131;
constexpr syserror err_nametoolong = 206;

// The code of an errno number; 31 (general failure) for one without a row.
[[nodiscard]] syserror systemcode(int error);

} // namespace kvern::platform
