      *> Writes the files that the engine sorts, 200 records each, by a
      *> sequence that jumps about: number n is 77 * i modulo 211.
       identification division.
       program-id. writer.
       environment division.
       input-output section.
       file-control.
           select fixedfile assign to "fixed.in"
               organization sequential.
           select varfile assign to "variable.in"
               organization sequential.
           select relfile assign to "relative.in"
               organization relative access dynamic
               relative key slot.
       data division.
       file section.
       fd fixedfile.
       01 fixedrec.
           copy "ledger.cpy" replacing ==:p:== by ==f==.
       fd varfile record varying from 20 to 60 depending on reclen.
       01 varrec.
           copy "ledger.cpy" replacing ==:p:== by ==v==.
           05 filler pic x(40).
       fd relfile.
       01 relrec.
           copy "ledger.cpy" replacing ==:p:== by ==r==.
       working-storage section.
       01 slot pic 9(4).
       01 reclen pic 9(4).
       01 i pic 9(4).
       01 n pic 9(4).
       procedure division.
           open output fixedfile varfile relfile.
           perform varying i from 1 by 1 until i > 200
               compute n = function mod(77 * i, 211)
               move n to f-number
               compute f-amount = (n - 100) * 1.25
               compute f-zoned = 100 - n
               move spaces to f-filler
               write fixedrec
               move spaces to varrec
               move fixedrec to varrec
               compute reclen = 20 + function mod(n, 41)
               if reclen > 20
                   move all "v" to varrec(21:reclen - 20)
               end-if
               write varrec
               move fixedrec to relrec
               compute slot = 2 * i
               write relrec
           end-perform.
           close fixedfile varfile relfile.
           open i-o relfile.
           move 2 to slot.
           delete relfile.
           close relfile.
           stop run.
