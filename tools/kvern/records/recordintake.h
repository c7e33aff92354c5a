// Records of an input that the session shall see: tested, and short ones left out where
// the user wants that.
#pragma once

#include "kvern/records/recordreader.h"
#include "kvern/records/textscan.h"

#include <utility>

namespace command {

class recordintake {
  public:
    // The scanner's form is what records are tested for; null: for nothing.
    recordintake(recordreader from, textscanner *tests, bool forgivetorn)
        : reader(std::move(from)), scanner(tests) {
        if (forgivetorn)
            reader.forgivetorn();
    }
    bool next() {
        while (reader.next())
            if (scanner == nullptr || scanner->line(reader.data()))
                return true;
        return false;
    }
    const recordreader &record() const { return reader; }

  private:
    recordreader reader;
    textscanner *scanner;
};

} // namespace command
