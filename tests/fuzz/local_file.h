// Local files that live in memory and can fail at a byte.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

// Takes `room_bytes` bytes, and then no more: the disk is full.
class written_file_t
{
public:
    explicit written_file_t(size_t room_bytes);
    ~written_file_t();
    written_file_t(const written_file_t &) = delete;
    written_file_t &operator=(const written_file_t &) = delete;

    FILE *stream() const { return stream_; }
    const std::string &content() const { return content_; }
    bool is_full() const { return content_.size() == room_bytes_; }

private:
    static ssize_t cb_take(void *self, const char *data, size_t size);
    size_t room_bytes_;
    std::string content_;
    FILE *stream_;
};

// Has `size_bytes` bytes; the one at `broken_at`, if there is one, and those behind it cannot be read.
class read_file_t
{
public:
    read_file_t(size_t size_bytes, size_t broken_at);
    ~read_file_t();
    read_file_t(const read_file_t &) = delete;
    read_file_t &operator=(const read_file_t &) = delete;

    FILE *stream() const { return stream_; }
    // The bytes that a reader of `size` bytes must get next; they count as read from now on.
    std::string_view take(size_t size);
    // A take has met the broken byte.
    bool has_failed() const { return has_failed_; }

private:
    static ssize_t cb_give(void *self, char *buffer, size_t size);
    std::string content_; // up to where it is broken
    bool is_broken_;
    bool has_failed_ = false;
    size_t given_ = 0; // to the C library
    size_t taken_ = 0;
    FILE *stream_;
};
