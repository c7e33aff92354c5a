#!/bin/sh
# test.sh PRESET...: runs the built tests of these presets and says how many ran on each.
# The last line is "N passed, M failed".
cd "$(dirname "$0")/.." || exit 1
total_passed=0
total_failed=0
status=0

count() { # count LOG PATTERN: sums the numbers of gtest's closing lines
  sed -n "s/^\([0-9]*: \)\{0,1\}$2.*/\2/p" "$1" | awk '{ n += $1 } END { print n + 0 }'
}

run_target() { # run_target PRESET TITLE
  log=build/$1/test.log
  echo "== $2"
  ctest --preset "$1" -V >"$log" 2>&1
  result=$?
  passed=$(count "$log" '\[  PASSED  \] \([0-9]*\) test')
  failed=$(count "$log" ' *\([0-9]*\) FAILED TEST')
  if [ $result -ne 0 ]; then
    grep -E -A 12 '\[  FAILED  \]|Failure|error:|ERROR|runtime error|\*\*\*' "$log" | head -n 200
    echo "(whole log: $log)"
    tail -n 30 "$log"
    [ "$failed" -gt 0 ] || failed=1 # a program that died counts
    status=1
  fi
  echo "$2: $passed passed, $failed failed"
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
}

for preset in "$@"; do
  case $preset in
    asan) title='native, address and undefined-behaviour sanitizers' ;;
    tsan) title='native, thread sanitizer, sessions on several threads' ;;
    win32) title='32-bit Windows under Wine' ;;
    *) title='native, without sanitizers' ;;
  esac
  run_target "$preset" "$title"
done

[ "$total_passed" -gt 0 ] || status=1
echo "$total_passed passed, $total_failed failed"
exit $status
