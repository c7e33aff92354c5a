// One SORT or MERGE of a program, from its opening call to its closing one.
//
// The run-time's own sort of the same file stands beside it, opened and closed with it and
// empty as long as the records are ours.  So a sort can be handed over at any time: what was
// taken goes to the run-time as it came, since the run-time compares values that are none in
// circles, and what comes out then depends on what it was given; and the run-time itself says
// that the data end or that a call failed, with all that a program may look at.
#pragma once

#include "cobsort/blockfiles.h"
#include "cobsort/keys.h"
#include "cobsort/runtime.h"
#include "cobsort/store.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cobsort {

class verb {
  public:
    // Of a sort that the run-time has just opened; both may be null.
    verb(cob_file *file, int *sortreturn, cob_field *status);
    ~verb();

    void release();
    void giveback();
    void sortusing(cob_file *data);
    void giving(const std::vector<cob_file *> &files);
    void yield(); // from here on it is the run-time's alone
    void explain() const;
    // In a process that fork made: the threads are the other's, and the records with them.
    void lose();

  private:
    enum class owner { nobody, ours, theirs, lost };

    cob_file *const file;
    int *const sortreturn;
    cob_field *const status;
    owner whose = owner::nobody;
    std::string whynot; // ours
    bool retrieving = false;
    uint64_t in = 0, out = 0;
    const std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
    std::optional<keyplan> order;
    std::unique_ptr<store> records; // while ours

    void decide();
    void handover(const std::string &why, uint64_t below = UINT64_MAX);
    template <typename Put>
    bool offer(Put put);
    bool submit();
    bool submitrows(cob_file *data);
    bool retrieve();
    bool begin();
    void succeed();
    void fail();
    void tellfault();
    template <typename Work>
    bool guarded(Work work);
    bool nextrecord();
    bool writeout(const std::vector<cob_file *> &files);
};

} // namespace cobsort
