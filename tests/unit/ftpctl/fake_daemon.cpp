#include "fake_daemon.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

const bytes_t fake_daemon::HANG = {0xDE, 0xAD};

bytes_t message_bytes(uint32_t command, const bytes_t &body)
{
    const bytes_t head = bytes_of(message_header_t{command, static_cast<uint32_t>(body.size())});
    bytes_t bytes(head.size() + body.size());
    std::ranges::copy(body, std::ranges::copy(head, bytes.begin()).out);
    return bytes;
}

fake_daemon::fake_daemon(answer_t answer, manner_t manner)
    : answer_(std::move(answer)), manner_(manner), listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path().data(), path().size());
    if (bind(listening_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening_, 5) != 0 || pipe2(wake_, O_CLOEXEC) != 0)
        abort();
    thread_ = std::thread([this] { serve(); });
}

fake_daemon::~fake_daemon()
{
    close(wake_[1]);
    thread_.join();
    close(wake_[0]);
    close(listening_);
    for (const int fd : hanging_)
        close(fd);
}

void fake_daemon::serve()
{
    pollfd waiting[] = {{listening_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    while (poll(waiting, 2, -1) > 0 && waiting[1].revents == 0) {
        const int fd = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd != -1)
            serve_one(fd);
    }
}

void fake_daemon::serve_one(int fd)
{
    message_header_t head = {};
    message_t message;
    if (recv(fd, &head, sizeof head, MSG_WAITALL) == sizeof head) {
        message = {head.command, bytes_t(head.length)};
        if (head.length > 0)
            recv(fd, message.body.data(), head.length, MSG_WAITALL);
    }
    bytes_t answer;
    {
        const std::lock_guard guard(mutex_);
        messages_.push_back(message);
        answer = answer_(message);
        came_.notify_all();
    }
    if (answer == HANG) {
        hanging_.push_back(fd);
        return;
    }
    const size_t piece = manner_ == BYTE_BY_BYTE ? 1 : answer.size();
    for (size_t at = 0; at < answer.size(); at += piece) {
        send(fd, answer.data() + at, piece, MSG_NOSIGNAL);
        if (manner_ == BYTE_BY_BYTE)
            usleep(200);
    }
    close(fd);
}

std::vector<message_t> fake_daemon::messages()
{
    const std::lock_guard guard(mutex_);
    return messages_;
}

std::vector<uint32_t> fake_daemon::commands()
{
    std::vector<uint32_t> commands;
    for (const message_t &message : messages())
        commands.push_back(message.command);
    return commands;
}

bool fake_daemon::has_got(uint32_t command, size_t count)
{
    std::unique_lock lock(mutex_);
    return came_.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(10), [&] {
        size_t got = 0;
        for (const message_t &message : messages_)
            got += message.command == command ? 1 : 0;
        return got >= count;
    });
}

bytes_t job_script::operator()(const message_t &message)
{
    switch (message.command) {
    case COMMAND_NONE:
        return message_bytes(COMMAND_NONE, bytes_of(started));
    case COMMAND_GET_STATE: {
        state_reply_t state = states.front();
        if (states.size() > 1)
            states.pop_front();
        if (start && state.exec_info.elapsed_time == 0)
            state.exec_info.elapsed_time =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - *start).count();
        return message_bytes(COMMAND_GET_STATE, bytes_of(state));
    }
    case COMMAND_CANCEL:
        states = {cancelled};
        return message_bytes(COMMAND_CANCEL, bytes_of(cancel));
    case COMMAND_GET_FILE_INFO:
        return message_bytes(COMMAND_GET_FILE_INFO, bytes_of(file_info_reply_t{{0, 0}, remote_file}));
    default:
        if (refusals.empty()) {
            start = std::chrono::steady_clock::now();
            return message_bytes(message.command, bytes_of(started));
        }
        const reply_t refusal = refusals.front();
        refusals.pop_front();
        return message_bytes(message.command, bytes_of(refusal));
    }
}

state_reply_t idle() { return {}; }

state_reply_t running(uint32_t exec, double total, double transferred)
{
    state_reply_t state = {};
    state.module_info = {1, exec, 0, 0};
    state.exec_info.total_size = total;
    state.exec_info.transferred_size = transferred;
    return state;
}

state_reply_t ended(uint32_t exec, uint32_t result, double total, double transferred)
{
    state_reply_t state = running(exec, total, transferred);
    state.module_info.running = 0;
    state.module_info.result = result;
    return state;
}
