#include "ftpspool/hot_folders.h"

#include "ftpspool/wakeups.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/epoll.h>

hot_folders_t::hot_t::hot_t(const store_t &store, event_output_t &events, const watch_t &watch, int epoll)
    : intake(store, events, watch), folder(watch.folder, watch.is_deep, epoll,
                                           [this](const std::string &path) { return intake.offer(path); })
{
}

// inotify does not report that something was mounted over a watched folder. So a change of the list of mounts
// wakes step(), which checks that each path still leads to the folder that is watched.
hot_folders_t::hot_folders_t(const store_t &store, event_output_t &events)
    : store_(store), events_(events), watches_(store), epoll_(epoll_create1(EPOLL_CLOEXEC)),
      mounts_(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC))
{
    if (!epoll_)
        fail_with_errno("epoll");
    epoll_event changed = {};
    changed.events = EPOLLPRI;
    epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, mounts_.get(), &changed);
}

void hot_folders_t::step(int64_t now_ms)
{
    notice_watches();
    for (const std::unique_ptr<hot_t> &hot : hot_) {
        hot->folder.step(now_ms);
        tell_problem(*hot);
    }
}

// Watches are added and removed but never changed, so comparing ids is enough.
void hot_folders_t::notice_watches()
{
    const auto id_of = [](const std::unique_ptr<hot_t> &hot) { return hot->intake.watch().id; };
    const std::vector<int64_t> ids = watches_.ids();
    if (std::ranges::equal(ids, hot_, {}, {}, id_of))
        return;
    std::erase_if(hot_, [&](const std::unique_ptr<hot_t> &hot) {
        return std::ranges::find(ids, id_of(hot)) == ids.end();
    });
    for (const watch_t &watch : watches_.all()) {
        if (hot_.empty() || watch.id > id_of(hot_.back()))
            hot_.push_back(std::make_unique<hot_t>(store_, events_, watch, epoll_.get()));
    }
}

void hot_folders_t::tell_problem(hot_t &hot) const
{
    const std::string &problem = hot.folder.problem();
    if (problem == hot.problem)
        return;
    const watch_t &watch = hot.intake.watch();
    events_.tell_watch(problem.empty() ? "found" : "lost", watch.id, watch.folder, problem);
    hot.problem = problem;
}

int64_t hot_folders_t::wake_ms() const
{
    int64_t first_ms = 0;
    for (const std::unique_ptr<hot_t> &hot : hot_)
        first_ms = earlier(first_ms, hot->folder.wake_ms());
    return first_ms;
}
