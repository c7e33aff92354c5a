      *> A sort of 100-byte records by their key, as most programs do it:
      *> by USING and GIVING, or where the argument is "procedures" by
      *> procedures that release and return each record.
       identification division.
       program-id. sortverb.
       environment division.
       input-output section.
       file-control.
           select infile assign to external infile.
           select outfile assign to external outfile.
           select sortfile assign to "sortfile".
       data division.
       file section.
       fd infile.
       01 inrecord pic x(100).
       fd outfile.
       01 outrecord pic x(100).
       sd sortfile.
       01 sortrecord.
           05 sortkey pic x(10).
           05 filler pic x(90).
       working-storage section.
       01 way pic x(10).
       01 filler pic 9 value 0.
           88 at-end value 1 false 0.
       procedure division.
           accept way from command-line.
           if way = "procedures"
               sort sortfile on ascending key sortkey
                   input procedure release-all
                   output procedure return-all
           else
               sort sortfile on ascending key sortkey
                   using infile giving outfile
           end-if.
           move sort-return to return-code.
           stop run.

       release-all.
           open input infile.
           perform until at-end
               read infile
                   at end set at-end to true
                   not at end release sortrecord from inrecord
               end-read
           end-perform.
           close infile.

       return-all.
           set at-end to false.
           open output outfile.
           perform until at-end
               return sortfile
                   at end set at-end to true
                   not at end write outrecord from sortrecord
               end-return
           end-perform.
           close outfile.
