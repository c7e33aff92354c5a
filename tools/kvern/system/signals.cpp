#include "kvern/system/signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#include <sys/time.h>
#endif

namespace command {

namespace {

#if defined(_WIN32)
using threadname = HANDLE;
#else
using threadname = pthread_t;
#endif

struct place {
    std::atomic<bool> taken{false}, ready{false};
    std::atomic<threadname> thread{};
};
std::array<place, 512> places; // more threads than a job may have
std::atomic<bool> wanted{false};
std::atomic<int> waking{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<threadname>::is_always_lock_free); // for use in a handler

size_t enter(threadname thread) {
    for (size_t slot = 0; slot < places.size(); ++slot)
        if (!places[slot].taken.exchange(true)) {
            places[slot].thread = thread;
            places[slot].ready = true;
            return slot;
        }
    return places.size(); // waits as long as it takes
}

// From here on nobody wakes that thread, which may end.
void leave(size_t slot) {
    if (slot == places.size())
        return;
    places[slot].ready = false;
    while (waking != 0)
        std::this_thread::yield();
#if defined(_WIN32)
    CloseHandle(places[slot].thread);
#endif
    places[slot].taken = false;
}

void wakeall(void (*wake)(threadname)) {
    ++waking;
    for (place &one : places)
        if (one.ready)
            wake(one.thread);
    --waking;
}

#if defined(_WIN32)

constexpr DWORD wakeagain = 100; // milliseconds

threadname thisthread() {
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &own, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return own;
}

// Older systems have no call for it: there a wait ends by itself.
void endwait(threadname thread) {
    using cancelling = BOOL(WINAPI *)(HANDLE);
    static const auto cancel = reinterpret_cast<cancelling>(reinterpret_cast<void (*)()>(
        GetProcAddress(GetModuleHandleA("kernel32.dll"), "CancelSynchronousIo")));
    if (cancel != nullptr)
        cancel(thread);
}

// The system calls it on a thread of its own, and again for the next wish to end.  A wish
// may come just before a wait that it should end: they are ended again and again.
BOOL WINAPI onwish(DWORD) {
    if (wanted.exchange(true))
        return TRUE;
    for (;;) {
        wakeall(endwait);
        Sleep(wakeagain);
    }
}

#else

threadname thisthread() {
    return pthread_self();
}

constexpr int wakesignal = SIGURG;        // which says nothing to a process by itself
constexpr suseconds_t wakeagain = 200000; // microseconds

void endwait(threadname thread) {
    pthread_kill(thread, wakesignal);
}

// A signal may come just before a wait that it should end: from the first one on they
// come again and again.
extern "C" void onsignal(int) {
    const int code = errno;
    wanted = true;
    wakeall(endwait);
    const itimerval timer{{0, 0}, {0, wakeagain}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    errno = code;
}

extern "C" void onwake(int) {}

#endif

} // namespace

helpingthread::helpingthread() : slot(enter(thisthread())) {}

helpingthread::~helpingthread() {
    leave(slot);
}

void catchsignals() {
    enter(thisthread());
#if defined(_WIN32)
    SetConsoleCtrlHandler(onwish, TRUE);
#else
    // Not restarted, so that a wait for input ends with the signal.
    struct sigaction action = {};
    action.sa_handler = onwake;
    sigaction(wakesignal, &action, nullptr);
    action.sa_handler = onsignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGALRM, &action, nullptr);
    struct sigaction held = {};
    if (sigaction(SIGHUP, nullptr, &held) == 0 && held.sa_handler != SIG_IGN) // nohup
        sigaction(SIGHUP, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is an error of the write
    std::signal(SIGXFSZ, SIG_IGN); // and so is a file that would become too large
#endif
}

bool stopwanted() {
    return wanted;
}

} // namespace command
