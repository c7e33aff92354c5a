#!/bin/sh
# Runs a 32-bit Windows program under Wine in a prefix of this tree's own, which
# is made at the first call.
root=$(cd "$(dirname "$0")/.." && pwd)
WINEARCH=win32
WINEDEBUG=-all
WINEPREFIX=${KVERN_WINEPREFIX:-$root/build/wineprefix}
export WINEARCH WINEDEBUG WINEPREFIX
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  wineboot -i >/dev/null 2>&1 && wineserver -w
fi
exec wine "$@"
