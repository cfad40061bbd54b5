#include "tools/jobs.h"

#include "tools/deadline.h"
#include "tools/exchange.h"
#include "tools/failure.h"
#include "tools/interrupts.h"
#include "tools/job_run.h"
#include "tools/json.h"
#include "tools/output.h"
#include "tools/password.h"
#include "tools/request.h"
#include "tools/result_names.h"
#include "tools/resume.h"
#include "tools/text.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/stat.h>

using std::chrono::steady_clock;

namespace
{

transfer_request_t request_from(control_command command, const options_t &options)
{
    const url_t url = url_parse(options.url);
    transfer_request_t request = request_build(command, options, url);
    if (request_needs_password(options, url))
        request_set_password(
            request, password_find(options.password_file, request_user(options, url) + "@" + url.host));
    else if (!options.password_file.empty())
        throw failure(STATUS_USAGE, "--password-file: needs a user");
    return request;
}

// Runs one job to its end. A failed one ends the command.
exec_info_t run(const options_t &options, control_command command, const transfer_request_t &request,
                const deadline_t &deadline)
{
    const state_reply_t state = job_run(options, command, request, deadline);
    if (options.json && (state.module_info.result != FTPCD_ERR_NONE || command != COMMAND_DL_FILE_INFO))
        output_line(json_job(state));
    job_check(state, deadline);
    return state.exec_info;
}

int transfer(const options_t &options, control_command command, const transfer_request_t &request,
             const deadline_t &deadline)
{
    if (options.no_wait) {
        job_start(options, command, request);
        if (options.json)
            output_line(json_reply({}));
        return STATUS_DONE;
    }
    const exec_info_t info = run(options, command, request, deadline);
    if (!options.quiet && !options.json)
        output_line((command == COMMAND_UPLOAD ? options.url : options.file) + ": " + text_outcome(info));
    return STATUS_DONE;
}

file_info_reply_t look_up(const options_t &options, const transfer_request_t &request,
                          const deadline_t &deadline)
{
    run(options, COMMAND_DL_FILE_INFO, request, deadline);
    return exchange<file_info_reply_t>(options.socket, COMMAND_GET_FILE_INFO);
}

int64_t local_size(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        throw failure(STATUS_LOCAL, path + ": " + strerror(errno));
    return status.st_size;
}

void say(const options_t &options, const std::string &line)
{
    if (!options.quiet && !options.json)
        output_line(line);
}

} // namespace

int job_get(const options_t &options)
{
    const transfer_request_t request = request_from(COMMAND_DOWNLOAD, options);
    interrupts_catch();
    return transfer(options, COMMAND_DOWNLOAD, request, deadline_t(options.timeout()));
}

int job_put(const options_t &options)
{
    transfer_request_t request = request_from(COMMAND_UPLOAD, options);
    interrupts_catch();
    const deadline_t deadline(options.timeout());
    if (!options.resume)
        return transfer(options, COMMAND_UPLOAD, request, deadline);

    const int64_t bytes = local_size(options.file);
    const file_info_reply_t found = look_up(options, request, deadline);
    switch (resume_decide(found.remote_file, bytes)) {
    case resume_t::DONE:
        if (options.json)
            output_line(json_file_info(found));
        say(options, options.url + ": all " + std::to_string(bytes) + " bytes are there already");
        return STATUS_DONE;
    case resume_t::APPEND:
        say(options, "resuming behind " + std::to_string(found.remote_file.size) + " of " +
                         std::to_string(bytes) + " bytes");
        request.resume = 1;
        break;
    case resume_t::WHOLE:
        break;
    }
    return transfer(options, COMMAND_UPLOAD, request, deadline);
}

int job_info(const options_t &options)
{
    const transfer_request_t request = request_from(COMMAND_DL_FILE_INFO, options);
    interrupts_catch();
    const file_info_reply_t found = look_up(options, request, deadline_t(options.timeout()));
    if (options.json)
        output_line(json_file_info(found));
    if (found.remote_file.exists == 0)
        throw failure(STATUS_NO_FILE, text_remote_file(options.url, found.remote_file));
    say(options, text_remote_file(options.url, found.remote_file));
    return STATUS_DONE;
}

int job_ping(const options_t &options)
{
    const auto before = steady_clock::now();
    const auto reply = exchange<reply_t>(options.socket, COMMAND_NONE);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - before);
    if (options.json)
        output_line(json_reply(reply));
    say(options, "the daemon answers after " + std::to_string(took.count()) +
                     " ms; its last start of a job gave " + result_name(reply.detail) + " (" +
                     std::to_string(reply.detail) + ")");
    return STATUS_DONE;
}

int job_state(const options_t &options)
{
    const state_reply_t state = job_state_of(options);
    output_line(options.json ? json_state(state) : text_state(state.module_info, state.exec_info));
    return STATUS_DONE;
}

int job_cancel(const options_t &options)
{
    const cancel_reply_t reply = job_stop(options);
    if (options.json)
        output_line(json_cancel(reply));
    if (reply.reply.result != 0)
        job_fail(reply.reply.detail);
    say(options, std::string("cancelled: ") + text_job_kind(reply.exec));
    return STATUS_DONE;
}
