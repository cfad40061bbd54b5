// Anything that a client sends, in pieces of any size, must be answered, passed to an engine or refused as in
// the model.
//
// Input: 4 bytes that seed the piece sizes, 1 byte for the engines' results, 3 bytes for one change to the
// request (see change), the rest is what the client sends before it stops.
#include "ftp_clientd/commands.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/fake_engines.h"
#include "request_model.h"
#include "require.h"
#include "support/logged.h"

#include <algorithm>
#include <cstring>
#include <poll.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr size_t INPUT_HEAD_BYTES = 8;
constexpr size_t MEMORY_BYTES = 1 << 20; // available to the daemon for a request

// The client's side of a connection: sends a piece each time the daemon waits for more.
struct client_t {
    int fd;
    int daemon_fd;
    std::string_view left;
    std::minstd_rand random;
    size_t longest_piece;

    void send_piece()
    {
        if (left.empty()) {
            shutdown(fd, SHUT_WR);
            return;
        }
        const std::string_view piece = left.substr(0, 1 + random() % longest_piece);
        left.remove_prefix(piece.size());
        require(send(fd, piece.data(), piece.size(), MSG_DONTWAIT) == static_cast<ssize_t>(piece.size()),
                "there is room for the piece");
    }
};

client_t *client_;
bool memory_is_scarce_;

std::vector<std::string> calls_; // of the engines

} // namespace

// Calls for the engines' state are not recorded.
void note_call(const std::string &call)
{
    if (!call.ends_with("get_state()"))
        calls_.push_back(call);
}

extern "C" {
int __real_poll(pollfd *fds, nfds_t count, int timeout_ms);
int __wrap_poll(pollfd *fds, nfds_t count, int timeout_ms)
{
    if (client_ != nullptr && fds->fd == client_->daemon_fd && fds->events == POLLIN)
        client_->send_piece();
    return __real_poll(fds, count, timeout_ms);
}
int __wrap___poll_chk(pollfd *fds, nfds_t count, int timeout_ms, size_t)
{
    return __wrap_poll(fds, count, timeout_ms);
}

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    return memory_is_scarce_ && size > MEMORY_BYTES ? nullptr : __real_malloc(size);
}
}

namespace
{

std::string everything_from(int fd)
{
    std::string all;
    char some[512];
    ssize_t got;
    while ((got = recv(fd, some, sizeof some, MSG_DONTWAIT)) > 0)
        all.append(some, static_cast<size_t>(got));
    return all;
}

// One request over a new connection; returns what the client receives.
std::string served(std::string_view sent, uint32_t seed, reply_t *last_job)
{
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there is a connection");
    client_t client = {ends[0], ends[1], sent, std::minstd_rand(seed), (seed & 1) != 0 ? 40U : 3000U};
    client_ = &client;
    memory_is_scarce_ = true;
    serve_request(ends[1], last_job);
    memory_is_scarce_ = false;
    client_ = nullptr;
    close(ends[1]);
    const std::string heard = everything_from(ends[0]);
    close(ends[0]);
    return heard;
}

uint32_t word_of(const std::string &bytes, size_t at)
{
    uint32_t word;
    require(bytes.size() >= at + sizeof word, "the reply is whole");
    memcpy(&word, bytes.data() + at, sizeof word);
    return word;
}

void check_reply(const std::string &reply, const model::outcome_t &expected)
{
    if (!expected.answered)
        return require(reply.empty(), "an unknown command gets no reply");
    require(reply.size() == 8 + expected.body_bytes, "the reply has the length of its command");
    require(word_of(reply, 0) == expected.command, "the reply echoes the command");
    require(word_of(reply, 4) == expected.body_bytes, "the head announces the body");
    require(word_of(reply, 8) == expected.result, "the result is the model's");
    require(word_of(reply, 12) == expected.detail, "the detail is the model's");
}

constexpr const char *NAMES[] = {
    ";type=i",   ";TYPE=",     ";Type=a/f", ";typ=e",  "../f",      "127.0.0.1", "[::1]:21",  "a@b",
    "http://h",  "HTTP://h",   "http://",   "http:/h", "socks://h", "SOCKS5://", "socks5h:/", "https://h",
    "socks6://", "socks4a://", "a b",       "a\\b",    "\x7f",      "\x1f",      "\x80",      "h",
};

// The name, cut so that it and its terminator stay before `end`; the field's rest is unchanged.
void put_name(std::string *sent, size_t at, size_t end, size_t which)
{
    const std::string name = NAMES[which % std::size(NAMES)];
    const size_t room = end - at - 1;
    const size_t length = std::min(room, name.size());
    sent->replace(at, length, name, 0, length);
    (*sent)[at + length] = '\0';
}

// One change, so that little input has much effect: by[0] % 16 is the string, by[0] / 16 the kind of change,
// by[1] and by[2] its place; for a name by[1] is which one, by[2] its place.
void change(std::string *sent, const uint8_t *by)
{
    const size_t which = by[0] % 16;
    if (which >= std::size(model::STRINGS) || sent->size() < 8 + model::REQUEST_BYTES)
        return;
    const model::field_t place = model::STRINGS[which];
    const size_t at = 8 + place.at;
    const size_t inside = at + (by[1] + 256U * by[2]) % place.size;
    constexpr char SPECIAL[] = {'#', '?', '\r', '\n', '\0'};
    const unsigned what = by[0] / 16;
    switch (what) {
    case 1:
        sent->replace(at, place.size, place.size, 'a');
        break;
    case 2:
        sent->replace(at, place.size, place.size - 1, 'a').insert(at + place.size - 1, 1, '\0');
        break;
    case 8:
        put_name(sent, at, at + place.size, by[1]);
        break;
    case 9: // after the present text
        put_name(sent, at + by[2] % place.size, at + place.size, by[1]);
        break;
    default: // 3 to 7
        if (what >= 3 && what < 3 + std::size(SPECIAL))
            (*sent)[inside] = SPECIAL[what - 3];
    }
}

model::surroundings_t arrange(uint8_t choice, fake_engines *engines)
{
    constexpr uint32_t CODES[] = {FTPCD_ERR_NONE, FTPCD_ERR_BUSY, FTPCD_ERR_INTERNAL,
                                  FTPCD_ERR_NOT_SUPPORTED};
    const model::surroundings_t around = {.memory_bytes = MEMORY_BYTES,
                                          .start_code = CODES[choice & 3],
                                          .cancel_code =
                                              (choice & 4) != 0 ? uint32_t{FTPCD_ERR_NOT_RUNNING} : 0,
                                          .last_detail = static_cast<uint32_t>(choice >> 4),
                                          .zixi_active = (choice & 8) != 0};
    for (fake_engine *engine : {&engines->curl, &engines->zixi}) {
        engine->start_result = around.start_code;
        engine->cancel_result = static_cast<int>(around.cancel_code);
    }
    engine_select(around.zixi_active ? PROTOCOL_ZIXI_4 : PROTOCOL_FTP);
    calls_.clear();
    logged();
    return around;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < INPUT_HEAD_BYTES)
        return 0;
    uint32_t seed;
    memcpy(&seed, data, sizeof seed);
    std::string sent(reinterpret_cast<const char *>(data) + INPUT_HEAD_BYTES, size - INPUT_HEAD_BYTES);
    change(&sent, data + 5);

    fake_engines engines;
    const model::surroundings_t around = arrange(data[4], &engines);
    const model::outcome_t expected = model::serve(sent, around);
    reply_t last_job = {.result = around.last_detail != 0 ? 1U : 0U, .detail = around.last_detail};
    check_reply(served(sent, seed, &last_job), expected);
    require(calls_ == expected.calls, "the engine is called that the model names, and no other");
    require(logged() == expected.log, "the log is the model's");
    require((engine_active().fixed_file != nullptr) == expected.zixi_active,
            "a refused request selects nothing");
    const bool started = !calls_.empty() && expected.command != COMMAND_CANCEL;
    const transfer_request_t &handed_on = expected.zixi_active ? engines.zixi.request : engines.curl.request;
    require(!started || memcmp(&handed_on, sent.data() + 8, sizeof handed_on) == 0,
            "the engine gets the request as it was sent");

    const std::string asked(8, '\0'); // a no-operation
    const std::string repeated = served(asked, seed, &last_job);
    require(repeated.size() == 16 && word_of(repeated, 8) == 0, "a no-operation succeeds");
    require(word_of(repeated, 12) == expected.last_detail, "and repeats the detail of the last job");
    return 0;
}
