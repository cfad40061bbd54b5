// All watched folders, as the service sees them.
#pragma once

#include "ftpspool/hot_folder.h"
#include "ftpspool/intake.h"

#include <memory>
#include <string>
#include <vector>

class hot_folders_t
{
public:
    // The store and `events` must outlive this object. Throws failure (STATUS_LOCAL).
    hot_folders_t(const store_t &store, event_output_t &events);

    // Readable when step() has something to do.
    int fd() const { return epoll_.get(); }

    // Takes over watches that were added or removed, and queues some of the new files, without waiting.
    // Reports a missing folder once, and again when it is back. Throws failure when the store does.
    void step(int64_t now_ms);

    // When step() has something to do even if fd() is not readable, on the steady clock; 0: never.
    int64_t wake_ms() const;

private:
    struct hot_t {
        intake_t intake;
        hot_folder_t folder;
        std::string problem; // that was reported
        hot_t(const store_t &store, event_output_t &events, const watch_t &watch, int epoll);
    };
    const store_t &store_;
    event_output_t &events_;
    watches_t watches_;
    descriptor epoll_;
    descriptor mounts_;
    std::vector<std::unique_ptr<hot_t>> hot_; // by the watches' ids

    void notice_watches();
    void tell_problem(hot_t &hot) const;
};
