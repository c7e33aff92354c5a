// What the help says behind the options.
#pragma once

namespace command {

constexpr const char *keyhelp =
    R"(Keys (-k may be repeated, the first weighs most; positions count from 1):
  --fixed, --variable, --columns   POS,LEN[,TYPE][,a|d]
      ch  characters in the order of the data's own code (default)
      ac, ec  characters in ASCII, EBCDIC order
      zd, zl  zoned decimal, sign in the last, first byte (zl also clo)
      sl, st  digits with a separate sign in front, behind (also csl, cst)
      pd  packed decimal            bi, fi  big-endian, unsigned, signed
      fp  IEEE float                bil, fil  little-endian, unsigned, signed
      bit=MASK  one byte under a mask   tbl=FILE  order of a 256-byte table
      sj  Shift-JIS by JIS code     (--columns: ch, ac, ec and sj only)
  text by fields       F[:WIDTH][bdfinr]
      field F, cut at WIDTH bytes (by default the widest value); letters as the
      options -b -d -f -i -n -r, which hold for keys without letters
Sums: POS,LEN,TYPE with types zd pd bi fi; in --columns POS,LEN; by fields F[:WIDTH].

)";

constexpr const char *shapehelp =
    R"(Conditions: FIELD OP VALUE, joined by and, or, not and brackets; in (A, B),
between A and B.  FIELD is [POS,LEN] or [POS,LEN,TYPE] with types ch ac ec zd zl
sl st pd bi fi bit=MASK, in text by fields $F or $F:WIDTH; OP is == != < <= > >=;
VALUE is another field, "text", x"C1C2" or a number (in text: compares as numbers).
A name of --layout stands for its field, here and in keys, sums and pieces.
  --where '[1,2] == "NO" and ([21,6,pd] >= 1000 or [30,1] in ("A", "B"))'
Rebuilt records: POS,LEN or $F[:WIDTH], "text", x"0D0A", " "*8, with blanks between.
Conditions look at the record that comes in, keys and sums at the rebuilt one.

Exit: 0 done, 1 merge input not in order, 2 command line, 3 data, 4 summing stopped,
5 file, 6 no room, 70 internal, 130 stopped
)";

} // namespace command
