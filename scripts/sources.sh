#!/bin/sh
# Lists the C and C++ sources of the tree.
cd "$(dirname "$0")/.." || exit 1
find include src tools tests bench examples -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.c' | sort
