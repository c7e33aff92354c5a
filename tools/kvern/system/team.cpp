#include "kvern/system/team.h"

#include "kvern/system/failure.h"
#include "kvern/system/signals.h"

#include <system_error>
#include <thread>
#include <vector>

namespace command {

namespace {

template <typename Kind>
bool isa(const std::exception_ptr &what) {
    try {
        std::rethrow_exception(what);
    } catch (const Kind &) {
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace

void team::tell(uint64_t order) {
    const std::exception_ptr what = std::current_exception();
    if (isa<abandoned>(what)) // for a failure that is known
        return;
    const uint64_t first = isa<stopped>(what) ? 0 : order;
    const std::lock_guard<std::mutex> held(lock);
    if (error == nullptr || first < earliest) {
        error = what;
        earliest = first;
    }
    changed();
}

void team::attempt(const std::function<void(unsigned)> &work, unsigned number) noexcept {
    try {
        work(number);
    } catch (const abandoned &) {
    } catch (...) {
        tell(0);
    }
}

void team::run(const std::function<void(unsigned)> &work) {
    std::vector<std::thread> others;
    others.reserve(wanted);
    try {
        while (others.size() + 1 < wanted)
            others.emplace_back([this, &work, number = static_cast<unsigned>(others.size()) + 1] {
                const helpingthread here;
                std::unique_lock<std::mutex> held(lock);
                news.wait(held, [this] { return begun; });
                held.unlock();
                attempt(work, number);
            });
    } catch (const std::system_error &) {
        // As many as there are do it.
    }
    {
        const std::lock_guard<std::mutex> held(lock);
        wanted = static_cast<unsigned>(others.size()) + 1;
        begun = true;
        changed();
    }
    attempt(work, 0);
    for (std::thread &one : others)
        one.join();
    if (error != nullptr)
        std::rethrow_exception(error);
}

} // namespace command
