// What the service tells: one line for each event on standard output.
#pragma once

#include "ftpspool/entry.h"

#include <array>
#include <cstdint>
#include <string>

class told_t
{
public:
    explicit told_t(bool is_json) : json_(is_json) {}

    // "7 sending: /data/a -> ftp://host/a", then `more` in brackets if not empty; with JSON {"event":
    // "sending", "time": ..., "id": 7, "local": ..., "url": ..., "message": more}. A closed standard output
    // is ignored.
    void tell(const char *event, const entry_t &entry, const std::string &more) const;

    // "started (3 queued, 1 failed)": the service runs; with JSON {"event": "started", "time": ..., "queued":
    // 3, ...} with the number of entries in each state.
    void tell_start(const std::array<int64_t, 7> &counts) const;

    // The same of a watch: "watch 3 lost: /data/in (why)", with JSON {"event": "lost", "time": ..., "watch": 3,
    // "folder": ..., "message": why}.
    void tell_watch(const char *event, int64_t watch, const std::string &folder,
                    const std::string &why) const;

private:
    bool json_;
};
