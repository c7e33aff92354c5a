#include "kvern/system/cleanup.h"

#include "kvern/system/failure.h"
#include "kvern/system/streams.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <mutex>
#include <new>

namespace command {

const char *const nomemory = "kvern: no memory\n"
                             "  ask for less with -S, or leave more to this process\n";

class cleanuplist {
  public:
    void enter(cleanup *one) {
        const std::lock_guard<std::mutex> held(lock);
        one->older = newest;
        if (newest != nullptr)
            newest->newer = one;
        newest = one;
    }
    void leave(const cleanup *one) {
        const std::lock_guard<std::mutex> held(lock);
        (one->newer != nullptr ? one->newer->older : newest) = one->older;
        if (one->older != nullptr)
            one->older->newer = one->newer;
    }
    // Another thread's may be in use there.
    void run() {
        const std::lock_guard<std::mutex> held(lock);
        for (const cleanup *one = newest; one != nullptr; one = one->older)
            if (one->owner == std::this_thread::get_id())
                one->call(one->argument);
    }

  private:
    std::mutex lock;
    cleanup *newest = nullptr;
};

namespace {

cleanuplist all;

// No exception stands behind it where there was no memory for one either.
bool ofmemory() {
    if (abi::__cxa_current_exception_type() == nullptr)
        return true;
    try {
        throw;
    } catch (const std::bad_alloc &) {
        return true;
    } catch (...) {
        return false;
    }
}

[[noreturn]] void onterminate() {
    static std::atomic<bool> begun{false};
    static thread_local bool here = false;
    if (here) // the cleaning itself failed
        std::_Exit(static_cast<int>(ending::internal));
    here = true;
    while (begun.exchange(true)) // another thread ends the process
        std::this_thread::sleep_for(std::chrono::seconds(1));
    const bool memory = ofmemory();
    saydirectly(memory ? nomemory
                       : "kvern: an internal error\n"
                         "  this is a fault of kvern, please report it\n");
    all.run();
    std::_Exit(static_cast<int>(memory ? ending::room : ending::internal));
}

} // namespace

cleanup::cleanup(routine what, void *subject)
    : call(what), argument(subject), owner(std::this_thread::get_id()), older(nullptr) {
    all.enter(this);
}

cleanup::~cleanup() {
    all.leave(this);
}

void cleanatend() {
    std::set_terminate(onterminate);
}

} // namespace command
