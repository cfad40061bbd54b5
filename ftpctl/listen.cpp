#include "ftpctl/commands.h"

#include "ftpctl/deadline.h"
#include "ftpctl/event.h"
#include "ftpctl/event_hook.h"
#include "ftpctl/handles.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/statuses.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

static failure socket_failure(const std::string &path, int error)
{
    const std::string why = error == FTPCLIENT_ERR_SYSTEM ? strerror(errno) : ftpclient_strerror(error);
    return {status_of(error, FTPCLIENT_CAUSE_NONE), path + ": " + why};
}

static notices_t open_notices(const std::string &path)
{
    ftpclient_notices_t *notices = nullptr;
    if (const int error = ftpclient_notices_open(path.c_str(), &notices); error != FTPCLIENT_OK)
        throw socket_failure(path, error);
    return notices_t(notices);
}

// Receives and shows a notice; false when none is complete.
static bool tell_next(ftpclient_notices_t *notices, const options_t &options, event_hook &hook)
{
    ftpclient_notice_t notice = {};
    switch (const int error = ftpclient_notices_receive(notices, &notice, sizeof notice, 0)) {
    case FTPCLIENT_OK:
        hook.tell(event_of_notice(notice, time(nullptr)), options);
        return true;
    case FTPCLIENT_ERR_TIMEOUT:
        return false;
    case FTPCLIENT_ERR_PROTOCOL:
        fprintf(stderr, "ftpctl: ignored: not a notice of the daemon\n");
        return false;
    default:
        throw socket_failure(options.notify_socket, error);
    }
}

void command_listen(const options_t &options, report_t &report)
{
    report.is_told = true;
    interrupts_catch();
    const deadline_t deadline(options.timeout);
    const notices_t notices = open_notices(options.notify_socket);
    event_hook hook(options);
    unsigned long seen = 0;
    while (!interrupts_seen() && !deadline.passed() && (options.count == 0 || seen < options.count)) {
        hook.wait(ftpclient_notices_fd(notices.get()), deadline.poll_ms());
        if (tell_next(notices.get(), options, hook))
            seen++;
    }
    if (!hook.finish())
        throw failure(STATUS_EXEC, ""); // each failed command was reported when it ended
    if (seen < options.count && !interrupts_seen())
        throw failure(STATUS_TIMEOUT, "only " + std::to_string(seen) + " of " +
                                          std::to_string(options.count) + " notices came in time");
}
