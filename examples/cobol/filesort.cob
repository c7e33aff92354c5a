      *> filesort IN OUT: sorts a file of postings into another one by
      *> branch and, within a branch, by amount, the greatest first.
       identification division.
       program-id. filesort.
       data division.
       working-storage section.
       copy "kvern.cpy".
       01 posting.
           05 posting-branch pic xx.
           05 posting-number pic 9(4).
           05 posting-amount pic s9(3)v99 comp-3.
           05 posting-end    pic x.
       01 in-path            pic x(256).
       01 out-path           pic x(256).
       01 result             usage index.
       01 closed             usage index.
       01 shown-number       pic z(8)9.
       01 message-text       pic x(256).
       procedure division.
       sort-postings.
           move low-values to kvrnlink kvrnprim kvrnsess kvrnkey.
           move low-values to kvrnflst kvrnfile kvrnstat message-text.
           perform by-branch.
           perform name-files.
           move kvrn-sort to prim-function.
           move kvrn-fixed to prim-recform.
           move kvrn-keeporder to prim-options.
           move length of posting to prim-reclen.
           move kvrn-mem-max to prim-memsize.
           call "kvrnopen" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess kvrnkey kvrnfile
               omitted giving result.
      *> A sort between files has run to its end now; its counters and
      *> the text of a message are there until kvrnclse.
           move length of kvrnstat to stat-size.
           call "kvrnstat" using kvrnsess kvrnstat.
           call "kvrntext" using kvrnsess message-text by value 256.
           call "kvrnclse" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess giving closed.
           if result not = kvrn-done or closed not = kvrn-done
                   or sess-detail not = 0
               inspect message-text replacing all low-values by spaces
               move sess-detail to shown-number
               display "filesort: detail " function trim(shown-number)
                   " " function trim(message-text) upon syserr
               move 1 to return-code
           else
               move stat-delivered to shown-number
               display function trim(shown-number) " records"
           end-if.
           stop run.

       by-branch.
           move 2 to key-count.
           move length of posting-branch to keye-length(1).
           move kvrn-char to keye-type(1).
           move kvrn-ascending to keye-order(1).
           compute keye-position(2) =
               length of posting-branch + length of posting-number.
           move length of posting-amount to keye-length(2).
           move kvrn-packed to keye-type(2).
           move kvrn-descending to keye-order(2).

      *> A path is a text that ends with a byte of zero.
       name-files.
           accept in-path from argument-value.
           accept out-path from argument-value.
           inspect in-path replacing trailing spaces by low-values.
           inspect out-path replacing trailing spaces by low-values.
           move 1 to flst-count.
           set flst-path(1) to address of in-path.
           set file-infiles to address of kvrnflst.
           set file-outfile to address of out-path.
