// Records of an input that the session shall see: tested, and short ones left out where
// the user wants that.
#pragma once

#include "kvern/records/recordreader.h"
#include "kvern/records/textscan.h"

namespace command {

class recordintake {
  public:
    // The scanner counts over all inputs, and its form is what records are tested for.
    recordintake(inputsource &source, const recordshape &shape, textscanner &tests,
                 bool forgivetorn)
        : reader(source, shape), scanner(tests) {
        if (forgivetorn)
            reader.forgivetorn();
        scanner.startsource(source);
    }
    bool next() {
        while (reader.next())
            if (scanner.line(reader.data()))
                return true;
        return false;
    }
    const recordreader &record() const { return reader; }

  private:
    recordreader reader;
    textscanner &scanner;
};

} // namespace command
