#!/bin/sh
# Installs and uses the packages in build/packages, on their own files alone:
#   - the archive for Windows, under Wine
#   - the Debian packages, by lintian, which has to be quiet
#   - the Debian packages, unpacked in a folder and then moved
#   - the Debian packages, installed in a clean Debian 12
# The last needs root and a clean system: the one that KVERN_CHROOT names (it is
# copied, never changed), or a new one by debootstrap from the network, kept in
# build/chroot.  Without root it is left out, and the last line says so; set
# KVERN_NEED_CHROOT=1 to make that an error.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
packages=$root/build/packages
version=$(sed -n 's/^project(kvern VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM

fail() { echo "check-packages: $*" >&2; exit 1; }
told() { printf '%-48s %s\n' "$1" "${2:-ok}"; }

# The example of the README, a CMake project around it, three records and their order.
make_example() { # make_example DIR
  mkdir -p "$1"
  awk '/^```c$/ { on = 1; next } /^```/ { on = 0 } on' README.md >"$1/example.c"
  cat >"$1/CMakeLists.txt" <<'EOF'
cmake_minimum_required(VERSION 3.16)
project(example C)
find_package(kvern 1.0 REQUIRED)
add_executable(example example.c)
target_link_libraries(example PRIVATE kvern::kvern)
EOF
  cat >"$1/steps.sh" <<'EOF'
set -eu
examples=$1
shift
rm -rf build bypkg sorted.dat programs
cc example.c $(pkg-config --cflags --libs kvern) -o bypkg
cmake -S . -B build "$@" >/dev/null
cmake --build build >/dev/null
for program in ./bypkg build/example; do
  $program in.dat sorted.dat
  cmp sorted.dat want.dat
done
cmake -S "$examples" -B programs "$@" >/dev/null
cmake --build programs >/dev/null
programs/filesort in.dat sorted.dat 80 0,10,char 10,1,char >/dev/null
cmp sorted.dat want.dat
[ "$(printf 'oslo\nbergen\n' | programs/sortlines "" 1 | tr '\n' ,)" = bergen,oslo, ]
EOF
  awk '/^```cobol$/ { on = 1; next } /^```/ { on = 0 } on' docs/cobol.md >"$1/towns.cob"
  cat >"$1/cobol.sh" <<'EOF'
set -eu
# So many that the engine is loaded.
seq 20000 | awk '{ printf "%-79s\n", $1 * 7919 % 20000 }' >in.dat
LC_ALL=C sort in.dat >want.dat
cobc -x towns.cob -o plain
cobc -x towns.cob -o linked "$@" -lkvern-cobsort
for program in "kvern-cob ./plain" ./linked; do
  rm -f sorted.dat
  KVERN_SORT_EXPLAIN=1 $program 2>&1 | grep 'sorted by Kvern; 20000 records in'
  cmp sorted.dat want.dat
done
EOF
  printf '%-79s\n' oslo bergen tromso >"$1/in.dat"
  printf '%-79s\n' bergen oslo tromso >"$1/want.dat"
}

check_archive() {
  unzip -q "$packages/kvern-$version-win32.zip" -d "$work"
  tree=$work/kvern-$version-win32
  for file in bin/m7hqkvrn.dll bin/kvern.exe bin/m7hxfmg.dll lib/libm7hqkvrn.dll.a lib/m7hqkvrn.def \
    include/kvern.h include/kvern.hpp include/kvern.cpy doc/README.md doc/docs/interface.md doc/examples/putget.c; do
    [ -s "$tree/$file" ] || fail "the archive lacks $file"
  done
  for file in m7hqkvrn.dll kvern.exe m7hxfmg.dll; do
    i686-w64-mingw32-objdump -s -j .rsrc "$tree/bin/$file" | awk '{ print $NF }' | tr -d '.\n' |
      grep -q 'FileVersion' || fail "$file has no version resource"
  done
  make_example "$work/win"
  cd "$work/win"
  cp "$tree/bin/"* .
  said=$("$root/scripts/wine.sh" ./kvern.exe --version | tr -d '\r')
  [ "$said" = "kvern $version" ] || fail "kvern.exe --version says: $said"
  "$root/scripts/wine.sh" ./kvern.exe sort --fixed 80 -k 1,10,ch -o sorted.dat in.dat
  cmp sorted.dat want.dat || fail "kvern.exe sorts wrongly"
  told "archive for Windows: kvern.exe under Wine"
  i686-w64-mingw32-dlltool -d "$tree/lib/m7hqkvrn.def" -l own.a
  for library in "$tree/lib/libm7hqkvrn.dll.a" own.a; do
    rm -f sorted.dat
    i686-w64-mingw32-gcc -I"$tree/include" example.c "$library" -static-libgcc -o example.exe
    "$root/scripts/wine.sh" ./example.exe in.dat sorted.dat
    cmp sorted.dat want.dat || fail "a program linked with $library sorts wrongly"
  done
  i686-w64-mingw32-g++ -std=c++17 -static -I"$tree/include" "$tree/doc/examples/sortlines.cpp" \
    "$tree/lib/libm7hqkvrn.dll.a" -o sortlines.exe
  said=$(printf 'oslo\nbergen\n' | "$root/scripts/wine.sh" ./sortlines.exe "" 1 | tr -d '\r' |
    tr '\n' ,)
  [ "$said" = bergen,oslo, ] || fail "the C++ example says: $said"
  cd "$root"
  told "archive for Windows: programs by .dll.a and .def"
}

check_quiet() {
  lintian --allow-root --fail-on error,warning "$packages"/*_"$version"_*.deb ||
    fail "lintian has found something"
  told "Debian packages: lintian"
}

check_unpacked() {
  for package in "$packages"/*_"$version"_*.deb; do
    dpkg-deb -x "$package" "$work/unpacked"
  done
  mv "$work/unpacked" "$work/moved" # nothing may know where it was
  tree=$work/moved/usr
  libraries=$(dirname "$(find "$tree/lib" -name libkvern.so)")
  make_example "$work/local"
  (
    cd "$work/local"
    export PATH="$tree/bin:$PATH" LD_LIBRARY_PATH="$libraries" PKG_CONFIG_LIBDIR="$libraries/pkgconfig"
    sh -e ./steps.sh "$tree/share/doc/kvern/examples" -DCMAKE_PREFIX_PATH="$tree"
    "$tree/bin/kvern" check --fixed 80 -k 1,10,ch sorted.dat
    zgrep -q 'field-separator' "$tree/share/man/man1/kvern.1.gz"
    sh -e ./cobol.sh -L "$libraries" >cobol.log || { cat cobol.log; exit 1; }
  ) || fail "the unpacked Debian packages do not work"
  told "Debian packages: unpacked and moved"
}

clean_system() { # clean_system DIR: a clean Debian 12 there
  if [ -n "${KVERN_CHROOT:-}" ]; then
    cp -ax "$KVERN_CHROOT" "$1" # nothing that is mounted there
    return
  fi
  if [ ! -d build/chroot/etc ]; then
    rm -rf build/chroot
    debootstrap --variant=minbase bookworm build/chroot >"$work/debootstrap.log" 2>&1 ||
      { rm -rf build/chroot; tail -n 5 "$work/debootstrap.log" >&2; fail "debootstrap failed"; }
  fi
  cp -a build/chroot "$1"
}

check_installed() {
  clean=$work/clean
  clean_system "$clean"
  cp /etc/resolv.conf "$clean/etc/resolv.conf"
  make_example "$clean/example"
  cp "$packages"/*_"$version"_*.deb "$clean/example"
  cat >"$clean/example/inside.sh" <<'EOF'
set -eu
export DEBIAN_FRONTEND=noninteractive LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin
cd /example
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends ./kvern_*.deb ./libkvern1_*.deb
[ ! -e /usr/include/kvern.h ]
kvern sort --fixed 80 -k 1,10,ch -o sorted.dat in.dat
cmp sorted.dat want.dat
apt-get install -y -qq --no-install-recommends ./libkvern-dev_*.deb g++ libc6-dev make cmake pkg-config
sh -e ./steps.sh /usr/share/doc/kvern/examples
apt-get install -y -qq --no-install-recommends man-db
man -w kvern kvrnopen kvrntest # links that lead to a page
if apt-get install -y -qq --no-install-recommends gnucobol3 ./libkvern-cobsort_*.deb; then
  sh -e ./cobol.sh
else
  echo "without gnucobol3" >left-out
fi
dpkg --verify kvern libkvern1 libkvern-dev libkvern-cobsort
apt-get purge -y -qq kvern libkvern1 libkvern-dev libkvern-cobsort
[ -z "$(find /usr /etc /var/lib/dpkg/info -name '*kvern*')" ]
EOF
  env -i http_proxy="${http_proxy:-}" https_proxy="${https_proxy:-}" \
    "$(command -v chroot)" "$clean" /bin/sh -e /example/inside.sh >"$work/inside.log" 2>&1 ||
    { tail -n 20 "$work/inside.log" >&2; fail "the Debian packages do not work in a clean system"; }
  told "Debian packages: installed in a clean Debian 12" \
    "$(cat "$clean/example/left-out" 2>/dev/null || echo ok)"
}

cannot_install() { # says why not, if so
  if [ "$(id -u)" != 0 ]; then
    echo "needs root"
  elif [ -z "${KVERN_CHROOT:-}" ] && ! command -v debootstrap >/dev/null; then
    echo "needs debootstrap or KVERN_CHROOT"
  fi
}

check_archive
check_quiet
check_unpacked
reason=$(cannot_install)
if [ -z "$reason" ]; then
  check_installed
elif [ "${KVERN_NEED_CHROOT:-0}" = 1 ]; then
  fail "the check in a clean Debian 12 $reason"
else
  told "Debian packages: installed in a clean Debian 12" "left out, $reason"
fi
echo "check-packages: done"
