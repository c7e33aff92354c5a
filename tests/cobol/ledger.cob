      *> Where there are no files yet, writes two of 200 records each, by
      *> a sequence that jumps about: number n is 77 * i modulo 211. Where
      *> the engine has sorted them by number, reads them. Ends with code 0
      *> if order, contents and counts are right.
       identification division.
       program-id. ledger.
       environment division.
       input-output section.
       file-control.
           select varfile assign to "variable"
               organization sequential file status st.
           select relfile assign to "relative"
               organization relative access dynamic
               relative key slot file status st.
       data division.
       file section.
       fd varfile record varying from 20 to 60 depending on reclen.
       01 varrec pic x(60).
       fd relfile.
       01 relrec pic x(20).
       working-storage section.
       01 entry-of.
           05 n pic 9(4).
           05 amount pic s9(7)v99 comp-3.
           05 zoned pic s9(5).
           05 filler pic x(6) value spaces.
           05 tail pic x(40).
       01 st pic xx.
       01 slot pic 9(4).
       01 reclen pic 9(4).
       01 i pic 9(4).
       01 vs pic 9(4).
       01 seen pic 9(4).
       01 total pic 9(9).
       01 lastn pic s9(4).
       procedure division.
           open input varfile.
           if st = "35" perform make end-if.
           perform begin.
           read varfile.
           perform until st not = "00"
               move varrec(1:reclen) to entry-of
               perform contents
               move 0 to vs
               inspect tail tallying vs for all "v"
               if reclen not = 20 + function mod(n, 41) or
                   vs not = reclen - 20 perform wrong end-if
               read varfile
           end-perform.
           perform counted.

      *> The record that the writer deleted is not there.
           open input relfile.
           perform begin.
           add 1 to seen.
           add 77 to total.
           read relfile next into entry-of.
           perform until st not = "00"
               perform contents
               read relfile next into entry-of
           end-perform.
           perform counted.
           close varfile relfile.
           stop run.

       make.
           open output varfile relfile.
           move all "v" to tail.
           perform varying i from 1 by 1 until i > 200
               compute n = function mod(77 * i, 211)
               compute amount = (n - 100) * 1.25
               compute zoned = 100 - n
               compute reclen = 20 + function mod(n, 41)
               write varrec from entry-of
               compute slot = 2 * i
               write relrec from entry-of
           end-perform.
           close varfile relfile.
           open i-o relfile.
           move 2 to slot.
           delete relfile.
           close relfile.
           stop run.
       begin.
           move 0 to seen total.
           move -1 to lastn.
       contents.
           if n not > lastn or amount not = (n - 100) * 1.25 or
               zoned not = 100 - n perform wrong end-if.
           move n to lastn.
           add 1 to seen.
           add n to total.
       counted.
           if st not = "10" or seen not = 200 or total not = 21115
               perform wrong
           end-if.
       wrong.
           display "wrong: status " st " record " n " seen " seen
               " total " total.
           move 1 to return-code.
           stop run.
