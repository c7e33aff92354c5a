// Sequential files of fixed records that a program's sort reads or writes, straight between
// their descriptor and memory.
//
// The run-time opens and closes them, and reads or writes the last record itself, so that
// the file, its record area and its status are left as it leaves them.
#pragma once

#include "cobsort/rows.h"
#include "cobsort/runtime.h"

#include <optional>
#include <vector>

namespace cobsort {

// All records but the last of a file just opened for input; nothing where it is no regular
// file of fixed records, or has no more.
std::optional<filerows> rowsof(const cob_file *data, const cob_file *sort);
bool skiprows(const filerows &rows); // the file is placed behind them

// As the run-time moves a record between areas of different lengths.
void moverecord(cob_file *to, const cob_file *from);

// One file that a sort writes.
class outfile {
  public:
    // Just opened for output.  `straight`: in blocks, where it can be.
    outfile(cob_file *file, const cob_file *sort, bool straight);
    // The sort's record in its area.  False: the run-time could not write, its status says.
    bool put();
    bool finish(); // the last record

  private:
    cob_file *file;
    const cob_file *sort;
    int option;
    bool inblocks;
    std::vector<unsigned char> block; // records that are not written yet, the last among them

    bool write();
    bool flush(size_t keep);
};

} // namespace cobsort
