// The library's check and the daemon's on generated strings: what the library refuses, the daemon refuses as
// well.
#include "ftp_clientd/request_check.h"
#include "wire/wire.h"

extern "C" {
#include "libftpclient/request.h"
#include "support/not_copied.h"
}

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{

struct place_t {
    size_t at;   // byte of the request
    size_t size; // bytes, with the terminator
};

enum field { REMOTE_PATH, LOCAL_PATH, SAVE_PATH, HOST, USER, PASSWORD, PROXY };

const struct {
    place_t place;
    place_t zixi_place;
    int (*set)(ftpclient_request_t *, const char *);
} FIELDS[] = {
    {{0, 512}, {0, 512}, ftpclient_request_set_remote_path},
    {{512, 256}, {512, 256}, ftpclient_request_set_local_path},
    {{1817, 259}, {1817, 259}, ftpclient_request_set_save_path},
    {{768, 256},
     {768, 256},
     [](auto *r, const char *text) { return ftpclient_request_set_server(r, text, 0); }},
    {{1028, 32},
     {1092, 64},
     [](auto *r, const char *text) { return ftpclient_request_set_login(r, text, ""); }},
    {{1060, 224},
     {1156, 128},
     [](auto *r, const char *text) { return ftpclient_request_set_login(r, "", text); }},
    {{1292, 256},
     {1292, 256},
     [](auto *r, const char *text) { return ftpclient_request_set_proxy(r, text, 3128); }},
};

bool is_zixi(int protocol) { return protocol == FTPCLIENT_ZIXI_4 || protocol == FTPCLIENT_ZIXI_5; }

bool has_identity(int protocol) { return protocol >= FTPCLIENT_FTPS_IMPLICIT && protocol <= FTPCLIENT_SFTP; }

place_t place_of(field which, int protocol)
{
    return is_zixi(protocol) ? FIELDS[which].zixi_place : FIELDS[which].place;
}

int set(ftpclient_request_t *request, field which, const char *text)
{
    return FIELDS[which].set(request, text);
}

struct case_t {
    int protocol;
    int job;
    bool proxied;
    field which;
    std::string text;
};

// Only the library refuses what the daemon accepts but a program hardly means: a missing or relative local
// path, a port or an escape in a host, and a scheme or login before a proxy's host. It also checks a Zixi
// host like any other; the daemon passes that on unchecked.
bool is_the_librarys_own(const case_t &one)
{
    const std::string &text = one.text;
    switch (one.which) {
    case REMOTE_PATH:
        return text.empty();
    case LOCAL_PATH:
    case SAVE_PATH:
        return text[0] != '/';
    case HOST:
        return is_zixi(one.protocol) || text.find_first_of(":%[]") != std::string::npos;
    case PROXY:
        return text.find_first_of(":%[]@") != std::string::npos;
    default:
        return false;
    }
}

// Without the field under test.
struct request_t : not_copied {
    ftpclient_request_t *made = nullptr;

    explicit request_t(const case_t &one)
    {
        EXPECT_EQ(ftpclient_request_new(one.protocol, &made), FTPCLIENT_OK);
        EXPECT_EQ(set(made, REMOTE_PATH, "f"), FTPCLIENT_OK);
        EXPECT_EQ(set(made, LOCAL_PATH, "/f"), FTPCLIENT_OK);
        EXPECT_EQ(set(made, HOST, "h"), FTPCLIENT_OK);
        EXPECT_EQ(one.proxied ? set(made, PROXY, "p") : FTPCLIENT_OK, FTPCLIENT_OK);
    }
    ~request_t() { ftpclient_request_free(made); }
};

bool daemon_takes(const case_t &one, const void *body)
{
    const std::map<int, uint32_t> commands = {{FTPCLIENT_DOWNLOAD, COMMAND_DOWNLOAD},
                                              {FTPCLIENT_UPLOAD, COMMAND_UPLOAD},
                                              {FTPCLIENT_FILE_INFO, COMMAND_DL_FILE_INFO}};
    return request_check(commands.at(one.job), body, sizeof(transfer_request_t)) != nullptr;
}

// The same request from a program that copies as much of the text into the field as fits.
bool daemon_takes_unasked(const case_t &one)
{
    const request_t request(one);
    std::vector<char> body(sizeof(transfer_request_t));
    memcpy(body.data(), &request.made->wire, body.size());
    const place_t place = place_of(one.which, one.protocol);
    memset(body.data() + place.at, 0, place.size);
    memcpy(body.data() + place.at, one.text.data(), std::min(place.size, one.text.size()));
    return daemon_takes(one, body.data());
}

// True when the library refuses the request.
bool library_refuses(const case_t &one, request_t &request)
{
    if (set(request.made, one.which, one.text.c_str()) != FTPCLIENT_OK) {
        EXPECT_STRNE(ftpclient_request_complaint(request.made), "");
        return true;
    }
    return ftpc_check_job(one.job, request.made, 0) != FTPCLIENT_OK;
}

class made_up
{
public:
    case_t next()
    {
        case_t one = {};
        one.protocol = pick<int>({FTPCLIENT_FTP, FTPCLIENT_FTPS_IMPLICIT, FTPCLIENT_FTPS_EXPLICIT,
                                  FTPCLIENT_SFTP, FTPCLIENT_ZIXI_4, FTPCLIENT_ZIXI_5});
        one.job = is_zixi(one.protocol)
                      ? FTPCLIENT_UPLOAD
                      : pick<int>({FTPCLIENT_DOWNLOAD, FTPCLIENT_UPLOAD, FTPCLIENT_FILE_INFO});
        one.which = pick<field>({REMOTE_PATH, LOCAL_PATH, HOST, USER, PASSWORD, PROXY, SAVE_PATH});
        if (one.which == LOCAL_PATH && one.job == FTPCLIENT_FILE_INFO)
            one.job = FTPCLIENT_DOWNLOAD; // a look-up has no local file
        // Unused there; a look-up through a proxy is refused for another reason.
        const bool may_be_proxied = !is_zixi(one.protocol) && one.job != FTPCLIENT_FILE_INFO;
        if ((one.which == PROXY && !may_be_proxied) ||
            (one.which == SAVE_PATH && !has_identity(one.protocol)))
            one.which = REMOTE_PATH;
        one.proxied = one.which == PROXY || (may_be_proxied && pick<int>({0, 1}) == 1);
        one.text = text(place_of(one.which, one.protocol).size);
        return one;
    }

private:
    template <typename T> T pick(const std::vector<T> &from) { return from[random_() % from.size()]; }

    std::string text(size_t size)
    {
        std::string made = pick<std::string>({"", "", "/", "a", "/a"});
        for (unsigned left = random_() % 4; left > 0; left--)
            made += pick<std::string>({"#",       "?",
                                       "\r",      "\n",
                                       ";type=",  ";TyPe=i",
                                       "\xff",    "@",
                                       "u:p@",    ":",
                                       "/",       "\\",
                                       " ",       "\t",
                                       "\x7f",    "\x01",
                                       "%41",     "[::1]",
                                       "a",       "..",
                                       "http://", std::string("\xc3\xa4"),
                                       "~",       "*"});
        if (random_() % 8 == 0)
            made.resize(size - 2 + random_() % 4, 'x');
        return made;
    }

    std::mt19937 random_{1};
};

} // namespace

TEST(SameNames, TheLibraryRefusesAllThatTheDaemonRefusesAndWhatItsOwnRulesForbid)
{
    made_up cases;
    int refused = 0;
    int taken = 0;
    for (int number = 0; number < 200000 && !HasFailure(); number++) {
        const case_t one = cases.next();
        SCOPED_TRACE(testing::Message()
                     << "protocol " << one.protocol << ", job " << one.job << ", field " << one.which
                     << (one.proxied ? ", proxy" : "") << ", \"" << one.text << '"');
        request_t request(one);
        if (library_refuses(one, request)) {
            refused++;
            EXPECT_TRUE(!daemon_takes_unasked(one) || is_the_librarys_own(one));
        } else {
            taken++;
            EXPECT_TRUE(daemon_takes(one, &request.made->wire));
        }
    }
    EXPECT_GT(refused, 20000);
    EXPECT_GT(taken, 20000);
}
