// Runs a program one thread at a time and decides which one goes on before every lock and at every sleep,
// start, join and end of a thread. The program is run again and again until every order has been seen. A
// critical section is one step, so threads must use shared data only under a lock; ThreadSanitizer checks
// that.
//
// pthread_create, _join, _detach and mutexes initialised with attributes (the engines') are replaced at link
// time; other mutexes are real.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <pthread.h>
#include <string>

struct program_t {
    std::function<void()> run;      // on thread 0
    std::function<void()> abandon;  // called when thread 0 has ended: the others must now end by themselves
    std::function<size_t()> memory; // a hash of all shared data
    std::function<void(int thread)> entered; // called when a thread has taken its outermost lock
    // Called before it releases that lock; a hash of what the thread can have seen under it.
    std::function<size_t(int thread)> leaving;
    std::function<std::string()> story; // what was seen so far
};

struct explored_t {
    size_t runs = 0;
    size_t states = 0; // with more than one thread able to go on
};

// Runs the program in every order in which its threads can go on; its behaviour must depend on nothing else.
// A run that reaches a known state is finished in one order only. Ends the process, printing the story, if
// no thread can go on or a run does not end. `enough` stops the search early.
explored_t explore(const program_t &program, const std::function<bool()> &enough);

// Lets another thread go on; for fakes of sleeps.
void scheduler_yield();

// The n-th replaced mutex, in the order of their first initialisation; NULL before that.
pthread_mutex_t *scheduler_mutex(size_t n);

// Declares that the calling thread is at this place and that all it will do depends only on the place and the
// shared data. Every loop must call it, or the search never ends.
void scheduler_at(const std::string &place);

// About the threads started in this run.
bool scheduler_all_workers_ended();
int scheduler_started_count();
int scheduler_joined_count();
int scheduler_detached_count();
void scheduler_fail_next_start(int error); // the next pthread_create returns this
