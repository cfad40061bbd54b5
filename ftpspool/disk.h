// Durable changes to files, and moves that replace nothing.
#pragma once

#include <functional>
#include <string>
#include <utility>

// Makes what was created, renamed or removed in the folder durable. False, with errno, if that fails. Blocks
// on the disk.
bool disk_sync_folder(const std::string &folder);

// The same for the content of a file that this process may read.
bool disk_sync_content(const std::string &path);

// As rename(), but fails with EEXIST instead of replacing anything.
int disk_move(const std::string &from, const std::string &to);

// Moves to the first free name of name_of(1) to name_of(DISK_NAMES_MOST). Returns that name, or "" with
// errno.
constexpr int DISK_NAMES_MOST = 1000;
std::string disk_move_to_free_name(const std::string &from, const std::function<std::string(int)> &name_of);

// Removes an unfinished file at the end of the scope unless keep() was called.
class unfinished_file_t
{
public:
    explicit unfinished_file_t(std::string path = "") : path_(std::move(path)) {}
    unfinished_file_t(unfinished_file_t &&other) noexcept : path_(std::exchange(other.path_, "")) {}
    unfinished_file_t &operator=(unfinished_file_t &&other) noexcept
    {
        std::swap(path_, other.path_);
        return *this;
    }
    ~unfinished_file_t();

    void keep() { path_.clear(); }

private:
    std::string path_;
};
