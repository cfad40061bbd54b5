// Files that must be on the disk, or gone.
#pragma once

#include <functional>
#include <string>
#include <utility>

// After it what was made, renamed or removed in the folder is on the disk. Returns false, with errno, when
// that could not be done. Blocks on the disk.
bool disk_sync_folder(const std::string &folder);

// After it the content of a file that this process may read is on the disk. As disk_sync_folder().
bool disk_sync_content(const std::string &path);

// As rename(), but never replaces anything: -1 with EEXIST then.
int disk_move(const std::string &from, const std::string &to);

// Moves to the first free one of the names of 1 to DISK_NAMES_MOST. Returns it, or "", with errno.
constexpr int DISK_NAMES_MOST = 1000;
std::string disk_move_to_free_name(const std::string &from, const std::function<std::string(int)> &name_of);

// Owns a file that is made step by step: removes it at the end of the scope unless it is kept.
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
