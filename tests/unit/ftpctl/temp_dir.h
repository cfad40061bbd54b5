// A directory for one scope.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class temp_dir
{
public:
    temp_dir()
    {
        char name[] = "/tmp/ftpctl.XXXXXX";
        if (mkdtemp(name) == nullptr)
            abort();
        path_ = name;
    }
    ~temp_dir() { std::filesystem::remove_all(path_); }
    temp_dir(const temp_dir &) = delete;
    temp_dir &operator=(const temp_dir &) = delete;

    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

    // Writes a file; returns its path.
    std::string file(const std::string &name, const std::string &content) const
    {
        std::ofstream(*this / name, std::ios::binary) << content;
        return *this / name;
    }

private:
    std::string path_;
};
