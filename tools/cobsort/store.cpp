#include "cobsort/store.h"

#include "cobsort/engine.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <system_error>

namespace cobsort {

namespace {

constexpr size_t frontmost = size_t{1} << 20;  // bytes that one session sorts alone
constexpr size_t batchbytes = size_t{1} << 18; // that are handed over at once
constexpr size_t queued = 2;                   // batches of each stream and session that wait

// Signals are the program's own thread's.
class quietsignals {
  public:
    quietsignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~quietsignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

  private:
    sigset_t before;
};

std::string_view viewed(const std::vector<unsigned char> &records) {
    return {reinterpret_cast<const char *>(records.data()), records.size()};
}

} // namespace

store::store(const keyplan &plan, size_t recordlength)
    : order(plan), length(recordlength), whole(plan.ahead() + recordlength) {}

store::~store() {
    {
        const std::lock_guard hold(lock);
        stopping = true;
        changed.notify_all();
    }
    for (std::thread &one : threads)
        one.join();
}

size_t store::batchrecords() const {
    return std::max<size_t>(batchbytes / whole, 1);
}

bool store::put(const unsigned char *record) {
    if (front.size() + whole > (threads.empty() ? frontmost : batchbytes) && !front.empty()) {
        start();
        flush();
    }
    const size_t at = front.size();
    front.resize(at + whole);
    std::memcpy(front.data() + at + order.ahead(), record, length);
    if (!order.encode(record, sequence, front.data() + at)) {
        front.resize(at);
        return false;
    }
    ++sequence;
    return true;
}

bool store::put(const filerows &rows) {
    if (threads.empty() && rows.count <= (frontmost - std::min(front.size(), frontmost)) / whole)
        return putfront(rows);
    start();
    flush();
    const size_t batch = batchrecords();
    for (uint64_t skipped = 0; skipped < rows.count; skipped += batch) {
        const auto count = static_cast<size_t>(std::min<uint64_t>(batch, rows.count - skipped));
        submit({{}, rows, skipped, count, sequence + skipped});
    }
    std::unique_lock hold(lock);
    await(hold, [&] { return unfinished == 0; });
    sequence += rows.count;
    return !unclean;
}

bool store::putfront(const filerows &rows) {
    bytes read;
    const size_t before = front.size(), count = static_cast<size_t>(rows.count);
    if (!readrows(rows, 0, count, read) ||
        !convert(order, rows.form, read.data(), count, sequence, front)) {
        front.resize(before);
        return false;
    }
    sequence += count;
    return true;
}

void store::end() {
    if (threads.empty()) {
        listfront();
        return std::sort(sorted.begin(), sorted.end(),
                         [&](const auto *a, const auto *b) { return order.compare(a, b) < 0; });
    }
    flush();
    {
        const std::lock_guard hold(lock);
        ended = true;
        changed.notify_all();
    }
    for (const auto &one : streams)
        enter(one.get());
}

void store::endunsorted() {
    if (threads.empty())
        return listfront();
    end();
    const settings how = settingsfor(whole);
    again.emplace(order.byarrival(), whole, how.memory, how.folder);
    while (const unsigned char *record = getmerged())
        again->put({reinterpret_cast<const char *>(record), whole});
    again->end();
}

void store::listfront() {
    for (size_t at = 0; at < front.size(); at += whole)
        sorted.push_back(front.data() + at);
}

const unsigned char *store::get() {
    if (again)
        return getagain();
    if (!threads.empty())
        return getmerged();
    return next < sorted.size() ? sorted[next++] : nullptr;
}

const unsigned char *store::getagain() {
    if (block.empty())
        block = again->get();
    if (block.empty())
        return nullptr;
    const char *record = block.data();
    block.remove_prefix(whole);
    return reinterpret_cast<const unsigned char *>(record);
}

// ---- towards the sessions

void store::start() {
    if (!threads.empty())
        return;
    if (!loadengine())
        throw notstarted("libkvern.so.1 cannot be loaded");
    const settings how = settingsfor(whole);
    streams.reserve(how.sessions);
    threads.reserve(how.sessions);
    const quietsignals quiet;
    while (threads.size() < how.sessions)
        try {
            streams.push_back(std::make_unique<stream>());
            threads.emplace_back([this, how, out = streams.back().get()] { work(how, *out); });
        } catch (const std::system_error &) { // fewer do, too
            streams.pop_back();
            if (threads.empty())
                throw notstarted("no thread can be had");
            return;
        }
}

void store::flush() {
    if (!front.empty())
        submit({std::exchange(front, {}), std::nullopt, 0, 0, 0});
    front.reserve(std::max(batchbytes, whole));
}

template <typename Ready>
void store::await(std::unique_lock<std::mutex> &hold, Ready ready) {
    changed.wait(hold, [&] { return failure != nullptr || ready(); });
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

void store::submit(task one) {
    std::unique_lock hold(lock);
    await(hold, [&] { return tasks.size() < queued * streams.size(); });
    tasks.push_back(std::move(one));
    ++unfinished;
    changed.notify_all();
}

std::optional<store::task> store::nexttask() {
    std::unique_lock hold(lock);
    changed.wait(hold, [&] { return stopping || ended || !tasks.empty(); });
    if (stopping || tasks.empty())
        return std::nullopt;
    task one = std::move(tasks.front());
    tasks.pop_front();
    changed.notify_all();
    return one;
}

void store::finished(bool clean) {
    const std::lock_guard hold(lock);
    unclean = unclean || !clean;
    --unfinished;
    changed.notify_all();
}

bool store::perform(task &one, sorter &into) {
    if (one.rows) {
        bytes read;
        if (!readrows(*one.rows, one.skipped, one.count, read) ||
            !convert(order, one.rows->form, read.data(), one.count, one.first, one.records))
            return false;
    }
    into.put(viewed(one.records));
    return true;
}

void store::work(const settings &how, stream &out) {
    try {
        sorter own(order, whole, how.memory, how.folder);
        while (std::optional<task> one = nexttask())
            finished(perform(*one, own));
        own.end();
        drain(own, out);
    } catch (...) {
        const std::lock_guard hold(lock);
        if (failure == nullptr)
            failure = std::current_exception();
        changed.notify_all();
    }
}

// ---- back

void store::drain(sorter &from, stream &out) {
    bytes batch;
    for (std::string_view part = from.get(); !part.empty(); part = from.get()) {
        batch.insert(batch.end(), part.begin(), part.end());
        if (batch.size() >= batchbytes && !pushed(out, std::exchange(batch, {})))
            return;
    }
    if (!batch.empty() && !pushed(out, std::move(batch)))
        return;
    const std::lock_guard hold(lock);
    out.ended = true;
    changed.notify_all();
}

bool store::pushed(stream &out, bytes records) {
    std::unique_lock hold(lock);
    changed.wait(hold, [&] { return stopping || out.full.size() < queued; });
    if (stopping)
        return false;
    out.full.push_back(std::move(records));
    changed.notify_all();
    return true;
}

// To the next record of a stream; false: it has none.
bool store::advance(stream &in) {
    in.at += whole;
    if (in.at < in.current.size())
        return true;
    std::unique_lock hold(lock);
    await(hold, [&] { return in.ended || !in.full.empty(); });
    if (in.full.empty())
        return false;
    in.current = std::move(in.full.front());
    in.full.pop_front();
    in.at = 0;
    changed.notify_all();
    return true;
}

// Among the others, where its record stands by its keys.
void store::enter(stream *in) {
    if (!advance(*in))
        return;
    const unsigned char *record = in->current.data() + in->at;
    const auto place = std::find_if(heads.begin(), heads.end(), [&](const stream *other) {
        return order.compare(record, other->current.data() + other->at) < 0;
    });
    heads.insert(place, in);
}

const unsigned char *store::getmerged() {
    if (given != nullptr)
        enter(given);
    given = nullptr;
    if (heads.empty())
        return nullptr;
    given = heads.front();
    heads.erase(heads.begin());
    return given->current.data() + given->at;
}

} // namespace cobsort
