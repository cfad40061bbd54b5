// The outcome of a command: one line for people, or one JSON object.
#pragma once

#include "ftpctl/failure.h"
#include "ftpctl/options.h"
#include "ftpctl/server_identity.h"

#include <cstdio>
#include <exception>
#include <optional>
#include <string>

struct report_t {
    std::string command;
    int status = 0;
    std::string message; // one line, without a newline

    // Whatever is known; the rest stays empty.
    std::optional<std::string> local;  // absolute path
    std::optional<std::string> remote; // URL
    int job = FTPCLIENT_NO_JOB;        // ftpclient_job; valid with `outcome`
    std::optional<ftpclient_outcome_t> outcome;
    std::optional<ftpclient_state_t> state;
    std::string server; // HOST:PORT; valid with `identity`
    std::optional<server_identity_t> identity;

    // Print nothing on success: events were the output, or the file itself is.
    bool is_told = false;
    // Print nothing at all: each file had its own report.
    bool is_printed = false;
};

// Runs `part`, a function without arguments, and stores its failure in the report: status and message. Other
// exceptions count as STATUS_LOCAL.
template <typename Part> void report_failures(report_t &report, Part part)
{
    try {
        part();
    } catch (const failure &error) {
        report.status = error.status;
        report.message = error.what();
    } catch (const std::exception &error) {
        report.status = STATUS_LOCAL;
        report.message = error.what();
    }
}

// Writes the bytes to standard output at once, for readers of a pipe. Throws failure when they cannot
// be written.
inline void output(const std::string &bytes)
{
    if (fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || fflush(stdout) != 0)
        throw failure(STATUS_LOCAL, "cannot write to standard output");
}

// The same for the line and a newline.
inline void output_line(const std::string &line) { output(line + "\n"); }

// Prints the report: the line of a failure to standard error, of a success to standard output; with --json an
// object for both. With --quiet a success prints only requested data: state, file, identity. Returns the exit
// status. Throws failure (STATUS_LOCAL) when standard output fails.
int report_print(const options_t &options, const report_t &report);

// The same, but throws nothing: failed output is reported on standard error.
int report_finish(const options_t &options, const report_t &report);

// Applies the profile (profile.h), runs the command, prints its report and returns the exit status. Throws
// nothing.
int report_run(const options_t &given);
