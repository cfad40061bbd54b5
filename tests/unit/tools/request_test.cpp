#include "tools/request.h"

#include "refused.h"

#include <array>
#include <cstring>
#include <filesystem>

using testing::StartsWith;

namespace
{

using record_t = std::array<uint8_t, 2080>;

// Offsets are those of the record as it travels, counted by hand.
record_t bytes_of(const transfer_request_t &request)
{
    record_t bytes;
    static_assert(sizeof request == sizeof bytes);
    memcpy(bytes.data(), &request, sizeof bytes);
    return bytes;
}

record_t built(control_command command, const options_t &options)
{
    return bytes_of(request_build(command, options, url_parse(options.url)));
}

uint32_t word_at(const record_t &bytes, size_t offset)
{
    uint32_t word = 0;
    for (size_t i = 4; i-- > 0;)
        word = word << 8 | bytes[offset + i];
    return word;
}

std::string text_at(const record_t &bytes, size_t offset)
{
    return reinterpret_cast<const char *>(bytes.data()) + offset;
}

options_t options_for(const std::string &url, const std::string &file = "/tmp/file")
{
    options_t options;
    options.url = url;
    options.file = file;
    return options;
}

std::string refusal_of(control_command command, const options_t &options)
{
    return failure_of([&] { built(command, options); });
}

} // namespace

TEST(Request, EveryMemberTravelsAtItsPlace)
{
    options_t options = options_for("sftp://anna@server.example:2222/dir/file", "/data/local");
    options.pin = "md5:000102030405060708090a0b0c0d0e0f";
    options.save_identity = "/data/key";
    options.proxy = "proxy.example:8080";
    auto request = request_build(COMMAND_UPLOAD, options, url_parse(options.url));
    request_set_password(request, "secret");
    request.resume = 1;
    const record_t bytes = bytes_of(request);

    EXPECT_EQ(text_at(bytes, 0), "dir/file");
    EXPECT_EQ(text_at(bytes, 512), "/data/local");
    EXPECT_EQ(text_at(bytes, 768), "server.example");
    EXPECT_EQ(word_at(bytes, 1024), 2222u);
    EXPECT_EQ(text_at(bytes, 1028), "anna");
    EXPECT_EQ(text_at(bytes, 1060), "secret");
    EXPECT_EQ(word_at(bytes, 1284), 1u);
    EXPECT_EQ(word_at(bytes, 1288), 3u);
    EXPECT_EQ(text_at(bytes, 1292), "proxy.example");
    EXPECT_EQ(word_at(bytes, 1548), 8080u);
    EXPECT_EQ(word_at(bytes, 1552), 1u);
    EXPECT_EQ(word_at(bytes, 1556), 1u);
    EXPECT_EQ(bytes[1560], 16);
    for (size_t i = 0; i < 16; i++)
        EXPECT_EQ(bytes[1561 + i], i);
    EXPECT_EQ(text_at(bytes, 1817), "/data/key");
    EXPECT_EQ(word_at(bytes, 2076), 1u);
}

TEST(Request, WhatIsNotAskedForIsZero)
{
    const record_t bytes = built(COMMAND_DOWNLOAD, options_for("ftps://anna@h/f"));
    EXPECT_EQ(text_at(bytes, 1060), "");
    for (size_t at = 1292; at < bytes.size(); at++)
        EXPECT_EQ(bytes[at], 0) << "byte " << at;
}

TEST(Request, TheProtocolIsTheSchemes)
{
    const struct {
        const char *url;
        uint32_t protocol;
        uint32_t port;
    } cases[] = {{"ftp://a@h/f", 0, 21},
                 {"ftps://a@h/f", 1, 990},
                 {"ftpes://a@h/f", 2, 21},
                 {"sftp://a@h/f", 3, 22},
                 {"zixi://h/f", 4, 2088}};
    for (const auto &c : cases) {
        const record_t bytes = built(COMMAND_UPLOAD, options_for(c.url));
        EXPECT_EQ(word_at(bytes, 1288), c.protocol) << c.url;
        EXPECT_EQ(word_at(bytes, 1024), c.port) << c.url;
    }
}

TEST(Request, ActiveModeClearsThePassiveWord)
{
    options_t options = options_for("ftp://a@h/f");
    options.active = true;
    EXPECT_EQ(word_at(built(COMMAND_DOWNLOAD, options), 1284), 0u);
}

TEST(Request, ASha1PinTravelsWithItsLength)
{
    options_t options = options_for("ftpes://a@h/f");
    options.pin = "sha1:0102030405060708090a0b0c0d0e0f1011121314";
    const record_t bytes = built(COMMAND_DOWNLOAD, options);
    EXPECT_EQ(word_at(bytes, 1556), 2u);
    EXPECT_EQ(bytes[1560], 20);
    for (size_t i = 0; i < 20; i++)
        EXPECT_EQ(bytes[1561 + i], i + 1);
}

TEST(Request, ZixiCredentialsLieInsideThePasswordField)
{
    options_t options = options_for("zixi://feeder@h/dir/f");
    options.protocol = 5;
    auto request = request_build(COMMAND_UPLOAD, options, url_parse(options.url));
    request_set_password(request, "key");
    const record_t bytes = bytes_of(request);
    EXPECT_EQ(word_at(bytes, 1288), 5u);
    EXPECT_EQ(text_at(bytes, 1028), "");
    EXPECT_EQ(text_at(bytes, 1060), "");
    EXPECT_EQ(text_at(bytes, 1092), "feeder");
    EXPECT_EQ(text_at(bytes, 1156), "key");
    EXPECT_EQ(word_at(bytes, 2076), 0u) << "0 asks for overwrite";
}

TEST(Request, ZixiWithoutOverwriteSetsTheLastWord)
{
    options_t options = options_for("zixi://h/f");
    options.no_overwrite = true;
    EXPECT_EQ(word_at(built(COMMAND_UPLOAD, options), 2076), 1u);
}

TEST(Request, FtpWithoutAUserIsAnonymous)
{
    const options_t options = options_for("ftp://h/f");
    const record_t bytes = built(COMMAND_DOWNLOAD, options);
    EXPECT_EQ(text_at(bytes, 1028), "anonymous");
    EXPECT_EQ(text_at(bytes, 1060), "ftpctl@");
    EXPECT_FALSE(request_needs_password(options, url_parse(options.url)));
}

TEST(Request, ANamedUserNeedsAPassword)
{
    options_t options = options_for("ftp://h/f");
    options.user = "anna";
    EXPECT_TRUE(request_needs_password(options, url_parse("ftp://h/f")));
    EXPECT_TRUE(request_needs_password({}, url_parse("zixi://feeder@h/f")));
    EXPECT_FALSE(request_needs_password({}, url_parse("zixi://h/f")));
}

TEST(Request, TheUserComesFromTheOptionOrTheUrl)
{
    options_t options = options_for("ftp://h/f");
    options.user = "anna";
    EXPECT_EQ(text_at(built(COMMAND_DOWNLOAD, options), 1028), "anna");
    options.url = "ftp://anna@h/f";
    EXPECT_EQ(text_at(built(COMMAND_DOWNLOAD, options), 1028), "anna");
    options.url = "ftp://bert@h/f";
    EXPECT_THAT(refusal_of(COMMAND_DOWNLOAD, options), StartsWith("2 --user:"));
}

TEST(Request, LocalPathsAreMadeAbsolute)
{
    const std::string here = std::filesystem::current_path();
    options_t options = options_for("ftps://a@h/f", "sub/file");
    options.save_identity = "cert.pem";
    const record_t bytes = built(COMMAND_DOWNLOAD, options);
    EXPECT_EQ(text_at(bytes, 512), here + "/sub/file");
    EXPECT_EQ(text_at(bytes, 1817), here + "/cert.pem");
}

TEST(Request, AProxyHasADefaultPortAndMayHaveItsScheme)
{
    options_t options = options_for("ftp://a@h/f");
    const struct {
        const char *proxy;
        const char *host;
        uint32_t port;
    } cases[] = {{"proxy", "proxy", 3128}, {"http://proxy:80", "proxy", 80}, {"[::1]:3129", "[::1]", 3129}};
    for (const auto &c : cases) {
        options.proxy = c.proxy;
        const record_t bytes = built(COMMAND_DOWNLOAD, options);
        EXPECT_EQ(text_at(bytes, 1292), c.host);
        EXPECT_EQ(word_at(bytes, 1548), c.port);
        EXPECT_EQ(word_at(bytes, 1552), 1u);
    }
    options.proxy = "socks5://proxy";
    EXPECT_THAT(refusal_of(COMMAND_DOWNLOAD, options), StartsWith("2 --proxy: only HTTP"));
}

TEST(Request, AStringThatFillsItsFieldIsRefusedByNameAndLimit)
{
    const auto x = [](size_t n) { return std::string(n, 'x'); };
    const auto with = [](const std::string &url, const std::string &file) {
        return refusal_of(COMMAND_UPLOAD, options_for(url, file));
    };
    EXPECT_EQ(with("ftp://a@h/" + x(511), "/f"), "");
    EXPECT_EQ(with("ftp://a@h/" + x(512), "/f"), "2 remote path: 512 bytes are too many, at most 511 fit");
    EXPECT_EQ(with("ftp://a@h/f", "/" + x(254)), "");
    EXPECT_EQ(with("ftp://a@h/f", "/" + x(255)), "2 local path: 256 bytes are too many, at most 255 fit");
    EXPECT_EQ(with("ftp://a@" + x(255) + "/f", "/f"), "");
    EXPECT_EQ(with("ftp://a@" + x(256) + "/f", "/f"), "2 host: 256 bytes are too many, at most 255 fit");
    EXPECT_EQ(with("ftp://" + x(31) + "@h/f", "/f"), "");
    EXPECT_EQ(with("ftp://" + x(32) + "@h/f", "/f"), "2 user name: 32 bytes are too many, at most 31 fit");
    EXPECT_EQ(with("zixi://" + x(63) + "@h/f", "/f"), "");
    EXPECT_EQ(with("zixi://" + x(64) + "@h/f", "/f"), "2 user name: 64 bytes are too many, at most 63 fit");

    options_t options = options_for("ftps://a@h/f");
    options.save_identity = "/" + x(257);
    EXPECT_EQ(refusal_of(COMMAND_DOWNLOAD, options), "");
    options.save_identity = "/" + x(258);
    EXPECT_EQ(refusal_of(COMMAND_DOWNLOAD, options),
              "2 identity file: 259 bytes are too many, at most 258 fit");
    options = options_for("ftp://a@h/f");
    options.proxy = x(256);
    EXPECT_EQ(refusal_of(COMMAND_DOWNLOAD, options), "2 proxy host: 256 bytes are too many, at most 255 fit");
}

TEST(Request, APasswordThatFillsItsFieldIsRefused)
{
    transfer_request_t request = {};
    EXPECT_EQ(failure_of([&] { request_set_password(request, std::string(223, 'x')); }), "");
    EXPECT_EQ(failure_of([&] { request_set_password(request, std::string(224, 'x')); }),
              "2 password: 224 bytes are too many, at most 223 fit");
    request.protocol = 4;
    EXPECT_EQ(failure_of([&] { request_set_password(request, std::string(127, 'x')); }), "");
    EXPECT_EQ(failure_of([&] { request_set_password(request, std::string(128, 'x')); }),
              "2 password: 128 bytes are too many, at most 127 fit");
}

TEST(Request, CharactersThatTheDaemonRefusesAreRefused)
{
    const struct {
        const char *url;
        const char *line;
    } cases[] = {
        {"ftp://a@h/x%23y", "2 remote path: must not hold '#'"},
        {"ftp://a@h/x#y", "2 remote path: must not hold '#'"},
        {"sftp://a@h/x%3Fy", "2 remote path: must not hold '?'"},
        {"ftps://a@h/x?y", "2 remote path: must not hold '?'"},
        {"ftp://a@h/x%0Dy", "2 remote path: must not hold a carriage return"},
        {"ftp://a@h/x%0Ay", "2 remote path: must not hold a line feed"},
        {"ftp://a%0Ab@h/x", "2 user name: must not hold a line feed"},
        {"ftp://a%0Db@h/x", "2 user name: must not hold a carriage return"},
        {"ftp://a@h/x;type=a", "2 remote path: must not hold ';type='"},
        {"sftp://a@h/x;type=a", ""},
        {"zixi://a@h/x%23y%3F", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(refusal_of(COMMAND_UPLOAD, options_for(c.url)), c.line) << c.url;
    transfer_request_t request = {};
    EXPECT_EQ(failure_of([&] { request_set_password(request, "a\rb"); }),
              "2 password: must not hold a carriage return");
    EXPECT_EQ(failure_of([&] { request_set_password(request, "a\nb"); }),
              "2 password: must not hold a line feed");
}

TEST(Request, APinThatWouldNotBeCheckedIsRefused)
{
    options_t options = options_for("ftp://a@h/f");
    const std::string sha1 = "sha1:" + std::string(40, '0');
    const std::string md5 = "md5:" + std::string(32, '0');
    const struct {
        const char *url;
        std::string pin;
        const char *line;
    } cases[] = {
        {"ftp://a@h/f", sha1, "2 --pin: sha1"}, {"sftp://a@h/f", sha1, "2 --pin: sha1"},
        {"zixi://h/f", sha1, "2 --pin: sha1"},  {"ftp://a@h/f", md5, "2 --pin: md5"},
        {"ftps://a@h/f", md5, "2 --pin: md5"},  {"ftpes://a@h/f", md5, "2 --pin: md5"},
    };
    for (const auto &c : cases) {
        options.url = c.url;
        options.pin = c.pin;
        EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith(c.line)) << c.url;
    }
    options = options_for("ftp://a@h/f");
    options.save_identity = "/f";
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --save-identity:"));
}

TEST(Request, WhatAProtocolCannotDoIsRefused)
{
    EXPECT_EQ(refusal_of(COMMAND_DOWNLOAD, options_for("zixi://h/f")), "2 zixi:// can only put");
    EXPECT_EQ(refusal_of(COMMAND_DL_FILE_INFO, options_for("zixi://h/f")), "2 zixi:// can only put");
    options_t options = options_for("zixi://h/f");
    options.resume = true;
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --resume:"));
    options = options_for("zixi://h/f");
    options.proxy = "p";
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --proxy:"));
    options = options_for("ftp://a@h/f");
    options.no_overwrite = true;
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --no-overwrite:"));
    options = options_for("ftp://a@h/f");
    options.protocol = 5;
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --protocol:"));
    options = options_for("ftp://a@h/f");
    options.proxy = "p";
    options.resume = true;
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options), StartsWith("2 --proxy:"));
    EXPECT_THAT(refusal_of(COMMAND_UPLOAD, options_for("sftp://h/f")), StartsWith("2 sftp:// needs a user"));
}
