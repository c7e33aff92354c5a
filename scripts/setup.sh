#!/bin/sh
# setup.sh build|test|faults|bench|lint|packages: installs what is missing for that purpose on Debian
# 12.  Changes nothing when all is there.  Without root or sudo it names the
# packages and stops with an error.
set -u
purpose=${1:-test}

have() { dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

wanted='g++ cmake make libcli11-dev nlohmann-json3-dev'
case $purpose in
  build) ;;
  test) wanted="$wanted googletest g++-mingw-w64-i686 wine wine32:i386 gnucobol3 python3 parallel" ;;
  faults) wanted="$wanted python3" ;;
  bench) wanted="$wanted libbenchmark-dev" ;;
  lint) wanted="$wanted googletest libbenchmark-dev clang-format clang-tidy" ;;
  packages) wanted="$wanted googletest g++-mingw-w64-i686 wine wine32:i386 dpkg-dev file pkg-config unzip gnucobol3 lintian" ;;
  *) echo "usage: setup.sh build|test|faults|bench|lint|packages" >&2; exit 2 ;;
esac

missing=
for package in $wanted; do
  have "$package" || missing="$missing $package"
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" = 0 ]; then
  as_root=
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  as_root='sudo'
else
  echo "setup: these packages are missing and need root to install:$missing" >&2
  echo "setup: for wine32:i386 first run: dpkg --add-architecture i386 && apt-get update" >&2
  exit 1
fi

echo "setup: installing$missing"
case $missing in
  *:i386*) $as_root dpkg --add-architecture i386 || exit 1 ;;
esac
export DEBIAN_FRONTEND=noninteractive
# A stale index of one suite makes the update end non-zero; the install decides.
$as_root apt-get update -qq || echo "setup: apt-get update reported an error; going on" >&2

install() { $as_root apt-get install -y -qq --no-install-recommends "$@" >/dev/null; }

# Where the security suite's index for one architecture lags behind, packages of
# both architectures only fit together within the release's own suite.
# shellcheck disable=SC2086
install $missing || install -t bookworm $missing || {
  echo "setup: could not install:$missing" >&2
  exit 1
}
