#include "scheduler.h"

#include "orders.h"
#include "support/not_copied.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <pthread.h>
#include <semaphore.h>
#include <utility>
#include <vector>

extern "C" {
int __real_pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*function)(void *),
                          void *argument);
int __real_pthread_join(pthread_t id, void **result);
int __real_pthread_detach(pthread_t id);
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
}

namespace
{

constexpr int NOBODY = -1;
constexpr size_t MOST_TURNS = 20000; // in one run; far more than any run needs

struct mutex_t {
    int owner = NOBODY;
    int depth = 0;
};

enum class state_t { ready, wants_lock, joins, waits_for_all, ended };

struct thread_t : not_copied {
    int number = 0; // in threads_
    pthread_t id = {};
    sem_t turn;
    state_t state = state_t::ready;
    mutex_t *wanted = nullptr;             // in state wants_lock
    const thread_t *joined_with = nullptr; // in state joins
    size_t seen = 0;                       // a hash of its place and what it saw
    bool given_up = false;                 // joined or detached
    void *(*function)(void *) = nullptr;
    void *argument = nullptr;

    thread_t() { sem_init(&turn, 0, 0); }
    ~thread_t() { sem_destroy(&turn); }
};

// Kept between runs.
const program_t *program_;
orders_t orders_;
std::vector<pthread_mutex_t *> mutexes_in_order_;

// This run.
bool running_;
std::vector<std::unique_ptr<thread_t>> threads_; // 0 is the caller of explore
std::map<pthread_mutex_t *, mutex_t> mutexes_;
bool exploring_;
size_t turns_;
int joined_count_;
int detached_count_;
int next_start_error_;

thread_local int self_ = NOBODY;

size_t mixed(size_t hash, size_t value) { return (hash ^ value) * 0x9E3779B97F4A7C15U + (hash >> 29); }

thread_t &self() { return *threads_[static_cast<size_t>(self_)]; }

bool all_workers_ended()
{
    for (size_t i = 1; i < threads_.size(); i++)
        if (threads_[i]->state != state_t::ended)
            return false;
    return true;
}

bool can_go_on(const thread_t &thread)
{
    switch (thread.state) {
    case state_t::ready:
        return true;
    case state_t::wants_lock:
        return thread.wanted->owner == NOBODY;
    case state_t::joins:
        return thread.joined_with->state == state_t::ended;
    case state_t::waits_for_all:
        return all_workers_ended();
    case state_t::ended:
        return false;
    }
    return false;
}

[[noreturn]] void stuck(const char *how)
{
    constexpr const char *NAMES[] = {"can go on", "waits for a lock", "waits for a thread's end",
                                     "waits for all threads", "has ended"};
    fprintf(stderr, "%s after: %s\n", how, program_->story().c_str());
    for (size_t i = 0; i < threads_.size(); i++)
        fprintf(stderr, "thread %zu %s\n", i, NAMES[static_cast<size_t>(threads_[i]->state)]);
    abort();
}

size_t fingerprint()
{
    size_t hash = mixed(program_->memory(), std::hash<std::string>{}(program_->story()));
    for (const auto &thread : threads_) {
        hash = mixed(hash, static_cast<size_t>(thread->state));
        hash = mixed(hash, thread->seen);
        hash = mixed(hash, thread->given_up ? 1 : 0);
    }
    for (const auto &[address, mutex] : mutexes_)
        hash = mixed(hash, static_cast<size_t>(mutex.owner * 16 + mutex.depth));
    return hash;
}

// The threads that can go on, first the one whose turn it was.
std::vector<size_t> candidates()
{
    std::vector<size_t> found;
    for (size_t i = 0; i < threads_.size(); i++) {
        const size_t thread = (static_cast<size_t>(self_) + i) % threads_.size();
        if (can_go_on(*threads_[thread]))
            found.push_back(thread);
    }
    return found;
}

// Everyone in turn.
size_t next_in_turn(const std::vector<size_t> &able)
{
    return able.size() > 1 && able.front() == static_cast<size_t>(self_) ? able[1] : able.front();
}

size_t decide()
{
    const std::vector<size_t> able = candidates();
    if (able.empty())
        stuck("no thread can go on");
    if (++turns_ > MOST_TURNS)
        stuck("it does not end");
    if (!exploring_)
        return next_in_turn(able);
    if (able.size() == 1)
        return able.front();
    const int chosen = orders_.choose(able.size(), fingerprint);
    if (chosen == -2)
        stuck("it went another way than the last time");
    exploring_ = chosen >= 0;
    return exploring_ ? able[static_cast<size_t>(chosen)] : next_in_turn(able);
}

// Lets another thread go on, if it is chosen. The caller has set its own state.
void pass_on()
{
    const size_t next = decide();
    if (next == static_cast<size_t>(self_))
        return;
    thread_t &left = self();
    const bool is_over = left.state == state_t::ended;
    sem_post(&threads_[next]->turn);
    if (!is_over)
        while (sem_wait(&left.turn) != 0) {}
}

void wait_as(state_t state)
{
    self().state = state;
    self().seen = mixed(self().seen, 1); // another place, even if nothing has changed
    pass_on();
    self().state = state_t::ready;
}

// Until its turn a thread must not touch shared data: threads_ may be growing.
void *run_thread(void *own)
{
    auto *thread = static_cast<thread_t *>(own);
    while (sem_wait(&thread->turn) != 0) {}
    self_ = thread->number;
    thread->function(thread->argument);
    thread->state = state_t::ended;
    pass_on();
    return nullptr;
}

void run_once()
{
    threads_.clear();
    threads_.push_back(std::make_unique<thread_t>());
    mutexes_.clear();
    orders_.begin();
    turns_ = 0;
    joined_count_ = detached_count_ = next_start_error_ = 0;
    exploring_ = running_ = true;
    self_ = 0;
    program_->run();
    program_->abandon();
    exploring_ = false;
    wait_as(state_t::waits_for_all);
    running_ = false;
    self_ = NOBODY;
    for (size_t i = 1; i < threads_.size(); i++)
        __real_pthread_join(threads_[i]->id, nullptr);
}

thread_t *find_thread(pthread_t id)
{
    for (size_t i = 1; i < threads_.size(); i++)
        if (!threads_[i]->given_up && pthread_equal(threads_[i]->id, id) != 0)
            return threads_[i].get();
    return nullptr;
}

// NULL for any mutex but the engines'.
mutex_t *find_mutex(pthread_mutex_t *mutex)
{
    const auto found = running_ && self_ != NOBODY ? mutexes_.find(mutex) : mutexes_.end();
    return found == mutexes_.end() ? nullptr : &found->second;
}

} // namespace

explored_t explore(const program_t &program, const std::function<bool()> &enough)
{
    program_ = &program;
    orders_ = {};
    explored_t explored;
    do {
        run_once();
        explored.runs++;
    } while (!enough() && orders_.go_back());
    explored.states = orders_.states();
    return explored;
}

void scheduler_yield() { wait_as(state_t::ready); }

void scheduler_at(const std::string &place) { self().seen = std::hash<std::string>{}(place); }

pthread_mutex_t *scheduler_mutex(size_t n)
{
    return n < mutexes_in_order_.size() ? mutexes_in_order_[n] : nullptr;
}

bool scheduler_all_workers_ended() { return all_workers_ended(); }
int scheduler_started_count() { return static_cast<int>(threads_.size()) - 1; }
int scheduler_joined_count() { return joined_count_; }
int scheduler_detached_count() { return detached_count_; }
void scheduler_fail_next_start(int error) { next_start_error_ = error; }

// --- Replacements for the C library's functions

extern "C" {
int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*function)(void *),
                          void *argument)
{
    if (self_ == NOBODY)
        return __real_pthread_create(id, attributes, function, argument);
    if (next_start_error_ != 0)
        return std::exchange(next_start_error_, 0);
    auto thread = std::make_unique<thread_t>();
    thread->function = function;
    thread->argument = argument;
    thread->number = static_cast<int>(threads_.size());
    thread_t *started = thread.get();
    threads_.push_back(std::move(thread));
    const int rc = __real_pthread_create(&started->id, attributes, run_thread, started);
    if (rc != 0)
        stuck("the machine gives no thread");
    *id = started->id;
    scheduler_yield();
    return 0;
}

// run_once makes the real join.
int __wrap_pthread_join(pthread_t id, void **result)
{
    if (self_ == NOBODY)
        return __real_pthread_join(id, result);
    thread_t *thread = find_thread(id);
    if (thread == nullptr)
        stuck("a thread is joined that is gone");
    self().joined_with = thread;
    wait_as(state_t::joins);
    thread->given_up = true;
    joined_count_++;
    return 0;
}

int __wrap_pthread_detach(pthread_t id)
{
    if (self_ == NOBODY)
        return __real_pthread_detach(id);
    thread_t *thread = find_thread(id);
    if (thread == nullptr)
        stuck("a thread is detached that is gone");
    thread->given_up = true;
    detached_count_++;
    return 0;
}

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes)
{
    if (running_ && attributes != nullptr) {
        mutexes_[mutex] = {};
        if (std::ranges::find(mutexes_in_order_, mutex) == mutexes_in_order_.end())
            mutexes_in_order_.push_back(mutex);
    }
    return __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    mutex_t *known = find_mutex(mutex);
    if (known == nullptr)
        return __real_pthread_mutex_lock(mutex);
    if (known->owner != self_) {
        self().wanted = known;
        wait_as(state_t::wants_lock);
        known->owner = self_;
    }
    const int rc = __real_pthread_mutex_lock(mutex);
    if (++known->depth == 1)
        program_->entered(self_);
    return rc;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    mutex_t *known = find_mutex(mutex);
    if (known == nullptr)
        return __real_pthread_mutex_unlock(mutex);
    if (known->depth == 1)
        self().seen = mixed(self().seen, program_->leaving(self_));
    if (--known->depth == 0)
        known->owner = NOBODY;
    return __real_pthread_mutex_unlock(mutex);
}
}
