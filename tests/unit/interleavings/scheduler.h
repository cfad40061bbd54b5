// Runs a program whose threads take turns: one at a time, and who goes on is decided here, before every lock,
// at every sleep, start, join and end of a thread. The program is run again and again until every order has
// been seen. A critical section is one step: what threads share they must touch under a lock only, which the
// thread sanitizer watches.
//
// pthread_create, _join, _detach and the mutexes that were initialised with attributes (the engines') are
// replaced at link time; other mutexes stay what they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <pthread.h>
#include <string>

struct program_t {
    std::function<void()> run;      // on thread 0
    std::function<void()> abandon;  // thread 0 has ended: the others must come to their ends by themselves
    std::function<size_t()> memory; // a hash of all that the threads share
    std::function<void(int thread)> entered; // a critical section: the outermost lock was taken
    // It is about to be given back; a hash of what the thread can have seen in the section.
    std::function<size_t(int thread)> leaving;
    std::function<std::string()> story; // what was observed so far
};

struct explored_t {
    size_t runs = 0;
    size_t states = 0; // in which more than one thread could go on
};

// Every order in which the threads can go on. What the program does must depend on nothing else. A run that
// comes to a state that was seen before is brought to its end in one order only: what can follow is known.
// Ends the process, with the story, when no thread can go on or a run does not end. `enough` stops early.
explored_t explore(const program_t &program, const std::function<bool()> &enough);

// A turn may end here: for what stands in for a sleep.
void scheduler_yield();

// The n-th of the mutexes that are watched, in the order of their first initialisation; NULL before that.
pthread_mutex_t *scheduler_mutex(size_t n);

// The thread that calls is at this place of its program, and what it saw on its way is of no more interest:
// what it does next depends on the place and the shared memory alone. Loops must say so, or never end.
void scheduler_at(const std::string &place);

// What has become of the threads that were started.
bool scheduler_all_workers_ended();
int scheduler_started_count();
int scheduler_joined_count();
int scheduler_detached_count();
void scheduler_fail_next_start(int error); // pthread_create's result, once
