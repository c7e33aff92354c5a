      *> The blocks and codes of kvern.h for COBOL on a 64-bit system,
      *> where a pointer takes 8 bytes and lies on a multiple of 8:
      *> that is what the fillers are for.  Move low-values to a block
      *> before it is filled; what is not set keeps its default.
       78 kvrn-sort              value "s".
       78 kvrn-merge             value "m".
       78 kvrn-copy              value "c".
       78 kvrn-fixed             value "f".
       78 kvrn-variable          value "v".
       78 kvrn-keeporder         value 1.
       78 kvrn-cd-zone7          value 238.
       78 kvrn-char              value 161.
       78 kvrn-zoned             value 162.
       78 kvrn-packed            value 197.
       78 kvrn-ascending         value 16.
       78 kvrn-descending        value 32.
       78 kvrn-record            value 16.
       78 kvrn-end               value 17.
       78 kvrn-wants-record      value " ".
       78 kvrn-done              value 0.
       78 kvrn-ended             value 1.

      *> The interface that these blocks are those of, 0x11300000.
       01 kvrn-version usage binary-long unsigned value 288358400.

       01 kvrnlink.
           05 link-chkp          usage program-pointer.
           05 link-chkg          usage program-pointer.
           05 link-chkm          usage program-pointer.
           05 link-init          usage program-pointer.
           05 link-term          usage program-pointer.
           05 filler             pic x(16).
           05 link-module        usage pointer.

       01 kvrnprim.
           05 filler             pic x(4).
           05 prim-function      pic x.
           05 prim-recform       pic x.
           05 prim-options       usage binary-char unsigned.
           05 prim-fileoprat     usage binary-char unsigned.
           05 prim-recoprat      usage binary-char unsigned.
           05 filler             pic x.
           05 prim-cdmode        usage binary-char unsigned.
           05 filler             pic x.
           05 prim-reclen        usage binary-long unsigned.
           05 prim-mergecnt      usage binary-long unsigned.
           05 prim-memsize       usage binary-long unsigned.
           05 prim-memaddr       usage pointer.
           05 filler             pic x(8).
           05 prim-separator     usage pointer.
           05 prim-tmpopt        usage binary-char unsigned.
           05 prim-fieldmode     usage binary-char unsigned.
           05 prim-keyoption     usage binary-char unsigned.
           05 prim-keyoption2    usage binary-char unsigned.
           05 prim-linedlmt      usage binary-char unsigned.
           05 filler             pic x.
           05 prim-altmode       usage binary-char unsigned.
           05 filler             pic x.

       01 kvrnsess.
           05 sess-ctx           usage pointer.
           05 sess-detail        usage binary-long unsigned.
           05 sess-putcount      usage binary-long unsigned.
           05 sess-getcount      usage binary-long unsigned.
           05 filler             pic x(4).
           05 sess-recaddr       usage pointer.
           05 sess-reclen        usage binary-long unsigned.
           05 sess-code          usage binary-char unsigned.
           05 sess-mergestat     pic x.
           05 sess-inputno       usage binary-short unsigned.
           05 sess-outaddr       usage pointer.
           05 sess-outlen        usage binary-long unsigned.
           05 filler             pic x(4).
           05 sess-ctxhandle     usage pointer.
           05 sess-syserr        usage binary-long unsigned.
           05 filler             pic x(4).

       01 kvrnkey.
           05 key-count          usage binary-long unsigned.
           05 filler             pic x(4).
           05 kvrnkeye           occurs 16.
               10 keye-position   usage binary-long unsigned.
               10 keye-length     usage binary-long unsigned.
               10 keye-type       usage binary-char unsigned.
               10 keye-order      usage binary-char unsigned.
               10 keye-textoption usage binary-char unsigned.
               10 keye-kanjiconv  usage binary-char unsigned.
               10 filler          pic x(4).
               10 keye-table      usage pointer.
