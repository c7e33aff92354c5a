      *> Reads what the engine made: the fixed and the variable file by
      *> ascending amounts, the relative one by ascending zoned numbers.
      *> Ends with code 0 if order, contents and counts are right.
       identification division.
       program-id. checker.
       environment division.
       input-output section.
       file-control.
           select fixedfile assign to "fixed.out"
               organization sequential file status st.
           select varfile assign to "variable.out"
               organization sequential file status st.
           select relfile assign to "relative.out"
               organization relative access sequential
               file status st.
       data division.
       file section.
       fd fixedfile.
       01 fixedrec.
           copy "ledger.cpy" replacing ==:p:== by ==f==.
       fd varfile record varying from 20 to 60 depending on reclen.
       01 varrec.
           copy "ledger.cpy" replacing ==:p:== by ==v==.
           05 v-tail pic x(40).
       fd relfile.
       01 relrec.
           copy "ledger.cpy" replacing ==:p:== by ==r==.
       working-storage section.
       01 st pic xx.
       01 reclen pic 9(4).
       01 n pic 9(4).
       01 seen pic 9(4).
       01 total pic 9(9).
       01 expectedlen pic 9(4).
       01 amount pic s9(7)v99.
       01 zoned pic s9(5).
       01 lastone pic s9(9)v99.
       procedure division.
           perform begin.
           open input fixedfile.
           read fixedfile.
           perform until st not = "00"
               move f-number to n
               if f-amount not > lastone perform wrong end-if
               move f-amount to lastone
               move f-amount to amount
               move f-zoned to zoned
               perform contents
               read fixedfile
           end-perform.
           perform counted.
           close fixedfile.

           perform begin.
           open input varfile.
           read varfile.
           perform until st not = "00"
               move v-number to n
               if v-amount not > lastone perform wrong end-if
               move v-amount to lastone
               move v-amount to amount
               move v-zoned to zoned
               perform contents
               compute expectedlen = 20 + function mod(n, 41)
               if reclen not = expectedlen perform wrong end-if
               if reclen > 20 and
                   v-tail(1:reclen - 20) not = all "v"
                   perform wrong
               end-if
               read varfile
           end-perform.
           perform counted.
           close varfile.

      *> The record that the writer deleted is not there.
           perform begin.
           add 1 to seen.
           add 77 to total.
           open input relfile.
           read relfile.
           perform until st not = "00"
               move r-number to n
               if r-zoned not > lastone perform wrong end-if
               move r-zoned to lastone
               move r-amount to amount
               move r-zoned to zoned
               perform contents
               read relfile
           end-perform.
           perform counted.
           close relfile.
           stop run.

       begin.
           move 0 to seen total.
           move -9999999 to lastone.
           move 20 to reclen.
       contents.
           if amount not = (n - 100) * 1.25 perform wrong end-if.
           if zoned not = 100 - n perform wrong end-if.
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
