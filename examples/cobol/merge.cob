      *> merge FIRST SECOND OUT: merges two files of postings, each in
      *> the order of branch and number, which the program reads and
      *> writes itself.  A file out of order ends it with detail 114.
       identification division.
       program-id. merge-postings.
       environment division.
       input-output section.
       file-control.
           select first-file assign to first-path.
           select second-file assign to second-path.
           select merged-file assign to merged-path.
       data division.
       file section.
       fd first-file.
       01 first-posting  pic x(10).
       fd second-file.
       01 second-posting pic x(10).
       fd merged-file.
       01 merged-posting pic x(10).
       working-storage section.
       copy "kvern.cpy".
       01 first-path     pic x(256).
       01 second-path    pic x(256).
       01 merged-path    pic x(256).
       01 result         usage index.
       01 shown-detail   pic z(8)9.
       01 message-text   pic x(256) value low-values.
       linkage section.
       01 next-posting   pic x(10).
       procedure division.
       merge-files.
           accept first-path from argument-value.
           accept second-path from argument-value.
           accept merged-path from argument-value.
           open input first-file second-file output merged-file.
           perform open-session.
           perform until result = kvrn-ended
               if sess-mergestat = kvrn-wants-record
                   perform bring-wanted
               end-if
               call "kvrnmrge" using kvrnsess giving result
               if result < kvrn-done perform failed end-if
      *> A call need not give a record.
               if result = kvrn-done and sess-outaddr not = null
                   set address of next-posting to sess-outaddr
                   write merged-posting from next-posting
               end-if
           end-perform.
           call "kvrnclse" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess giving result.
           if result not = kvrn-done perform failed end-if.
           close first-file second-file merged-file.
           stop run.

       open-session.
           move low-values to kvrnlink kvrnprim kvrnsess kvrnkey.
           move kvrn-merge to prim-function.
           move kvrn-fixed to prim-recform.
           move length of next-posting to prim-reclen.
           move 2 to prim-mergecnt.
           move 1 to key-count.
           move 6 to keye-length(1).
           move kvrn-char to keye-type(1).
           move kvrn-ascending to keye-order(1).
           call "kvrnopen" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess kvrnkey
               omitted omitted giving result.
           if result not = kvrn-done perform failed end-if.

      *> The next record of the file that the library asks for, or its
      *> end; it counts the files from 0.
       bring-wanted.
           move kvrn-record to sess-code.
           move prim-reclen to sess-reclen.
           move 0 to kvrn-number.
           move sess-inputno to kvrn-half.
           if kvrn-number = 0
               set sess-recaddr to address of first-posting
               read first-file at end move kvrn-end to sess-code
           else
               set sess-recaddr to address of second-posting
               read second-file at end move kvrn-end to sess-code
           end-if.

       failed.
           call "kvrntext" using kvrnsess message-text by value 256.
           inspect message-text replacing all low-values by spaces.
           move sess-detail to shown-detail.
           display "merge: detail " function trim(shown-detail)
               " " function trim(message-text) upon syserr.
           call "kvrnclse" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess.
           move 1 to return-code.
           stop run.
