// What is done where the command ends without unwinding: an exception that nothing
// catches, or one thrown where none may be, which is what memory that runs out leads to.
#pragma once

#include <thread>

namespace command {

// Stands as long as `routine` would have to be called with `subject`; then it runs on the
// thread that made it, or not at all.  It takes no memory and throws nothing.
class cleanup {
  public:
    using routine = void (*)(void *subject);

    cleanup(routine what, void *subject);
    ~cleanup();
    cleanup(const cleanup &) = delete;
    cleanup &operator=(const cleanup &) = delete;

  private:
    friend class cleanuplist;
    routine call;
    void *argument;
    std::thread::id owner;
    cleanup *older; // newest first
    cleanup *newer = nullptr;
};

// From here on such an end cleans up, says why on standard error and has the exit code of
// no memory, or of an internal error where it was another exception.
void cleanatend();

extern const char *const nomemory; // the two lines that are said

} // namespace command
