// Owners of what must be given back: each gives it back at the end of its scope, and keeps errno then. The
// header stands alone: any folder may include it.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <utility>

// Of what malloc gave.
struct heap_free {
    void operator()(void *block) const { free(block); }
};
template <typename T> using heap_ptr = std::unique_ptr<T, heap_free>;
using heap_string = heap_ptr<char>;
using heap_block = heap_ptr<void>;

// Of a handle that a call closes; NONE stands for no handle. Only close() shows whether closing failed.
template <typename Handle, Handle NONE, int (*CLOSE)(Handle)> class closing_owner
{
public:
    explicit closing_owner(Handle handle = NONE) : handle_(handle) {}
    closing_owner(closing_owner &&other) noexcept : handle_(other.release()) {}
    // Swaps: `other` closes what this one held.
    closing_owner &operator=(closing_owner &&other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~closing_owner()
    {
        const int kept = errno;
        close();
        errno = kept;
    }

    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != NONE; }

    // The handle is the caller's from now on.
    Handle release() { return std::exchange(handle_, NONE); }

    // Closes it now. What the call returns, with its errno; 0 when there is nothing to close.
    int close() { return *this ? CLOSE(release()) : 0; }

private:
    Handle handle_;
};

using descriptor = closing_owner<int, -1, ::close>;
using file_stream = closing_owner<FILE *, nullptr, fclose>;
