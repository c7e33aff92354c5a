// The records of one sort: taken in any number, then given back in order.
//
// What comes first stays in memory, and is sorted there where nothing else comes; with more a
// thread with a session is started for each core.  Any record may go to any session, since
// the sequence number in its key keeps the order of equal ones.
//
// One thread calls.  A call throws kvern::error where a session failed and std::bad_alloc;
// after that only the destructor is left.  Where `put` throws notstarted, the store is left
// without the record, as where it is unclean.
#pragma once

#include "cobsort/rows.h"
#include "cobsort/settings.h"
#include "cobsort/sorter.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace cobsort {

// What sessions need is not to be had.
struct notstarted : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class store {
  public:
    // `length` bytes a record of the sort.
    store(const keyplan &order, size_t length);
    ~store();
    store(const store &) = delete;
    store &operator=(const store &) = delete;

    // False: the record is unclean, and not taken.
    bool put(const unsigned char *record);
    // False: one is unclean or cannot be read; some may have been taken.
    bool put(const filerows &rows);
    uint64_t taken() const { return sequence; } // the sequence number of the next record

    // From here on no more is taken.
    void end();
    // The same, and they are given back as they came.
    void endunsorted();
    // The next session record, which stands until the next call; null: that was all.
    const unsigned char *get();

  private:
    using bytes = std::vector<unsigned char>;

    struct task {
        bytes records;                // session records, or where there are
        std::optional<filerows> rows; // some to be read
        uint64_t skipped;             // behind so many
        size_t count;                 // so many
        uint64_t first;               // whose sequence numbers begin with this
    };
    // A worker's sorted records on their way out.
    struct stream {
        std::deque<bytes> full;
        bool ended = false;
        bytes current; // the reader's own
        size_t at = 0;
    };

    const keyplan &order;
    const size_t length, whole;
    uint64_t sequence = 0;
    bytes front; // session records that no session has yet

    std::vector<const unsigned char *> sorted; // where all stayed there
    size_t next = 0;

    std::optional<sorter> again; // by their arrival
    std::string_view block;      // of it

    std::mutex lock;
    std::condition_variable changed;
    std::deque<task> tasks;
    size_t unfinished = 0; // tasks that wait or are being done
    bool ended = false, stopping = false, unclean = false;
    std::exception_ptr failure;
    std::vector<std::thread> threads;
    std::vector<std::unique_ptr<stream>> streams;
    std::vector<stream *> heads; // those that have records, the lowest first,
    stream *given = nullptr;     // but the one whose record was given last

    size_t batchrecords() const;
    bool putfront(const filerows &rows);
    void listfront();
    void start();
    void submit(task one);
    void flush();
    void work(const settings &how, stream &out);
    std::optional<task> nexttask();
    bool perform(task &one, sorter &into);
    void finished(bool clean);
    bool pushed(stream &out, bytes records);
    void drain(sorter &from, stream &out);
    bool advance(stream &in);
    void enter(stream *in);
    const unsigned char *getmerged();
    const unsigned char *getagain();
    template <typename Ready>
    void await(std::unique_lock<std::mutex> &hold, Ready ready);
};

} // namespace cobsort
