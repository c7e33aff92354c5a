// Scripts by which a shell completes the command line of kvern.
#pragma once

#include <string>

namespace command {

// The script for bash, zsh or fish; refuses another shell.
std::string completionscript(const std::string &shell);

std::string completionhelp();

} // namespace command
