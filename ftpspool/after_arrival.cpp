#include "ftpspool/after_arrival.h"

#include "ftpspool/disk.h"
#include "ftpspool/file_identity.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

// A removal is durable only when the folder is on the disk.
static void sync_folder_of(const std::string &path)
{
    disk_sync_folder(std::filesystem::path(path).parent_path().string());
}

static std::string remove_file(const std::string &path)
{
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        return path + ": could not be deleted: " + strerror(errno);
    sync_folder_of(path);
    return "";
}

// Never replaces a file: appends a number to the name instead.
static std::string move_file(const std::string &path, const std::string &folder)
{
    const std::string first = folder + "/" + std::filesystem::path(path).filename().string();
    const std::string target = disk_move_to_free_name(
        path, [&](int number) { return number == 1 ? first : first + "." + std::to_string(number - 1); });
    if (target.empty())
        return path + ": could not be moved to " + folder + ": " + strerror(errno);
    sync_folder_of(target);
    sync_folder_of(path);
    return "";
}

std::string after_arrival(const entry_t &entry)
{
    std::string note;
    const std::string &identity = entry.copy.empty() ? entry.identity : entry.original;
    const bool is_gone = access(entry.local.c_str(), F_OK) != 0 && errno == ENOENT;
    if (entry.after != after_t::KEEP && !is_gone) {
        if (!file_is_still(entry.local, identity))
            note = entry.local + ": has changed since it was sent, and is kept";
        else if (entry.after == after_t::DELETE)
            note = remove_file(entry.local);
        else
            note = move_file(entry.local, entry.move_to);
    }
    if (!entry.copy.empty())
        unlink(entry.copy.c_str()); // if that fails, the next start sweeps it
    return note;
}
