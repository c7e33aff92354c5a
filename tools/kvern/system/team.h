// Threads that do one work together: all of them end before it is over, and of all
// failures the one earliest in the input is told, however many threads there are.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>

namespace command {

// Thrown through a thread whose work is of no use any more; nobody is told.
struct abandoned {};

class team {
  public:
    // `threads`: at least 1, the caller's counts.
    explicit team(unsigned threads) : wanted(threads) {}
    team(const team &) = delete;
    team &operator=(const team &) = delete;

    // work(0) on this thread, the others on threads of their own.  Rethrows the earliest
    // failure.
    void run(const std::function<void(unsigned)> &work);
    // Where the system gives no more of them, fewer than were asked for: known before the
    // work begins.
    unsigned threads() const { return wanted; }

    // The exception that is being handled is the failure of that place of the input.  What
    // was asked for by a signal goes before all, and so does what `work` throws: it could
    // not begin.
    void fail(uint64_t place) { tell(place + 1); }
    bool failed() const { return error != nullptr; }

    // The next of so many, for any thread; false: none is left, or the work has failed.
    bool take(size_t all, size_t &number) {
        const std::lock_guard<std::mutex> held(lock);
        number = taken;
        return !failed() && taken++ < all;
    }

    // What the threads share is looked at and changed under this lock, and whoever changes
    // what others wait for tells them.
    std::mutex lock;
    void changed() { news.notify_all(); }
    // Until `ready()`; throws `abandoned` where the work has failed.
    template <typename Ready>
    void await(std::unique_lock<std::mutex> &held, Ready ready) {
        news.wait(held, [&] { return failed() || ready(); });
        if (failed())
            throw abandoned{};
    }

  private:
    unsigned wanted;
    bool begun = false;
    size_t taken = 0;
    std::condition_variable news;
    uint64_t earliest = UINT64_MAX;
    std::exception_ptr error;

    void tell(uint64_t order);
    void attempt(const std::function<void(unsigned)> &work, unsigned number) noexcept;
};

// What is done under the lock when a thread's work is left, however that is.
template <typename Work>
class atlast {
  public:
    atlast(team &all, Work what) : crew(all), work(what) {}
    ~atlast() {
        const std::lock_guard<std::mutex> held(crew.lock);
        work();
    }
    atlast(const atlast &) = delete;
    atlast &operator=(const atlast &) = delete;

  private:
    team &crew;
    Work work;
};

} // namespace command
