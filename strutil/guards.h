// RAII owners of resources: each releases its resource at the end of the scope and preserves errno. The
// header depends on nothing else here, so any folder may include it.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <unistd.h>
#include <utility>

// Keeps errno as it was, and gives its value.
struct errno_kept {
    const int value = errno;
    errno_kept() = default;
    ~errno_kept() { errno = value; }
    errno_kept(const errno_kept &) = delete;
    errno_kept &operator=(const errno_kept &) = delete;
};

// Memory from malloc, released with free; heap_string for a NUL-terminated string.
struct heap_free {
    void operator()(void *block) const { free(block); }
};
template <typename T> using heap_ptr = std::unique_ptr<T, heap_free>;
using heap_string = heap_ptr<char>;
using heap_block = heap_ptr<void>;

// A handle that the function CLOSE closes; NONE means no handle. Only close() reports whether closing failed;
// it needs a CLOSE that returns int.
template <typename Handle, Handle NONE, auto CLOSE> class closing_owner
{
public:
    explicit closing_owner(Handle handle = NONE) : handle_(handle) {}
    closing_owner(closing_owner &&other) noexcept : handle_(other.release()) {}
    // Swaps: `other` closes the handle that this one held.
    closing_owner &operator=(closing_owner &&other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~closing_owner()
    {
        const errno_kept kept;
        if (*this)
            CLOSE(release());
    }

    // The handle, which stays owned; NONE without one.
    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != NONE; }

    // Gives up ownership and returns the handle.
    Handle release() { return std::exchange(handle_, NONE); }

    // Closes the handle now. Returns the result of CLOSE, with its errno; 0 when there is nothing to close.
    int close() { return *this ? CLOSE(release()) : 0; }

private:
    Handle handle_;
};

using descriptor = closing_owner<int, -1, ::close>;
using file_stream = closing_owner<FILE *, nullptr, fclose>;

inline sigset_t signal_set(std::initializer_list<int> numbers)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers)
        sigaddset(&set, number);
    return set;
}

// Blocks signals during its lifetime, for this thread and the threads it starts.
class signals_blocked
{
public:
    explicit signals_blocked(const sigset_t &signals) { pthread_sigmask(SIG_BLOCK, &signals, &before_); }
    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_blocked(const signals_blocked &) = delete;
    signals_blocked &operator=(const signals_blocked &) = delete;

    // The signals that were blocked before.
    const sigset_t &before() const { return before_; }

private:
    sigset_t before_;
};
