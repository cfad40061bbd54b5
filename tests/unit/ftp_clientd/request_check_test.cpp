#include "ftp_clientd/request_check.h"
#include "wire_bytes.h"

#include <functional>
#include <gmock/gmock.h>

namespace
{

constexpr uint32_t DOWNLOAD = 1;
constexpr uint32_t UPLOAD = 2;
constexpr uint32_t FILE_INFO = 5;
constexpr uint32_t START_COMMANDS[] = {DOWNLOAD, UPLOAD, FILE_INFO};

bool is_taken(uint32_t command, const bytes &body)
{
    const auto *request = request_check(command, body.data(), body.size());
    EXPECT_TRUE(request == nullptr || reinterpret_cast<const uint8_t *>(request) == body.data());
    return request != nullptr;
}

constexpr uint32_t PROTOCOLS[] = {0, 1, 2, 3, 4, 5, 6, 0xFFFFFFFF};
bool is_zixi(uint32_t protocol) { return protocol == 4 || protocol == 5; }
bool is_ftp(uint32_t protocol) { return protocol != 3 && !is_zixi(protocol); }

using judge = std::function<bool(uint32_t command, uint32_t protocol)>;

// Expects for each protocol and each command that starts a job whether the request is refused.
void expect_refused(const std::string &what, raw_request request, const judge &refused)
{
    for (const uint32_t command : START_COMMANDS)
        for (const uint32_t protocol : PROTOCOLS)
            EXPECT_EQ(is_taken(command, request.protocol(protocol).body), !refused(command, protocol))
                << testing::PrintToString(what) << ", command " << command << ", protocol " << protocol;
}

bool never(uint32_t, uint32_t) { return false; }
bool unless_zixi(uint32_t, uint32_t protocol) { return !is_zixi(protocol); }
bool over_ftp(uint32_t, uint32_t protocol) { return is_ftp(protocol); }

struct field_t {
    const char *name;
    size_t offset;
    size_t size;
    bool (*is_read)(uint32_t command, uint32_t protocol); // without a proxy
};

const field_t FIELDS[] = {
    {"remote_path", 0, 512, [](uint32_t, uint32_t) { return true; }},
    {"local_path", 512, 256,
     [](uint32_t command, uint32_t protocol) { return is_zixi(protocol) || command != FILE_INFO; }},
    {"host", 768, 256, [](uint32_t, uint32_t) { return true; }},
    {"username", 1028, 32, [](uint32_t, uint32_t protocol) { return !is_zixi(protocol); }},
    // Contains the Zixi user name and password.
    {"password", 1060, 224, [](uint32_t, uint32_t) { return true; }},
    {"proxy_host", 1292, 256, [](uint32_t, uint32_t) { return false; }},
    {"save_path", 1817, 259, [](uint32_t, uint32_t protocol) { return protocol >= 1 && protocol <= 3; }},
    {"Zixi user", 1092, 64, [](uint32_t, uint32_t protocol) { return is_zixi(protocol); }},
    {"Zixi password", 1156, 128, [](uint32_t, uint32_t protocol) { return is_zixi(protocol); }},
};

} // namespace

TEST(RequestCheck, ARequestWithOnlyAHostIsAccepted) { expect_refused("usual", {}, never); }

TEST(RequestCheck, AMissingBodyIsRefused)
{
    for (const uint32_t command : START_COMMANDS) {
        EXPECT_EQ(request_check(command, nullptr, 0), nullptr);
        EXPECT_EQ(request_check(command, nullptr, 2080), nullptr);
    }
}

TEST(RequestCheck, ABodyShorterThanARequestIsRefused)
{
    for (const uint32_t command : START_COMMANDS)
        for (const size_t size : {1u, 1292u, 2076u, 2079u}) {
            bytes body(size);
            body.shrink_to_fit();
            EXPECT_FALSE(is_taken(command, body)) << size;
        }
}

TEST(RequestCheck, ALongerBodyIsAccepted)
{
    for (const uint32_t command : START_COMMANDS)
        for (const size_t more : {1u, 100000u})
            EXPECT_TRUE(is_taken(command, raw_request().body + bytes(more, 'a'))) << more;
}

TEST(RequestCheck, AnUnterminatedStringIsRefusedWhereTheJobReadsIt)
{
    for (const field_t &field : FIELDS)
        expect_refused(field.name, raw_request().filled(field.offset, field.size), field.is_read);
}

TEST(RequestCheck, AStringMayFillItsFieldUpToTheTerminator)
{
    for (const field_t &field : FIELDS)
        expect_refused(field.name,
                       raw_request().text(1292, "p").filled(field.offset, field.size - 1).proxy_type(1),
                       [&](uint32_t, uint32_t protocol) { // it overruns the Zixi fields
                           return field.offset == 1060 && is_zixi(protocol);
                       });
}

TEST(RequestCheck, TheProxysNameIsCheckedWhereAProxyIsUsed)
{
    expect_refused("no proxy", raw_request().filled(1292, 256), never);
    for (const uint32_t proxy_type : {1u, 7u, 0xFFFFFFFFu})
        expect_refused("proxy", raw_request().filled(1292, 256).proxy_type(proxy_type), unless_zixi);
    expect_refused("SOCKS", raw_request().filled(1292, 256).text(1292, "socks5://").proxy_type(1),
                   unless_zixi);
}

TEST(RequestCheck, ACharacterThatWouldChangeTheJobIsRefused)
{
    const std::tuple<const char *, size_t, const char *, const char *> cases[] = {
        {"remote_path", 0, "#?\r\n", " %&;*[]\\:@\t\x01\x7f\xc3\xfe"},
        {"local_path", 512, "", "#?\r\n"},
        {"username", 1028, "\r\n", "#? %@:"},
        {"password", 1060, "\r\n", "#? %@:"},
    };
    for (const auto &[name, offset, refused, taken] : cases) {
        for (const char *at = refused; *at != '\0'; at++)
            for (const std::string before : {"", "abc"})
                expect_refused(name + before + *at, raw_request().text(offset, before + *at + "z"),
                               unless_zixi);
        expect_refused(name, raw_request().text(offset, taken), never);
    }
}

TEST(RequestCheck, BytesAfterTheTerminatorDoNotCount)
{
    using namespace std::string_view_literals;
    for (const size_t offset : {0u, 1028u, 1060u})
        for (const uint32_t command : START_COMMANDS)
            EXPECT_TRUE(is_taken(command, raw_request().text(offset, "a\0#?\r\n"sv).body)) << offset;
}

// --- Names of another file or host than the text says

namespace
{

using names_t = std::vector<std::string>;

void expect_names(size_t offset, const names_t &names, const judge &refused, uint32_t proxy_type = 0)
{
    for (const std::string &name : names)
        expect_refused(
            name, raw_request().proxy_type(proxy_type).text(1292, "p").text(offset, name + std::string(1, 0)),
            refused);
}

names_t behind(const std::string &front, names_t names)
{
    for (std::string &name : names)
        name = front + name;
    return names;
}

const names_t HOSTS = {"127.0.0.1",
                       "ftp.example.com",
                       "localhost.",
                       "[::1]",
                       "[::1]:2121",
                       "[fe80::1%eth0]",
                       "a:2121",
                       "::1",
                       std::string("b\xc3\xbc") + "cher.example",
                       "a_b-c"};

names_t no_hosts()
{
    names_t all = {"", "a/b", "/", "a/", "a?b", "a#", "127.0.0.1#", "user@a", "a\\b", "a b", " a", "a "};
    for (int byte = 1; byte < 128; byte++)
        if (byte < 32 || byte == 127)
            all.push_back(std::string("a") + static_cast<char>(byte) + "x");
    return all;
}

} // namespace

TEST(RequestCheck, AnFtpPathWithATypeIsRefusedInAnyPlaceAndSpelling)
{
    expect_names(0,
                 {"f;type=i", "f;type=a", "f;type=d", "f;TYPE=I", "f;Type=x", "d;type=i/f",
                  ";type=", "f;type=i;type=a", "f;;type=i"},
                 over_ftp);
    expect_names(0, {"f;type", "f;typ=i", "f;type =i", "ftype=i", "f;mode=i", "f%3Btype=i"}, never);
}

TEST(RequestCheck, AnFtpPathWithTheByteThatBeginsATelnetCommandIsRefused)
{
    expect_names(0, {"\xff", "a\xff", "\xff/b", std::string("a\xff\xff") + "b"}, over_ftp);
}

TEST(RequestCheck, AnUploadThroughAProxyMustNameAFile)
{
    const names_t folders = {"", "/", "d/", "a/b/"};
    expect_names(0, folders, never);
    expect_names(
        0, folders,
        [](uint32_t command, uint32_t protocol) { return command == UPLOAD && !is_zixi(protocol); }, 1);
}

TEST(RequestCheck, ALoginMayPrecedeAProxysHost)
{
    for (const char *front : {"", "http://", "HTTP://"}) {
        expect_names(1292,
                     behind(front, {"u:p@proxy", "u:@proxy", ":p@proxy", "u%40x:p%3A@proxy:3128", "u:p@a"}),
                     never, 1);
        expect_names(1292,
                     behind(front, {"u@proxy", "u:p@", "u:p@a@b", "u p:x@proxy", "u/:p@proxy", "u:p#@proxy",
                                    "u:p?@proxy", "u:p\\@proxy", "@:proxy", "u:p@pro xy"}),
                     unless_zixi, 1);
    }
}

TEST(RequestCheck, DotSegmentsAndBlanksInAPathAreAccepted)
{
    expect_names(0, {"../f", "./f", "a/../b", "..", "/..//f", " f ", "", "d/", "~/f", "%2e%2e/f"}, never);
}

TEST(RequestCheck, AHostThatIsEmptyOrEndsEarlyIsRefused)
{
    expect_names(768, HOSTS, never);
    expect_names(768, no_hosts(), unless_zixi);
    expect_names(768, {"u:p@a", "http://a"}, unless_zixi);
}

TEST(RequestCheck, AProxysNameHasTheSameRulesWhereAProxyIsUsed)
{
    for (const char *front : {"", "http://", "HTTP://", "Http://"}) {
        for (const uint32_t proxy_type : {1u, 2u, 0xFFFFFFFFu}) {
            expect_names(1292, behind(front, HOSTS), never, proxy_type);
            expect_names(1292, behind(front, no_hosts()), unless_zixi, proxy_type);
        }
        expect_names(1292, behind(front, no_hosts()), never);
    }
    expect_names(1292, {"http://a"}, never, 1);
    expect_names(1292, {"http://http://a", "HTTP://http://a"}, unless_zixi, 1);
}

TEST(RequestCheck, AProxyOfAnotherSchemeIsRefusedButSocksIsLeftToTheEngine)
{
    for (const char *scheme : {"https://", "ftp://", "ftps://", "sftp://", "http:/", "socks6://", "socks:/"})
        expect_names(1292, {scheme + std::string("a")}, unless_zixi, 1);
    for (const char *scheme :
         {"socks4://", "socks4a://", "socks5://", "socks5h://", "socks://", "SOCKS5://", "Socks://"})
        expect_names(1292, behind(scheme, {"a", "a/b", "u:p@a", ""}), never, 1);
}
