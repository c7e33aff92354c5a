      *> The blocks and codes of kvern.h for COBOL: one text for 32-bit
      *> and 64-bit systems and for every dialect of GnuCOBOL.  What
      *> they mean stands in blocks.md.
      *>
      *> Numbers are usage index, the one native binary of 4 bytes
      *> that all dialects know; they work like any signed number.
      *> Bytes are pic x, and so are their codes:
      *>     move kvrn-packed to keye-type(1).
      *> Bits are added by kvrn-number, by which sess-inputno is read:
      *>     move 9 to kvrn-number, move kvrn-byte to prim-options.
      *>     move 0 to kvrn-number, move sess-inputno to kvrn-half.
      *> A count of kvrnstat is read from its first word; the second,
      *> -high, and a minus in the first begin at 2,147,483,648.
      *>
      *> An address is as wide as the system's, and lies on a multiple
      *> of that.  So what stands alone before one has a slot of the
      *> same width, and no filler depends on the system.
      *>
      *> Move low-values to a block before it is filled: what is not
      *> set keeps its default.  Tables have room for 16 entries, or
      *>     copy "kvern.cpy" replacing
      *>         ==kvrnkeye occurs 16== by ==kvrnkeye occurs 40==.
      *> A second set of blocks, as in sess-detail of othersess:
      *>     copy "kvern.cpy" replacing leading ==kvrn== by ==other==.

       01 kvrn-codes.
      *> Interface versions: the first argument of kvrnopen and
      *> kvrnclse.
           05 kvrn-version-l0         usage index value 17825792.
           05 kvrn-version-l0-lebin   usage index value 17825793.
           05 kvrn-version-l2-olddlmt usage index value 286261248.
           05 kvrn-version-l2         usage index value 286261249.
           05 kvrn-version-l3         usage index value 287309824.
           05 kvrn-version-l4         usage index value 288358400.
      *> KVRNPRIM.function.
           05 kvrn-sort               pic x value "s".
           05 kvrn-merge              pic x value "m".
           05 kvrn-copy               pic x value "c".
      *> KVRNPRIM.recform.
           05 kvrn-fixed              pic x value "f".
           05 kvrn-variable           pic x value "v".
      *> KVRNPRIM.options, bits.
           05 kvrn-keeporder          pic x value x"01".
           05 kvrn-suppress           pic x value x"02".
           05 kvrn-sum                pic x value x"04".
           05 kvrn-select             pic x value x"08".
           05 kvrn-reconstruct        pic x value x"10".
           05 kvrn-descendall         pic x value x"40".
           05 kvrn-msgprint           pic x value x"80".
      *> KVRNPRIM.fileoprat, bits.
           05 kvrn-samefile           pic x value x"13".
           05 kvrn-stdout             pic x value x"20".
           05 kvrn-stdin              pic x value x"40".
      *> KVRNPRIM.recoprat.
           05 kvrn-put-record         pic x value x"01".
           05 kvrn-get-record         pic x value x"02".
           05 kvrn-put-block          pic x value x"04".
           05 kvrn-get-block          pic x value x"08".
      *> KVRNPRIM.cdmode: code of the data.
           05 kvrn-cd-ebcdic          pic x value x"EC".
           05 kvrn-cd-zone5           pic x value x"ED".
           05 kvrn-cd-zone7           pic x value x"EE".
           05 kvrn-cd-overpunch       pic x value x"EF".
      *> KVRNPRIM.fieldmode: 0 is no text session.
           05 kvrn-fields             pic x value x"F3".
           05 kvrn-columns            pic x value x"F4".
      *> KVRNPRIM.linedlmt.
           05 kvrn-dlmt-crlf          pic x value x"00".
           05 kvrn-dlmt-lf            pic x value x"01".
           05 kvrn-dlmt-cr            pic x value x"02".
           05 kvrn-dlmt-crlf3         pic x value x"03".
      *> KVRNPRIM.tmpopt.
           05 kvrn-tmp-keep           pic x value x"01".
      *> KVRNKEYE.textoption and (bits 1 to 8) KVRNPRIM.keyoption.
           05 kvrn-txt-skipblanks     pic x value x"01".
           05 kvrn-txt-alnum          pic x value x"02".
           05 kvrn-txt-printable      pic x value x"04".
           05 kvrn-txt-fold           pic x value x"08".
           05 kvrn-txt-keepsource     pic x value x"20".
           05 kvrn-txt-numeric        pic x value x"40".
           05 kvrn-keyopt-numeric     pic x value x"10".
      *> KVRNKEYE.kanjiconv and KVRNPRIM.keyoption2.
           05 kvrn-kanji-jis          pic x value x"02".
      *> KVRNKEYE.order.
           05 kvrn-ascending          pic x value x"10".
           05 kvrn-descending         pic x value x"20".
      *> Field types of keys, summation and selection.
           05 kvrn-char               pic x value x"A1".
           05 kvrn-zoned              pic x value x"A2".
           05 kvrn-signlead           pic x value x"A3".
           05 kvrn-signtrail          pic x value x"A4".
           05 kvrn-zonedlead          pic x value x"A5".
           05 kvrn-zonedu             pic x value x"A6".
           05 kvrn-ubin1              pic x value x"A7".
           05 kvrn-ulebin             pic x value x"AD".
           05 kvrn-ubin2              pic x value x"AF".
           05 kvrn-charx              pic x value x"B1".
           05 kvrn-maskbyte           pic x value x"C1".
           05 kvrn-sbebin             pic x value x"C2".
           05 kvrn-float4             pic x value x"C3".
           05 kvrn-float8             pic x value x"C4".
           05 kvrn-packed             pic x value x"C5".
           05 kvrn-ubebin             pic x value x"C6".
           05 kvrn-slebin             pic x value x"C7".
           05 kvrn-tabled             pic x value x"CA".
           05 kvrn-collate            pic x value x"CB".
           05 kvrn-wide2              pic x value x"DE".
           05 kvrn-wide4              pic x value x"DF".
      *> KVRNRCNE.type and KVRNSELE.rtype.
           05 kvrn-fld-copy           pic x value x"F0".
           05 kvrn-fld-lit            pic x value x"F1".
      *> KVRNSELE.op.
           05 kvrn-op-eq              pic x value x"D1".
           05 kvrn-op-ne              pic x value x"D2".
           05 kvrn-op-gt              pic x value x"D3".
           05 kvrn-op-ge              pic x value x"D4".
           05 kvrn-op-lt              pic x value x"D5".
           05 kvrn-op-le              pic x value x"D6".
      *> KVRNSELE.iftrue and iffalse.
           05 kvrn-go-keep            pic x value x"E6".
           05 kvrn-go-drop            pic x value x"E7".
           05 kvrn-go-jump            pic x value x"E8".
           05 kvrn-go-next            pic x value x"E9".
      *> File kinds of KVRNFTYP.kind and KVRNFILE.outtype.
           05 kvrn-file-default       pic x value x"00".
           05 kvrn-file-descriptor    pic x value x"01".
           05 kvrn-file-manager       pic x value x"02".
           05 kvrn-file-plain         pic x value x"10".
           05 kvrn-file-indexed       pic x value x"12".
           05 kvrn-file-relative      pic x value x"13".
      *> KVRNSESS.code and KVRNSESS.mergestat.
           05 kvrn-record             pic x value x"10".
           05 kvrn-end                pic x value x"11".
           05 kvrn-wants-record       pic x value " ".
           05 kvrn-wants-none         pic x value "!".
      *> Results of the public calls.
           05 kvrn-done               usage index value 0.
           05 kvrn-ended              usage index value 1.
           05 kvrn-failed             usage index value -1.
           05 kvrn-nosession          usage index value -2.
      *> Bounds of KVRNPRIM.memsize, in bytes.
           05 kvrn-mem-min            usage index value 65535.
           05 kvrn-mem-default        usage index value 1048576.
           05 kvrn-mem-max            usage index value 10485760.
      *> Detail codes in KVRNSESS.detail.
           05 kvrn-d-version          usage index value 1.
           05 kvrn-d-bind             usage index value 2.
           05 kvrn-d-unbind           usage index value 3.
           05 kvrn-d-storage          usage index value 50.
           05 kvrn-d-context          usage index value 52.
           05 kvrn-d-workarea         usage index value 53.
           05 kvrn-d-fileblock        usage index value 55.
           05 kvrn-d-prim             usage index value 56.
           05 kvrn-d-exclusive        usage index value 57.
           05 kvrn-d-keyfield         usage index value 59.
           05 kvrn-d-sumfield         usage index value 60.
           05 kvrn-d-samefield        usage index value 61.
           05 kvrn-d-unsupported      usage index value 62.
           05 kvrn-d-selfield         usage index value 63.
           05 kvrn-d-rcnfield         usage index value 64.
           05 kvrn-d-noselfield       usage index value 66.
           05 kvrn-d-norcnfield       usage index value 67.
           05 kvrn-d-putuse           usage index value 101.
           05 kvrn-d-getuse           usage index value 102.
           05 kvrn-d-mergeuse         usage index value 103.
           05 kvrn-d-nothingopen      usage index value 104.
           05 kvrn-d-norecord         usage index value 110.
           05 kvrn-d-reclen           usage index value 111.
           05 kvrn-d-order            usage index value 114.
           05 kvrn-d-sumoverflow      usage index value 115.
           05 kvrn-d-summissing       usage index value 116.
           05 kvrn-d-nodelimiter      usage index value 117.
           05 kvrn-d-nokeyfield       usage index value 118.
           05 kvrn-d-read             usage index value 200.
           05 kvrn-d-write            usage index value 201.
           05 kvrn-d-attribute        usage index value 202.
           05 kvrn-d-format           usage index value 204.
           05 kvrn-d-samefile         usage index value 205.
           05 kvrn-d-fileform         usage index value 206.
           05 kvrn-d-filelength       usage index value 207.
           05 kvrn-d-open             usage index value 208.
           05 kvrn-d-toomanyfiles     usage index value 209.
           05 kvrn-d-close            usage index value 210.
           05 kvrn-d-tempspace        usage index value 212.
           05 kvrn-d-tempcreate       usage index value 214.
           05 kvrn-d-nofile           usage index value 215.
           05 kvrn-d-noreadperm       usage index value 216.
           05 kvrn-d-nowriteperm      usage index value 217.
           05 kvrn-d-noreclen         usage index value 222.
           05 kvrn-d-notyours         usage index value 223.
           05 kvrn-d-tempwrite        usage index value 224.
           05 kvrn-d-tempread         usage index value 225.
           05 kvrn-d-workdirs         usage index value 227.
           05 kvrn-d-filesystem       usage index value 231.
           05 kvrn-d-pathprefix       usage index value 234.
           05 kvrn-d-isdirectory      usage index value 235.
           05 kvrn-d-devicefull       usage index value 236.
           05 kvrn-d-filesize         usage index value 237.
           05 kvrn-d-system           usage index value 238.
           05 kvrn-d-setup            usage index value 240.
           05 kvrn-d-sumoperand       usage index value 241.
           05 kvrn-d-filemanager      usage index value 243.
           05 kvrn-d-logic            usage index value 250.
      *> KVRNSTAT.phase: where the session stands.
           05 kvrn-phase-opening      usage index value 0.
           05 kvrn-phase-input        usage index value 1.
           05 kvrn-phase-order        usage index value 2.
           05 kvrn-phase-output       usage index value 3.
           05 kvrn-phase-pass         usage index value 4.
           05 kvrn-phase-done         usage index value 5.

       01 kvrn-number usage index value 0.
       01 filler redefines kvrn-number.
           05 kvrn-half.
               10 kvrn-byte pic x.
               10 filler    pic x.
           05 filler        pic xx.

       01 kvrnlink.
           05 link-chkp            usage pointer.
           05 link-chkg            usage pointer.
           05 link-chkm            usage pointer.
           05 link-init            usage pointer.
           05 link-term            usage pointer.
           05 filler               usage pointer.
           05 filler               usage pointer.
           05 link-module          usage pointer.

       01 kvrnprim.
           05 filler               usage index.
           05 prim-function        pic x.
           05 prim-recform         pic x.
           05 prim-options         pic x.
           05 prim-fileoprat       pic x.
           05 prim-recoprat        pic x.
           05 filler               pic x.
           05 prim-cdmode          pic x.
           05 filler               pic x.
           05 prim-reclen          usage index.
           05 prim-mergecnt        usage index.
           05 prim-memsize         usage index.
           05 prim-memaddr         usage pointer.
           05 filler               usage pointer.
           05 prim-separator       usage pointer.
           05 prim-tmpopt          pic x.
           05 prim-fieldmode       pic x.
           05 prim-keyoption       pic x.
           05 prim-keyoption2      pic x.
           05 prim-linedlmt        pic x.
           05 filler               pic x.
           05 prim-altmode         pic x.
           05 filler               pic x.

       01 kvrnsess.
           05 sess-ctx             usage pointer.
           05 sess-detail          usage index.
           05 sess-putcount        usage index.
           05 sess-getcount-slot   usage pointer.
           05 sess-getcount redefines sess-getcount-slot usage index.
           05 sess-recaddr         usage pointer.
           05 sess-reclen          usage index.
           05 sess-code            pic x.
           05 sess-mergestat       pic x.
           05 sess-inputno         pic xx.
           05 sess-outaddr         usage pointer.
           05 sess-outlen-slot     usage pointer.
           05 sess-outlen redefines sess-outlen-slot usage index.
           05 sess-ctxhandle       usage pointer.
           05 sess-syserr-slot     usage pointer.
           05 sess-syserr redefines sess-syserr-slot usage index.

       01 kvrnkey.
           05 key-count-slot       usage pointer.
           05 key-count redefines key-count-slot usage index.
           05 kvrnkeye occurs 16.
               10 keye-position        usage index.
               10 keye-length          usage index.
               10 keye-type-slot       usage pointer.
               10 filler redefines keye-type-slot.
                   15 keye-type            pic x.
                   15 keye-order           pic x.
                   15 keye-textoption      pic x.
                   15 keye-kanjiconv       pic x.
               10 keye-table           usage pointer.

       01 kvrnflst.
           05 flst-count-slot      usage pointer.
           05 flst-count redefines flst-count-slot usage index.
           05 flst-path occurs 16 usage pointer.

       01 kvrnftyp.
           05 ftyp-count           usage index.
           05 ftyp-kind occurs 16 pic x.

       01 kvrnokey.
           05 okey-options         usage index.
           05 okey-count           usage index.
           05 kvrnokeye occurs 16.
               10 okeye-position       usage index.
               10 okeye-length         usage index.
               10 okeye-type           pic x.
               10 okeye-order          pic x.
               10 okeye-flags          pic x.
               10 filler               pic x.

       01 kvrnfile.
           05 file-infiles         usage pointer.
           05 file-outfile         usage pointer.
           05 file-workfiles       usage pointer.
           05 filler               usage pointer.
           05 file-intypes         usage pointer.
           05 file-outtype-slot    usage pointer.
           05 filler redefines file-outtype-slot.
               10 file-outtype         pic x.
               10 filler               pic x(3).
           05 file-outkey          usage pointer.

       01 kvrnsum.
           05 sum-count            usage index.
           05 kvrnsume occurs 16.
               10 sume-position        usage index.
               10 sume-length          usage index.
               10 sume-type            pic x.
               10 filler               pic x(3).

       01 kvrnsel.
           05 sel-count-slot       usage pointer.
           05 sel-count redefines sel-count-slot usage index.
           05 kvrnsele occurs 16.
               10 sele-op              pic x.
               10 sele-ltype           pic x.
               10 sele-rtype           pic x.
               10 sele-options         pic x.
               10 sele-lpos            usage index.
               10 sele-llen-slot       usage pointer.
               10 sele-llen redefines sele-llen-slot usage index.
               10 sele-rlit            usage pointer.
               10 sele-rpos redefines sele-rlit usage index.
               10 sele-rlen            usage index.
               10 sele-iftrue          pic x.
               10 sele-iffalse         pic x.
               10 sele-mask            pic x.
               10 sele-kanjiconv       pic x.
               10 sele-truejump        usage index.
               10 sele-falsejump       usage index.

       01 kvrnrcn.
           05 rcn-count-slot       usage pointer.
           05 rcn-count redefines rcn-count-slot usage index.
           05 kvrnrcne occurs 16.
               10 rcne-literal         usage pointer.
               10 rcne-position redefines rcne-literal usage index.
               10 rcne-length          usage index.
               10 rcne-type            pic x.
               10 filler               pic x(3).

       01 kvrnopt.
           05 opt-sum              usage pointer.
           05 opt-sel              usage pointer.
           05 opt-rcn              usage pointer.

       01 kvrnstat.
           05 stat-size            usage index.
           05 stat-phase           usage index.
           05 stat-taken           usage index.
           05 stat-taken-high      usage index.
           05 stat-delivered       usage index.
           05 stat-delivered-high  usage index.
           05 stat-rejected        usage index.
           05 stat-rejected-high   usage index.
           05 stat-suppressed      usage index.
           05 stat-suppressed-high usage index.
           05 stat-summed          usage index.
           05 stat-summed-high     usage index.
           05 stat-strings         usage index.
           05 stat-strings-high    usage index.
           05 stat-datablocks      usage index.
           05 stat-datablocks-high usage index.
           05 stat-spills          usage index.
           05 stat-spills-high     usage index.
           05 stat-tempfiles       usage index.
           05 stat-tempfiles-high  usage index.
           05 stat-tempbytes       usage index.
           05 stat-tempbytes-high  usage index.
           05 stat-tempreads       usage index.
           05 stat-tempreads-high  usage index.
           05 stat-tempwrites      usage index.
           05 stat-tempwrites-high usage index.
           05 stat-inbytes         usage index.
           05 stat-inbytes-high    usage index.
           05 stat-outbytes        usage index.
           05 stat-outbytes-high   usage index.
           05 stat-syscode         usage index.
           05 stat-syscode-high    usage index.
