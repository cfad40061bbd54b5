// Local files in memory that can fail at a byte.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

// Accepts `room_bytes` bytes, then the disk is full.
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

// Has `size_bytes` bytes; from `broken_at` on they cannot be read.
class read_file_t
{
public:
    read_file_t(size_t size_bytes, size_t broken_at);
    ~read_file_t();
    read_file_t(const read_file_t &) = delete;
    read_file_t &operator=(const read_file_t &) = delete;

    FILE *stream() const { return stream_; }
    // Returns the bytes that a reader of `size` bytes must get next, and counts them as read.
    std::string_view take(size_t size);
    // True once take has reached the broken byte.
    bool has_failed() const { return has_failed_; }

private:
    static ssize_t cb_give(void *self, char *buffer, size_t size);
    std::string content_; // up to the broken byte
    bool is_broken_;
    bool has_failed_ = false;
    size_t given_ = 0; // to the C library
    size_t taken_ = 0;
    FILE *stream_;
};
