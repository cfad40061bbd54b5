// A spool in a folder of the test's own, and a file to be queued.
#pragma once

#include "../ftpctl/refused.h"
#include "../ftpctl/temp_dir.h"
#include "ftpspool/store.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int64_t NOW_S = 1700000000;

class Spool : public testing::Test
{
protected:
    temp_dir dir;
    spool_paths_t paths = {dir / "spool"};
    std::string file = dir.file("a", "0123456789");

    store_t open() const { return store_t::open(paths); }

    entry_t entry_to(const std::string &url) const
    {
        entry_t entry;
        entry.local = file;
        entry.size_bytes = 10;
        entry.target.url = url;
        entry.added_s = NOW_S;
        return entry;
    }

    // An entry for that server; returns its id.
    int64_t add(store_t &store, const std::string &server = "one", int64_t priority = 0) const
    {
        entry_t entry = entry_to("ftp://" + server + "/a");
        entry.priority = priority;
        return store.add(entry, server);
    }

    // Writes the profile NAME into the test's folder.
    void profile(const std::string &content, const std::string &name = "cam") const
    {
        fill(dir / (name + ".conf"), content);
    }

    // An entry for a URL below the profile's.
    entry_t entry_by_profile(const std::string &url) const
    {
        entry_t entry = entry_to(url);
        entry.target.profile = "cam";
        entry.target.profiles = dir.path.string();
        return entry;
    }

    static state_t state_of_entry(const store_t &store, int64_t id) { return store.find(id)->state; }
};

inline mode_t mode_of(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}
