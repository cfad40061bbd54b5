#include "local_file.h"

#include "require.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

written_file_t::written_file_t(size_t room_bytes)
    : room_bytes_(room_bytes), stream_(fopencookie(this, "w", {nullptr, cb_take, nullptr, nullptr}))
{
    require(stream_ != nullptr, "there is a file to write");
    setvbuf(stream_, nullptr, _IONBF, 0); // without a buffer, so that writes arrive at once
}

written_file_t::~written_file_t() { fclose(stream_); }

ssize_t written_file_t::cb_take(void *self, const char *data, size_t size)
{
    auto *file = static_cast<written_file_t *>(self);
    const size_t taken = std::min(size, file->room_bytes_ - file->content_.size());
    file->content_.append(data, taken);
    if (taken < size)
        errno = ENOSPC;
    return static_cast<ssize_t>(taken); // the C library takes less than requested as a failure
}

read_file_t::read_file_t(size_t size_bytes, size_t broken_at)
    : is_broken_(broken_at < size_bytes),
      stream_(fopencookie(this, "r", {cb_give, nullptr, nullptr, nullptr}))
{
    require(stream_ != nullptr, "there is a file to read");
    for (size_t i = 0; i < std::min(size_bytes, broken_at); i++)
        content_ += static_cast<char>(i * 7 / 3);
}

read_file_t::~read_file_t() { fclose(stream_); }

std::string_view read_file_t::take(size_t size)
{
    const std::string_view next = std::string_view(content_).substr(taken_, size);
    taken_ += next.size();
    if (next.size() < size && is_broken_)
        has_failed_ = true;
    return next;
}

ssize_t read_file_t::cb_give(void *self, char *buffer, size_t size)
{
    auto *file = static_cast<read_file_t *>(self);
    const size_t given = std::min(size, file->content_.size() - file->given_);
    if (given == 0 && file->is_broken_) {
        errno = EIO;
        return -1;
    }
    memcpy(buffer, file->content_.data() + file->given_, given);
    file->given_ += given;
    return static_cast<ssize_t>(given);
}
