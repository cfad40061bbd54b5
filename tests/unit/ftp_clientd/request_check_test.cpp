#include "ftp_clientd/request_check.h"
#include "wire_bytes.h"

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

std::string where(uint32_t command, uint32_t protocol)
{
    return "command " + std::to_string(command) + ", protocol " + std::to_string(protocol);
}

constexpr uint32_t PROTOCOLS[] = {0, 1, 2, 3, 4, 5, 6, 0xFFFFFFFF};
bool is_zixi(uint32_t protocol) { return protocol == 4 || protocol == 5; }

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
    // The Zixi user name and password lie inside it.
    {"password", 1060, 224, [](uint32_t, uint32_t) { return true; }},
    {"proxy_host", 1292, 256, [](uint32_t, uint32_t) { return false; }},
    {"save_path", 1817, 259, [](uint32_t, uint32_t protocol) { return protocol >= 1 && protocol <= 3; }},
    {"Zixi user", 1092, 64, [](uint32_t, uint32_t protocol) { return is_zixi(protocol); }},
    {"Zixi password", 1156, 128, [](uint32_t, uint32_t protocol) { return is_zixi(protocol); }},
};

} // namespace

TEST(RequestCheck, ARequestThatNamesAHostAndNothingElseIsTaken)
{
    for (const uint32_t command : START_COMMANDS)
        for (const uint32_t protocol : PROTOCOLS)
            EXPECT_TRUE(is_taken(command, raw_request().protocol(protocol).body)) << where(command, protocol);
}

TEST(RequestCheck, AnAbsentBodyIsRefused)
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

TEST(RequestCheck, ALongerBodyIsTaken)
{
    for (const uint32_t command : START_COMMANDS)
        for (const size_t more : {1u, 100000u})
            EXPECT_TRUE(is_taken(command, raw_request().body + bytes(more, 'a'))) << more;
}

TEST(RequestCheck, AStringThatFillsItsFieldIsRefusedWhereTheJobReadsIt)
{
    for (const field_t &field : FIELDS)
        for (const uint32_t command : START_COMMANDS)
            for (const uint32_t protocol : PROTOCOLS) {
                const raw_request request = raw_request().filled(field.offset, field.size).protocol(protocol);
                EXPECT_EQ(is_taken(command, request.body), !field.is_read(command, protocol))
                    << field.name << ", " << where(command, protocol);
            }
}

TEST(RequestCheck, AStringMayFillItsFieldButForTheTerminator)
{
    for (const field_t &field : FIELDS)
        for (const uint32_t command : START_COMMANDS)
            for (const uint32_t protocol : PROTOCOLS) {
                const raw_request request = raw_request()
                                                .text(1292, "p")
                                                .filled(field.offset, field.size - 1)
                                                .protocol(protocol)
                                                .proxy_type(1);
                const bool fills_zixi_fields = field.offset == 1060 && is_zixi(protocol);
                EXPECT_EQ(is_taken(command, request.body), !fills_zixi_fields)
                    << field.name << ", " << where(command, protocol);
            }
}

TEST(RequestCheck, TheProxysNameCountsWhereAProxyIsUsed)
{
    for (const uint32_t command : START_COMMANDS)
        for (const uint32_t protocol : PROTOCOLS)
            for (const uint32_t proxy_type : {0u, 1u, 7u, 0xFFFFFFFFu}) {
                const raw_request request =
                    raw_request().filled(1292, 256).protocol(protocol).proxy_type(proxy_type);
                EXPECT_EQ(is_taken(command, request.body), proxy_type == 0 || is_zixi(protocol))
                    << "proxy_type " << proxy_type << ", " << where(command, protocol);
            }
}

TEST(RequestCheck, ACharacterThatWouldChangeTheJobIsRefused)
{
    struct {
        const char *name;
        size_t offset;
        const char *refused;
        const char *taken;
    } const cases[] = {
        {"remote_path", 0, "#?\r\n", " %&;*[]\\:@\t\x01\x7f\xc3\xfe"},
        {"local_path", 512, "", "#?\r\n"},
        {"username", 1028, "\r\n", "#? %@:"},
        {"password", 1060, "\r\n", "#? %@:"},
    };
    for (const auto &c : cases)
        for (const uint32_t command : START_COMMANDS)
            for (const uint32_t protocol : PROTOCOLS) {
                for (const char *at = c.refused; *at != '\0'; at++)
                    for (const char *before : {"", "abc"}) {
                        raw_request request;
                        request.protocol(protocol).text(c.offset, std::string(before) + *at + "z");
                        EXPECT_EQ(is_taken(command, request.body), is_zixi(protocol))
                            << c.name << " with " << int{*at} << ", " << where(command, protocol);
                    }
                raw_request request;
                request.protocol(protocol).text(c.offset, c.taken);
                EXPECT_TRUE(is_taken(command, request.body)) << c.name << ", " << where(command, protocol);
            }
}

TEST(RequestCheck, WhatFollowsTheTerminatorDoesNotCount)
{
    using namespace std::string_view_literals;
    for (const size_t offset : {0u, 1028u, 1060u})
        for (const uint32_t command : START_COMMANDS)
            EXPECT_TRUE(is_taken(command, raw_request().text(offset, "a\0#?\r\n"sv).body)) << offset;
}

// --- Names that would lead to another file or host

namespace
{

struct named_t {
    std::string name;
    bool is_refused;
};

void expect_judged(size_t offset, uint32_t protocol, const named_t &named, uint32_t proxy_type = 0)
{
    for (const uint32_t command : START_COMMANDS) {
        raw_request request;
        request.protocol(protocol).proxy_type(proxy_type).text(offset, named.name + std::string(1, 0));
        EXPECT_EQ(is_taken(command, request.body), !named.is_refused)
            << testing::PrintToString(named.name) << ", " << where(command, protocol);
    }
}

std::vector<named_t> each_control_character_in(const std::string &front)
{
    std::vector<named_t> all;
    for (int byte = 1; byte < 256; byte++)
        if (byte < 32 || byte == 127)
            all.push_back({front + static_cast<char>(byte) + "x", true});
    return all;
}

const named_t HOSTS[] = {
    {"", true},
    {"a/b", true},
    {"/", true},
    {"a/", true},
    {"a?b", true},
    {"a#", true},
    {"127.0.0.1#", true},
    {"user@a", true},
    {"u:p@a", true},
    {"a\\b", true},
    {"a b", true},
    {" a", true},
    {"a ", true},
    {"http://a", true},
    {"127.0.0.1", false},
    {"ftp.example.com", false},
    {"localhost.", false},
    {"[::1]", false},
    {"[::1]:2121", false},
    {"[fe80::1%eth0]", false},
    {"a:2121", false},
    {"::1", false},
    {"b\xc3\xbc"
     "cher.example",
     false},
    {"a_b-c", false},
};

} // namespace

TEST(RequestCheck, AnFtpPathWithATypeIsRefusedWhereverItStandsAndHoweverItIsWritten)
{
    const named_t paths[] = {
        {"f;type=i", true},  {"f;type=a", true},   {"f;type=d", true},    {"f;TYPE=I", true},
        {"f;Type=x", true},  {"d;type=i/f", true}, {";type=", true},      {"f;type=i;type=a", true},
        {"f;type", false},   {"f;typ=i", false},   {"f;type =i", false},  {"ftype=i", false},
        {"f;;type=i", true}, {"f;mode=i", false},  {"f%3Btype=i", false},
    };
    for (const named_t &path : paths)
        for (const uint32_t protocol : PROTOCOLS) {
            const bool is_ftp = protocol != 3 && !is_zixi(protocol);
            expect_judged(0, protocol, {path.name, path.is_refused && is_ftp});
        }
}

TEST(RequestCheck, AnFtpPathWithTheByteThatBeginsATelnetCommandIsRefused)
{
    for (const char *path : {"\xff", "a\xff", "\xff/b",
                             "a\xff\xff"
                             "b"})
        for (const uint32_t protocol : PROTOCOLS)
            expect_judged(0, protocol, {path, protocol != 3 && !is_zixi(protocol)});
}

TEST(RequestCheck, AnUploadThroughAProxyMustNameAFile)
{
    for (const char *path : {"", "/", "d/", "a/b/"})
        for (const uint32_t command : START_COMMANDS)
            for (const uint32_t protocol : PROTOCOLS)
                for (const uint32_t proxy_type : {0u, 1u}) {
                    raw_request request;
                    request.protocol(protocol)
                        .proxy_type(proxy_type)
                        .text(1292, "p")
                        .text(0, path + std::string(1, 0));
                    const bool is_refused = command == 2 && proxy_type != 0 && !is_zixi(protocol);
                    EXPECT_EQ(is_taken(command, request.body), !is_refused)
                        << path << ", " << where(command, protocol);
                }
}

TEST(RequestCheck, ALoginMayStandInFrontOfAProxysHost)
{
    const named_t proxies[] = {
        {"u:p@proxy", false}, {"u:@proxy", false},  {":p@proxy", false},  {"u%40x:p%3A@proxy:3128", false},
        {"u@proxy", true},    {"u:p@", true},       {"u:p@a@b", true},    {"u p:x@proxy", true},
        {"u/:p@proxy", true}, {"u:p#@proxy", true}, {"u:p?@proxy", true}, {"u:p\\@proxy", true},
        {"@:proxy", true},    {"u:p@pro xy", true},
    };
    for (const named_t &proxy : proxies)
        for (const std::string front : {"", "http://", "HTTP://"})
            expect_judged(1292, 0, {front + proxy.name, proxy.is_refused}, 1);
}

TEST(RequestCheck, DotSegmentsAndBlanksInAPathAreTaken)
{
    for (const char *path : {"../f", "./f", "a/../b", "..", "/..//f", " f ", "", "d/", "~/f", "%2e%2e/f"})
        for (const uint32_t protocol : PROTOCOLS)
            expect_judged(0, protocol, {path, false});
}

TEST(RequestCheck, AHostThatWouldEndBeforeItsNameOrIsEmptyIsRefused)
{
    std::vector<named_t> hosts(std::begin(HOSTS), std::end(HOSTS));
    for (const named_t &host : each_control_character_in("a"))
        hosts.push_back(host);
    for (const named_t &host : hosts)
        for (const uint32_t protocol : PROTOCOLS)
            expect_judged(768, protocol, {host.name, host.is_refused && !is_zixi(protocol)});
}

TEST(RequestCheck, AProxysNameIsHeldToTheSameRuleWhereAProxyIsUsed)
{
    std::vector<named_t> hosts(std::begin(HOSTS), std::end(HOSTS));
    for (const named_t &host : each_control_character_in("a"))
        hosts.push_back(host);
    for (const named_t &host : hosts) {
        const bool names_a_scheme = host.name == "http://a";
        for (const std::string front : {"", "http://", "HTTP://", "Http://"})
            for (const uint32_t proxy_type : {0u, 1u, 2u, 0xFFFFFFFFu})
                for (const uint32_t protocol : PROTOCOLS) {
                    const bool logs_in = host.name == "u:p@a";
                    const bool is_refused = names_a_scheme ? !front.empty() : host.is_refused && !logs_in;
                    const bool is_read = proxy_type != 0 && !is_zixi(protocol);
                    expect_judged(1292, protocol, {front + host.name, is_refused && is_read}, proxy_type);
                }
    }
}

TEST(RequestCheck, AProxyOfAnotherSchemeIsRefusedButSocksIsLeftToTheEngine)
{
    for (const char *scheme : {"https://", "ftp://", "ftps://", "sftp://", "http:/", "socks6://", "socks:/"})
        expect_judged(1292, 0, {scheme + std::string("a"), true}, 1);
    for (const char *scheme :
         {"socks4://", "socks4a://", "socks5://", "socks5h://", "socks://", "SOCKS5://", "Socks://"})
        for (const char *host : {"a", "a/b", "u:p@a", ""})
            expect_judged(1292, 0, {scheme + std::string(host), false}, 1);
}
