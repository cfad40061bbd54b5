#include "fake_daemon.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int BACKLOG = 5; // as the real one's

const bytes_t daemon_socket::HANG = {0xDE, 0xAD};

bytes_t message_bytes(uint32_t command, const bytes_t &body)
{
    const bytes_t head = bytes_of(message_header_t{command, static_cast<uint32_t>(body.size())});
    bytes_t bytes(head.size() + body.size());
    std::ranges::copy(body, std::ranges::copy(head, bytes.begin()).out);
    return bytes;
}

transfer_request_t request_of(const message_t &message)
{
    transfer_request_t request = {};
    if (!message.body.empty()) // data() may be null
        memcpy(&request, message.body.data(), std::min(message.body.size(), sizeof request));
    return request;
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int connected_to(const std::string &path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(path);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return fd;
    close(fd);
    return -1;
}

daemon_socket::daemon_socket() : listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    const sockaddr_un address = address_of(path());
    if (bind(listening_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening_, BACKLOG) != 0 || pipe2(end_, O_CLOEXEC) != 0)
        abort();
}

void daemon_socket::stop()
{
    if (!thread_.joinable())
        return;
    close(end_[1]);
    thread_.join();
    close(end_[0]);
    close(listening_);
    for (const int fd : hanging_)
        close(fd);
}

void daemon_socket::run(const std::function<void()> &passes) { thread_ = std::thread(passes); }

bool daemon_socket::rests(int ms) const
{
    pollfd end = {end_[0], POLLIN, 0};
    return poll(&end, 1, ms) == 0;
}

bool daemon_socket::waits_for_somebody() const
{
    pollfd waiting[] = {{listening_, POLLIN, 0}, {end_[0], POLLIN, 0}};
    return poll(waiting, 2, -1) > 0 && waiting[1].revents == 0;
}

void daemon_socket::serve(const std::function<bytes_t(const message_t &)> &answer)
{
    const int fd = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    message_header_t head = {};
    if (fd == -1 || recv(fd, &head, sizeof head, MSG_WAITALL) != sizeof head) {
        close(fd);
        return;
    }
    message_t message = {head.command, bytes_t(head.length)};
    if (head.length > 0)
        recv(fd, message.body.data(), head.length, MSG_WAITALL);
    {
        const std::lock_guard guard(mutex_);
        messages_.push_back(message);
    }
    const bytes_t bytes = answer(message);
    came_.notify_all();
    if (bytes == HANG) {
        hanging_.push_back(fd);
        return;
    }
    const size_t half = bytes.size() / 2; // a client must join the pieces
    send(fd, bytes.data(), half, MSG_NOSIGNAL);
    usleep(200);
    send(fd, bytes.data() + half, bytes.size() - half, MSG_NOSIGNAL);
    close(fd);
}

std::vector<message_t> daemon_socket::messages()
{
    const std::lock_guard guard(mutex_);
    return messages_;
}

std::vector<uint32_t> daemon_socket::commands()
{
    std::vector<uint32_t> commands;
    for (const message_t &message : messages())
        commands.push_back(message.command);
    return commands;
}

std::vector<transfer_request_t> daemon_socket::requests()
{
    std::vector<transfer_request_t> requests;
    for (const message_t &message : messages()) {
        if (!message.body.empty())
            requests.push_back(request_of(message));
    }
    return requests;
}

bool daemon_socket::has_got(uint32_t command, size_t count)
{
    std::unique_lock lock(mutex_);
    return came_.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(10), [&] {
        return size_t(std::ranges::count(messages_, command, &message_t::command)) >= count;
    });
}

fake_daemon::fake_daemon(const answer_t &answer)
{
    run([this, answer] {
        while (waits_for_somebody())
            serve(answer);
    });
}

turn_holder::turn_holder(const daemon_socket &daemon)
    : fd_(open(daemon.turn_path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)),
      is_held_(flock(fd_, LOCK_EX | LOCK_NB) == 0)
{
}

turn_holder::~turn_holder() { close(fd_); }

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

job_script script_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
}

fake_daemon::answer_t hanging_at_cancel(job_script script)
{
    return [script](const message_t &message) mutable {
        return message.command == COMMAND_CANCEL ? daemon_socket::HANG : script(message);
    };
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
