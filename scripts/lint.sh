#!/bin/sh
# Formatting and clang-tidy over all sources; quiet when clean.
cd "$(dirname "$0")/.." || exit 1
scripts/sources.sh | xargs clang-format --dry-run -Werror || exit 1
# A build of everything is described, and not made; clang lacks some of the options.
cmake --preset native -B build/lint -DKVERN_TESTS=ON -DKVERN_BENCH=ON >/dev/null || exit 1
sed -i -E 's# -(fno-gnu-unique|Wno-restrict|Wno-stringop-over(flow|read))##g' build/lint/compile_commands.json
find src tools tests bench examples -name '*.cpp' ! -path '*/win32/*' ! -name '*_win32*' | sort |
  xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet 2>/dev/null
