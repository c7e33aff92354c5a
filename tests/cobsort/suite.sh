#!/bin/sh
# The run-time's own test suite, with the library and without: tells which of its groups
# end otherwise.  Nothing is built: the unpacked sources give the tests, PATH the compiler.
#
#   suite.sh SOURCES LIBRARY [ARGUMENT...]     of the test suite, such as -k SORT, or 741
set -eu
sources=$(readlink -f "$1")
library=$(readlink -f "$2")
shift 2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
ln -s "$sources"/* "$place"
rm "$place/tests"
cp -r "$sources/tests" "$place"
cd "$place/tests"
cat > atconfig << END
at_testdir=tests at_srcdir=. abs_srcdir='$PWD' abs_builddir='$PWD' AUTOTEST_PATH=
at_top_srcdir=.. abs_top_srcdir='$place' abs_top_builddir='$place'
at_top_build_prefix=../ at_top_builddir=../ SHELL=/bin/bash
END
sed 's/@AWK@/awk/; s/@GREP@/grep/; s/@SED@/sed/; s/@PATH_SEPARATOR@/:/; s/@[a-zA-Z0-9_]*@//' \
  atlocal.in > atlocal

export GNUCOBOL_TEST_LOCAL=1
for way in without with; do
  [ $way = without ] || export LD_PRELOAD="$library"
  ./testsuite -j4 "$@" > said 2>&1 || true
  grep -E '^ *[0-9]+: ' said | sort -n > $way || { cat said; exit 1; }
done
echo "$(wc -l < without) groups, $(grep -c ' ok$' without) of them right without the library"
diff without with
