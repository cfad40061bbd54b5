#include "ftpctl/job.h"

#include <cerrno>
#include <netdb.h>
#include <sys/socket.h>

int job_drive(driver &driver, const job_t &job, ftpclient_outcome_t *outcome)
{
    const driver::finished_t run = driver.run(ftpclient_begin_run, job.kind, job.request.get());
    const errno_kept kept;
    ftpclient_call_outcome(run.call.get(), outcome, sizeof *outcome);
    return run.code;
}

// Connecting a datagram socket only selects the route.
static bool has_route(const addrinfo &address)
{
    const descriptor probe(socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return !probe || connect(probe.get(), address.ai_addr, address.ai_addrlen) == 0 ||
           (errno != ENETUNREACH && errno != EHOSTUNREACH);
}

// False when this device knows no route to any address of the host. Sends nothing, but looks the name up,
// which may take seconds. True when the name is not found: then nothing is known.
static bool route_exists(const server_t &server)
{
    const bool is_literal = server.host.starts_with('[') && server.host.ends_with(']');
    const std::string name = is_literal ? server.host.substr(1, server.host.size() - 2) : server.host;
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(name.c_str(), std::to_string(server.port).c_str(), &wanted, &found) != 0)
        return true;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const addrinfo *address = found; address != nullptr; address = address->ai_next) {
        if (has_route(*address))
            return true;
    }
    return false;
}

// libcurl reports the same for a port without a listener and for a host without a route.
static bool lacks_route(const job_t &job, const ftpclient_outcome_t &outcome)
{
    return outcome.cause == FTPCLIENT_CAUSE_NOBODY && !route_exists(job.proxy ? *job.proxy : job.url);
}

void job_run(driver &driver, const job_t &job, report_t &report)
{
    ftpclient_outcome_t outcome = {};
    const int code = job_drive(driver, job, &outcome);
    if (lacks_route(job, outcome))
        outcome.cause = FTPCLIENT_CAUSE_UNREACHABLE;
    const failure why = job_failure(driver.options(), job, code, outcome);
    report.job = job.kind;
    report.outcome = outcome;
    if (code != FTPCLIENT_OK)
        throw failure(why);
}

void job_start(driver &driver, const job_t &job)
{
    const auto [code, call] = driver.run(ftpclient_begin_start, job.kind, job.request.get());
    if (code != FTPCLIENT_OK)
        throw job_failure(driver.options(), job, code, {});
}
