      *> Sorts two batches of postings by amount, handing them to the
      *> library one by one, and merges the sorted batches into one
      *> list.  An argument is the length of the key; one that reaches
      *> beyond the record shows what a refusal looks like.
       identification division.
       program-id. batches.
       data division.
       working-storage section.
       copy "kvern.cpy".
       01 batches.
           05 batch occurs 2.
               10 posting occurs 4.
                   15 posting-name   pic x(10).
                   15 posting-amount pic s9(7)v99 comp-3.
       78 batch-size value 4.
       01 record-length usage binary-long unsigned.
       01 result        usage binary-long.
       01 b             usage binary-long.
       01 i             usage binary-long.
      *> Of each input of the merge the number of records it has given.
       01 given usage binary-long occurs 2.
       01 argument  pic x(10).
       01 message-text pic x(256) value low-values.
       01 shown-detail pic zzz9.
       01 shown.
           05 shown-name   pic x(10).
           05 shown-amount pic -(7)9.99.
       linkage section.
       01 sorted-posting.
           05 sorted-name   pic x(10).
           05 sorted-amount pic s9(7)v99 comp-3.
       procedure division.
           move "rent"     to posting-name(1, 1).
           move 950.00     to posting-amount(1, 1).
           move "refund"   to posting-name(1, 2).
           move -12.50     to posting-amount(1, 2).
           move "paper"    to posting-name(1, 3).
           move 7.99       to posting-amount(1, 3).
           move "salaries" to posting-name(1, 4).
           move 48210.75   to posting-amount(1, 4).
           move "coffee"   to posting-name(2, 1).
           move 23.40      to posting-amount(2, 1).
           move "reversal" to posting-name(2, 2).
           move -950.00    to posting-amount(2, 2).
           move "power"    to posting-name(2, 3).
           move 310.10     to posting-amount(2, 3).
           move "post"     to posting-name(2, 4).
           move 7.98       to posting-amount(2, 4).
           move length of sorted-posting to record-length.
           perform by-amount.
           perform sort-batch varying b from 1 by 1 until b > 2.
           perform merge-batches.
           stop run.

      *> One key: the packed amount, lowest first.
       by-amount.
           move low-values to kvrnkey.
           move 1 to key-count.
           compute keye-position(1) = length of posting-name.
           compute keye-length(1) = length of posting-amount.
           move kvrn-packed to keye-type(1).
           move kvrn-ascending to keye-order(1).
           accept argument from command-line.
           if argument not = spaces
               move function numval(argument) to keye-length(1)
           end-if.

       open-session.
           move low-values to kvrnlink kvrnsess.
           move record-length to prim-reclen.
           call "kvrnopen" using by value kvrn-version
               by reference kvrnlink kvrnprim kvrnsess kvrnkey
               omitted omitted returning result.
           if result not = kvrn-done perform failed end-if.

      *> The session is over only after this, also where it failed.
       close-session.
           call "kvrnclse" using by value kvrn-version
               by reference kvrnlink kvrnprim kvrnsess
               returning result.
           if result not = kvrn-done or sess-detail not = 0
               perform failed
           end-if.

       sort-batch.
           move low-values to kvrnprim.
           move kvrn-sort to prim-function.
           move kvrn-fixed to prim-recform.
           perform open-session.
           move kvrn-record to sess-code.
           perform varying i from 1 by 1 until i > batch-size
               set sess-recaddr to address of posting(b, i)
               move record-length to sess-reclen
               call "kvrnput" using kvrnsess returning result
               if result not = kvrn-done perform failed end-if
           end-perform.
           move kvrn-end to sess-code.
           call "kvrnput" using kvrnsess returning result.
           if result not = kvrn-ended perform failed end-if.
           move kvrn-done to result.
      *> The library has copies, so they come back to the same place.
           perform varying i from 1 by 1 until result = kvrn-ended
               call "kvrnget" using kvrnsess returning result
               if result < kvrn-done perform failed end-if
               if result = kvrn-done
                   set address of sorted-posting to sess-recaddr
                   move sorted-posting to posting(b, i)
               end-if
           end-perform.
           perform close-session.

       merge-batches.
           move low-values to kvrnprim.
           move kvrn-merge to prim-function.
           move kvrn-fixed to prim-recform.
           move 2 to prim-mergecnt.
           move 0 to given(1) given(2).
           perform open-session.
           perform until result = kvrn-ended
               if sess-mergestat = kvrn-wants-record
                   perform bring-wanted
               end-if
               call "kvrnmrge" using kvrnsess returning result
               if result < kvrn-done perform failed end-if
               if result = kvrn-done and sess-outaddr not = null
                   set address of sorted-posting to sess-outaddr
                   move sorted-name to shown-name
                   move sorted-amount to shown-amount
                   display shown
               end-if
           end-perform.
           perform close-session.

      *> The next record of the input that the library asks for, or
      *> its end; inputs count from 0.
       bring-wanted.
           compute b = sess-inputno + 1.
           move kvrn-end to sess-code.
           if given(b) < batch-size
               add 1 to given(b)
               move kvrn-record to sess-code
               set sess-recaddr to address of posting(b, given(b))
               move record-length to sess-reclen
           end-if.

       failed.
           call "kvrntext" using kvrnsess message-text
               by value 256 returning result.
           inspect message-text replacing all low-values by spaces.
           move sess-detail to shown-detail.
           display "batches: detail " function trim(shown-detail)
               " " function trim(message-text) upon syserr.
           call "kvrnclse" using by value kvrn-version
               by reference kvrnlink kvrnprim kvrnsess
               returning result.
           move 1 to return-code.
           stop run.
