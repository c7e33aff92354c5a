      *> putget: hands records over one by one and fetches them back in
      *> order, by number of people, the greatest first, and by name.
      *> An argument is the length of the second key; one that reaches
      *> beyond the record shows what a refusal looks like.
       identification division.
       program-id. putget.
       data division.
       working-storage section.
       copy "kvern.cpy".
       01 cities.
           05 city occurs 6.
               10 city-name   pic x(12).
               10 city-people pic s9(9) comp-5.
       01 i            usage index.
       01 result       usage index.
       01 argument     pic x(10).
       01 shown-detail pic z(8)9.
       01 message-text pic x(256) value low-values.
       01 shown.
           05 shown-name   pic x(13).
           05 shown-people pic -(6)9.
       linkage section.
       01 sorted-city.
           05 sorted-name   pic x(12).
           05 sorted-people pic s9(9) comp-5.
       procedure division.
       sort-cities.
           move "Oslo"      to city-name(1).
           move 709037      to city-people(1).
           move "Bergen"    to city-name(2).
           move 291940      to city-people(2).
           move "Aarhus"    to city-name(3).
           move 290598      to city-people(3).
           move "Hamar"     to city-name(4).
           move 28535       to city-people(4).
           move "Trondheim" to city-name(5).
           move 291940      to city-people(5).
           move "Nowhere"   to city-name(6).
           move -1          to city-people(6).
           perform open-session.
           perform put-cities.
           perform get-cities.
      *> The session is over only after this, also where it failed.
           call "kvrnclse" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess giving result.
           if result not = kvrn-done perform failed end-if.
           stop run.

       open-session.
           move low-values to kvrnlink kvrnprim kvrnsess kvrnkey.
           move kvrn-sort to prim-function.
           move kvrn-fixed to prim-recform.
           move length of sorted-city to prim-reclen.
           move 2 to key-count.
           move length of city-name to keye-position(1).
           move length of city-people to keye-length(1).
           move kvrn-slebin to keye-type(1).
           move kvrn-descending to keye-order(1).
           move length of city-name to keye-length(2).
           accept argument from command-line.
           if argument not = spaces
               move function numval(argument) to keye-length(2)
           end-if.
           move kvrn-char to keye-type(2).
           move kvrn-ascending to keye-order(2).
           call "kvrnopen" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess kvrnkey
               omitted omitted giving result.
           if result not = kvrn-done perform failed end-if.

       put-cities.
           move kvrn-record to sess-code.
           perform varying i from 1 by 1 until i > 6
               set sess-recaddr to address of city(i)
               move prim-reclen to sess-reclen
               call "kvrnput" using kvrnsess giving result
               if result not = kvrn-done perform failed end-if
           end-perform.
           move kvrn-end to sess-code.
           call "kvrnput" using kvrnsess giving result.
           if result not = kvrn-ended perform failed end-if.

       get-cities.
           perform until result < kvrn-done
               call "kvrnget" using kvrnsess giving result
               if result = kvrn-ended exit perform end-if
               if result not = kvrn-done perform failed end-if
               set address of sorted-city to sess-recaddr
               move sorted-name to shown-name
               move sorted-people to shown-people
               display shown
           end-perform.

       failed.
           call "kvrntext" using kvrnsess message-text by value 256.
           inspect message-text replacing all low-values by spaces.
           move sess-detail to shown-detail.
           display "putget: detail " function trim(shown-detail)
               " " function trim(message-text) upon syserr.
           call "kvrnclse" using by value kvrn-version-l4
               by reference kvrnlink kvrnprim kvrnsess.
           move 1 to return-code.
           stop run.
