#!/bin/sh
# demo.sh KVERN: two real sorts, checked with the system's own tools.
set -eu
kvern=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM
rows=20000

# Fixed records of 32 bytes: account 8, name 12, zoned amount 11 (zone 7 at the
# last digit marks a negative one), line feed as filler.
awk -v rows=$rows 'BEGIN {
  srand(11);
  for (i = 0; i < rows; i++) {
    amount = int(rand() * 2000000) - 1000000;
    digits = sprintf("%011d", amount < 0 ? -amount : amount);
    if (amount < 0)
      digits = substr(digits, 1, 10) sprintf("%c", 112 + substr(digits, 11, 1));
    printf "%08d%-12s%s\n", int(rand() * 100000000), "name" int(rand() * 5000), digits;
  }
}' >"$work/accounts.dat"

echo "kvern sort --fixed 32 --zoned zone7 -k 21,11,zd,d -k 1,8,ch -o sorted.dat accounts.dat"
"$kvern" sort --fixed 32 --zoned zone7 -k 21,11,zd,d -k 1,8,ch -o "$work/sorted.dat" \
  "$work/accounts.dat"
echo "the three highest and the three lowest amounts (account, name, zoned amount):"
head -n 3 "$work/sorted.dat"
echo "..."
tail -n 3 "$work/sorted.dat"

awk 'BEGIN { for (i = 0; i < 256; i++) code[sprintf("%c", i)] = i }
{
  last = substr($0, 31, 1); amount = substr($0, 21, 10) * 10;
  amount = last > "9" ? -(amount + code[last] - 112) : amount + last;
  if (NR > 1 && (amount > before || (amount == before && substr($0, 1, 8) < account))) exit 1;
  before = amount; account = substr($0, 1, 8);
}' "$work/sorted.dat" || { echo "demo: out of order" >&2; exit 1; }
LC_ALL=C sort "$work/accounts.dat" >"$work/a"
LC_ALL=C sort "$work/sorted.dat" >"$work/b"
cmp "$work/a" "$work/b" || { echo "demo: records lost" >&2; exit 1; }

echo
echo "kvern sort -t ';' -k 3nr -k 1f -o by-size.txt list.txt"
printf '%s\n' 'oslo;no;709037' 'Bergen;no;291940' 'aarhus;dk;290598' 'Malmo;se;365644' \
  >"$work/list.txt"
"$kvern" sort -t ';' -k 3nr -k 1f -o "$work/by-size.txt" "$work/list.txt"
cat "$work/by-size.txt"

echo
echo "demo: $rows fixed records and a list sorted; order and contents checked"
