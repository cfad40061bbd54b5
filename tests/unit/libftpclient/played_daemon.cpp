#include "played_daemon.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static constexpr int PASS_MS = 100;
static constexpr int BACKLOG = 5;

played_daemon::played_daemon(rhythm_t rhythm, plan_t plan, stranger_t stranger)
    : rhythm_(rhythm), plan_(std::move(plan)), stranger_(std::move(stranger)),
      listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path().data(), path().size());
    if (bind(listening_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening_, BACKLOG) != 0 || pipe2(end_, O_CLOEXEC) != 0)
        abort();
    thread_ = std::thread([this] { run(); });
}

void played_daemon::stop()
{
    if (!thread_.joinable())
        return;
    close(end_[1]);
    thread_.join();
    close(end_[0]);
    close(listening_);
    for (const int fd : held_)
        close(fd);
}

bool played_daemon::rests(int ms) const
{
    pollfd end = {end_[0], POLLIN, 0};
    return poll(&end, 1, ms) == 0;
}

void played_daemon::run()
{
    while (rests(rhythm_ == REAL ? PASS_MS : 0)) {
        if (rhythm_ == AT_ONCE) {
            pollfd waiting[] = {{listening_, POLLIN, 0}, {end_[0], POLLIN, 0}};
            if (poll(waiting, 2, -1) > 0 && waiting[1].revents != 0)
                return;
        }
        advance();
        if (!stranger_ || !stranger_(*this, commands())) {
            const int fd = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd != -1)
                serve(fd);
        }
        advance();
        noted_ = noted_ || info_.running == 0;
    }
}

void played_daemon::serve(int fd)
{
    message_header_t head = {};
    if (recv(fd, &head, sizeof head, MSG_WAITALL) != sizeof head) {
        close(fd);
        return;
    }
    bytes_t body(head.length);
    if (head.length > 0)
        recv(fd, body.data(), head.length, MSG_WAITALL);
    const bytes_t bytes = silent_ ? bytes_t() : answer(head.command, body);
    {
        const std::lock_guard guard(mutex_);
        served_.push_back(head.command);
        came_.notify_all();
    }
    if (silent_) {
        held_.push_back(fd);
        return;
    }
    send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    close(fd);
}

bytes_t played_daemon::answer(uint32_t command, const bytes_t &body)
{
    switch (command) {
    case COMMAND_GET_STATE:
        return message_bytes(command, bytes_of(state()));
    case COMMAND_CANCEL: {
        const uint32_t code = cancel();
        return message_bytes(command, bytes_of(cancel_reply_t{{code != 0, code}, info_.exec}));
    }
    case COMMAND_GET_FILE_INFO:
        return message_bytes(command, bytes_of(file_info_reply_t{{0, 0}, file_}));
    case COMMAND_NONE:
        return message_bytes(command, bytes_of(reply_t{0, 0}));
    default:
        return answer_start(command, body);
    }
}

bytes_t played_daemon::answer_start(uint32_t command, const bytes_t &body)
{
    transfer_request_t request = {};
    memcpy(&request, body.data(), std::min(body.size(), sizeof request));
    {
        const std::lock_guard guard(mutex_);
        requests_.push_back(request);
    }
    const uint32_t kind = command == COMMAND_DL_FILE_INFO ? uint32_t(JOB_DL_FILE_INFO) : command;
    const played_job_t job = plan_(command, request);
    const uint32_t code = job.refused != 0 ? job.refused : start(kind, job);
    return message_bytes(command, bytes_of(reply_t{code != 0, code}));
}

// As the engines do it: a job that has ended and was not noted is forgotten, and this start with it.
uint32_t played_daemon::start(uint32_t kind, const played_job_t &job)
{
    if (info_.running != 0)
        return FTPCD_ERR_BUSY;
    const bool is_early = !noted_;
    job_ = job;
    began_ = clock_t::now();
    exec_ = {};
    info_ = {is_early ? 0u : 1u, kind, is_early ? uint32_t(FTPCD_ERR_INTERNAL) : 0u, 0};
    if (kind == JOB_DL_FILE_INFO)
        file_.looked_up = file_.exists = 0, file_.size = 0;
    noted_ = is_early;
    return info_.result;
}

uint32_t played_daemon::cancel()
{
    info_.cancel = 1;
    if (info_.running == 0)
        return FTPCD_ERR_NOT_RUNNING;
    end_job(FTPCD_ERR_CANCELED);
    return 0;
}

void played_daemon::let_job_end()
{
    job_.lasts_ms = 0;
    advance();
}

void played_daemon::end_job(uint32_t result)
{
    info_.running = 0;
    info_.result = result;
    if (result == FTPCD_ERR_CANCELED)
        return;
    exec_.transferred_size = job_.transferred < 0 ? job_.total : job_.transferred;
    exec_.curl_code = job_.curl_code;
    exec_.response_code_type = RESPONSE_CODE_FTP;
    exec_.response_code = job_.response_code;
    if (info_.exec == JOB_DL_FILE_INFO)
        file_ = job_.found;
    if (job_.when_done)
        job_.when_done();
}

// The worker: what the job has come to by now.
void played_daemon::advance()
{
    if (info_.running == 0)
        return;
    const std::chrono::duration<double> elapsed = clock_t::now() - began_;
    const double whole = job_.lasts_ms / 1000.0;
    exec_.total_size = job_.total;
    exec_.retry_count = job_.retries;
    exec_.elapsed_time = std::min(elapsed.count(), whole);
    if (elapsed.count() >= whole)
        end_job(job_.result);
    else if (job_.transferred_at_once > 0)
        exec_.transferred_size = job_.transferred_at_once;
    else if (job_.moves)
        exec_.transferred_size = job_.total * elapsed.count() / whole;
}

state_reply_t played_daemon::state() const { return {{0, 0}, info_, exec_}; }

std::vector<uint32_t> played_daemon::commands()
{
    const std::lock_guard guard(mutex_);
    return served_;
}

std::vector<transfer_request_t> played_daemon::requests()
{
    const std::lock_guard guard(mutex_);
    return requests_;
}

bool played_daemon::has_got(uint32_t command, size_t count)
{
    std::unique_lock lock(mutex_);
    return came_.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(10),
                            [&] { return size_t(std::ranges::count(served_, command)) >= count; });
}
