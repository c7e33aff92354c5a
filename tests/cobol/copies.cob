      *> Reads the files VARIABLE and RELATIVE and writes what it found
      *> to VARIABLE.OUT and RELATIVE.OUT.
       identification division.
       program-id. copies.
       environment division.
       input-output section.
       file-control.
           select varin assign to "variable" status st.
           select varout assign to "variable.out".
           select relin assign to "relative" organization relative
               status st.
           select relout assign to "relative.out"
               organization relative.
       data division.
       file section.
       fd varin record varying from 1 to 60 depending on reclen.
       01 varinrec pic x(60).
       fd varout record varying from 1 to 60 depending on reclen.
       01 varoutrec pic x(60).
       fd relin.
       01 relinrec pic x(20).
       fd relout.
       01 reloutrec pic x(20).
       working-storage section.
       01 st pic xx.
       01 reclen pic 9(4).
       procedure division.
           open input varin relin output varout relout.
           read varin.
           perform until st not = "00"
               write varoutrec from varinrec
               read varin
           end-perform.
           read relin next.
           perform until st not = "00"
               write reloutrec from relinrec
               read relin next
           end-perform.
           close varin relin varout relout.
           stop run.
