           05 :p:-number pic 9(4).
           05 :p:-amount pic s9(7)v99 comp-3.
           05 :p:-zoned pic s9(5).
           05 :p:-filler pic x(6).
