#!/bin/sh
# Formatting and clang-tidy over all sources; quiet when clean.
cd "$(dirname "$0")/.." || exit 1
scripts/sources.sh | xargs clang-format --dry-run -Werror || exit 1
cmake --preset asan >/dev/null || exit 1
find src tools tests bench examples -name '*.cpp' ! -path '*/win32/*' ! -name '*_win32*' | sort |
  xargs -P "$(nproc)" -n 4 clang-tidy -p build/asan --quiet 2>/dev/null
