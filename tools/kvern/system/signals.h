// The wish to end, which comes as a signal, and the waits that it ends.
#pragma once

#include <cstddef>

namespace command {

// From here on an interrupt or a request to end only marks stopwanted(), and ends each
// wait of this thread and of the helping ones from then on.
void catchsignals();
bool stopwanted();

// Stands on each thread but the first while it works: a signal ends its waits as well.
class helpingthread {
  public:
    helpingthread();
    ~helpingthread();
    helpingthread(const helpingthread &) = delete;
    helpingthread &operator=(const helpingthread &) = delete;

  private:
    size_t slot;
};

} // namespace command
