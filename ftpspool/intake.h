// Turns each file in a watched folder into an entry, once.
#pragma once

#include "ftpspool/event_output.h"
#include "ftpspool/watches.h"

#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

class intake_t
{
public:
    // The store and `events` must outlive this object.
    intake_t(const store_t &store, event_output_t &events, watch_t watch);

    const watch_t &watch() const { return watch_; }

    // Queues the file at `path`, relative to the watched folder, if it matches the watch and has not been
    // queued before. False: offer it again later, because somebody is still writing it, or it cannot be read
    // or copied now. Throws failure when the store does.
    bool offer(const std::string &path);

private:
    const store_t &store_;
    event_output_t &events_;
    watches_t watches_;
    watch_t watch_;
    std::string swept_;                         // the path checked last; the next check begins after it
    std::map<std::string, std::string> delays_; // why, by path

    bool wants(const std::string &path) const;
    entry_t entry_for(const std::string &path, const struct stat &status) const;
    bool queue(const std::string &path, const struct stat &status);
    std::vector<std::string> some_gone(const std::string &file_system);
    bool take(const std::string &path);
    bool delay(const std::string &path, const std::string &why);
};
