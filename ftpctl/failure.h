// Failures of ftpctl: one line for people and one exit status for scripts.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

// The exit statuses. Scripts depend on these numbers; statuses.cpp has the texts for them.
enum exit_status {
    STATUS_DONE = 0,
    STATUS_LOCAL = 1,       // a local file, a socket or the output failed
    STATUS_USAGE = 2,       // the command line, the URL, or a request that the daemon would refuse
    STATUS_NO_DAEMON = 3,   // no process listens, or it did not answer
    STATUS_BUSY = 4,        // other programs kept the daemon busy for too long
    STATUS_BAD_ANSWER = 5,  // an answer that is not of this protocol
    STATUS_NO_FILE = 6,     // info: there is no such file
    STATUS_NO_RESUME = 7,   // put --resume: the file sizes do not allow it
    STATUS_TIMEOUT = 8,     // --timeout or the limit for silence has passed
    STATUS_EXEC = 9,        // watch, listen: a command of --exec failed
    STATUS_UNKNOWN = 10,    // how the job ended is not known
    STATUS_DENIED = 11,     // this user may not use the control socket
    STATUS_DIFFERENT = 12,  // the remote file has another size after the upload
    STATUS_UNSEEN = 13,     // the daemon sees another file system than this command does
    STATUS_CREDENTIAL = 14, // a credential of systemd cannot be read
    STATUS_JOB = 20,        // + the job's result
    STATUS_CAUSE = 48,      // + the cause of a failed job, from FTPCLIENT_CAUSE_LOGIN on
};

// Ends the command: main prints the program's name and what(), one line without a newline, and exits with the
// status, an exit_status or one computed by status_of().
struct failure : std::runtime_error {
    int status;
    failure(int exit_status, const std::string &line) : std::runtime_error(line), status(exit_status) {}
};

// After a failed system call: STATUS_LOCAL, "<what>: <errno's text>".
[[noreturn]] inline void fail_with_errno(const std::string &what)
{
    throw failure(STATUS_LOCAL, what + ": " + strerror(errno));
}

// STATUS_USAGE: the user asked for something impossible.
[[noreturn]] inline void refuse(const std::string &line) { throw failure(STATUS_USAGE, line); }
