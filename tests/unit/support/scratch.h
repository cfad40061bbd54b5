// A temporary directory for a test, and questions about files.
#pragma once

#include "support/not_copied.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct scratch_t : not_copied {
    std::filesystem::path path;
    scratch_t()
    {
        std::string name = (std::filesystem::temp_directory_path() / "unit-test-XXXXXX").string();
        path = mkdtemp(name.data()) == nullptr ? "" : name;
    }
    ~scratch_t()
    {
        std::error_code ignored;
        if (!path.empty())
            std::filesystem::remove_all(path, ignored);
    }
    std::string operator/(const std::string &name) const { return (path / name).string(); }
};

inline std::string content_of(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void fill(const std::filesystem::path &file, const std::string &content)
{
    std::ofstream(file, std::ios::binary) << content;
}

// The names in a directory, sorted.
inline std::vector<std::string> names_in(const std::filesystem::path &directory)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

inline size_t entries_of(const std::filesystem::path &directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}
inline size_t open_descriptors() { return entries_of("/proc/self/fd"); }
inline size_t threads() { return entries_of("/proc/self/task"); }
