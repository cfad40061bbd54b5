// An entry of the queue: one file and the place to upload it to.
//
//   add      -> queued    to be sent as soon as it is its turn
//   queued   -> sending   -> arrived -> done
//   sending  -> waiting   after a failure that may pass; tried again after a pause
//   sending  -> failed    after a failure that cannot pass, the last try, or the expiry; `retry` queues it
//   hold     -> held      until `release` queues it
//
// "arrived": the server has the whole file, and the local file is still to be deleted or moved.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The database stores these numbers.
enum class state_t { QUEUED = 0, WAITING = 1, HELD = 2, SENDING = 3, ARRIVED = 4, DONE = 5, FAILED = 6 };

// What happens to the local file when it has arrived. The database stores these numbers.
enum class after_t { KEEP = 0, DELETE = 1, MOVE = 2 };

// Where to upload to, and how. Paths of files are absolute.
struct target_t {
    std::string url;  // of the remote file; with a profile, relative to the profile's
    std::string user; // "" where the URL or the profile names it
    std::string password_file;
    std::string pin;
    std::string proxy;
    std::string proxy_password_file;
    bool active = false;
    std::string profile;  // its name (ftpctl/profile.h), read at each try; "": none
    std::string profiles; // the folder of profiles

    // The URL for people: "PROFILE:dir/file" with a profile.
    std::string shown_url() const { return profile.empty() ? url : profile + ":" + url; }
};

struct entry_t {
    int64_t id = 0;
    state_t state = state_t::QUEUED;
    int64_t priority = 0;     // higher ones first
    int64_t added_s = 0;      // seconds since 1970, as all times here
    int64_t not_before_s = 0; // 0: at once
    int64_t expires_s = 0;    // 0: never
    int64_t tries_most = 0;   // 0: no limit
    int64_t tries = 0;        // that have failed
    std::string local;        // the producer's file
    std::string copy;         // the file in the spool that is sent in its place; "": none
    std::string original;     // with a copy: the identity of `local` then (file_identity.h)
    int64_t size_bytes = 0;   // when it was added
    target_t target;
    after_t after = after_t::KEEP;
    std::string move_to; // the folder
    bool urged = false;  // `retry`: do not wait for the end of a pause

    // The remote file is the beginning of the file with this `identity`: the rest may be appended.
    bool resumable = false;
    std::string identity; // of the file at the start of the last try
    std::string place;    // where the last try sent it; the profile may have changed since

    int64_t ended_s = 0;
    std::string error;   // a name of ftpctl's exit statuses; "": none
    std::string message; // how the last try ended, or what could not be done with the local file

    // The file that is sent.
    const std::string &source() const { return copy.empty() ? local : copy; }
};

constexpr size_t STATE_COUNT = 7;

// "queued" and so on: constants. state_of() gives nothing for an unknown name.
const char *state_name(state_t state);
std::optional<state_t> state_of(std::string_view name);
// "keep", "delete", "move".
const char *after_name(after_t after);
