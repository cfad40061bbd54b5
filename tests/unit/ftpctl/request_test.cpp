#include "ftpctl/request.h"

#include "fake_daemon.h"
#include "refused.h"

#include <filesystem>

using testing::StartsWith;

namespace
{

constexpr int UPLOAD = FTPCLIENT_UPLOAD;
constexpr int DOWNLOAD = FTPCLIENT_DOWNLOAD;
constexpr int FILE_INFO = FTPCLIENT_FILE_INFO;

job_t job_of(int kind, const options_t &options)
{
    const std::string local = options.files.empty() ? "/tmp/file" : options.files.front();
    return request_build(options, kind, url_parse(options.url), options.url, local);
}

// The record as it reaches the daemon. Offsets are those of the record as it travels, counted by hand.
using record_t = bytes_t;
record_t sent(const job_t &job)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    ftpclient_t *made = nullptr;
    EXPECT_EQ(ftpclient_open(daemon.path().c_str(), &made), FTPCLIENT_OK);
    const client_t client(made);
    EXPECT_EQ(ftpclient_start(client.get(), job.kind, job.request.get(), FTPCLIENT_TIMEOUT_MS), FTPCLIENT_OK);
    for (const message_t &message : daemon.messages()) {
        if (message.body.size() == 2080)
            return message.body;
    }
    ADD_FAILURE() << "nothing was sent";
    return record_t(2080);
}

record_t built(int kind, const options_t &options) { return sent(job_of(kind, options)); }

logins_t logins(const std::string &user, const std::string &password)
{
    logins_t both;
    both.user = user;
    both.password = password;
    return both;
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
    options.files = {file};
    return options;
}

std::string refusal_of(int kind, const options_t &options)
{
    return failure_of([&] { job_of(kind, options); });
}

} // namespace

TEST(Request, EveryMemberTravelsAtItsPlace)
{
    options_t options = options_for("sftp://anna@server.example:2222/dir/file", "/data/local");
    options.pin = "md5:000102030405060708090a0b0c0d0e0f";
    options.save_identity = "/data/key";
    options.proxy = "peter@proxy.example:8080";
    job_t job = job_of(UPLOAD, options);
    logins_t both = logins("anna", "secret");
    both.proxy_user = "peter";
    both.proxy_password = "p:w";
    request_set_logins(job, both);
    const record_t bytes = sent(job);

    EXPECT_EQ(text_at(bytes, 0), "dir/file");
    EXPECT_EQ(text_at(bytes, 512), "/data/local");
    EXPECT_EQ(text_at(bytes, 768), "server.example");
    EXPECT_EQ(word_at(bytes, 1024), 2222u);
    EXPECT_EQ(text_at(bytes, 1028), "anna");
    EXPECT_EQ(text_at(bytes, 1060), "secret");
    EXPECT_EQ(word_at(bytes, 1284), 1u);
    EXPECT_EQ(word_at(bytes, 1288), 3u);
    EXPECT_EQ(text_at(bytes, 1292), "peter:p%3Aw@proxy.example");
    EXPECT_EQ(word_at(bytes, 1548), 8080u);
    EXPECT_EQ(word_at(bytes, 1552), 1u);
    EXPECT_EQ(word_at(bytes, 1556), 1u);
    EXPECT_EQ(bytes[1560], 16);
    for (size_t i = 0; i < 16; i++)
        EXPECT_EQ(bytes[1561 + i], i);
    EXPECT_EQ(text_at(bytes, 1817), "/data/key");
}

TEST(Request, WhatIsNotAskedForIsZero)
{
    const record_t bytes = built(DOWNLOAD, options_for("ftps://anna@h/f"));
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
        const record_t bytes = built(UPLOAD, options_for(c.url));
        EXPECT_EQ(word_at(bytes, 1288), c.protocol) << c.url;
        EXPECT_EQ(word_at(bytes, 1024), c.port) << c.url;
    }
}

TEST(Request, ActiveModeClearsThePassiveWord)
{
    options_t options = options_for("ftp://a@h/f");
    options.active = true;
    EXPECT_EQ(word_at(built(DOWNLOAD, options), 1284), 0u);
}

TEST(Request, ASha1PinTravelsWithItsLength)
{
    options_t options = options_for("ftpes://a@h/f");
    options.pin = "sha1:0102030405060708090a0b0c0d0e0f1011121314";
    const record_t bytes = built(DOWNLOAD, options);
    EXPECT_EQ(word_at(bytes, 1556), 2u);
    EXPECT_EQ(bytes[1560], 20);
    for (size_t i = 0; i < 20; i++)
        EXPECT_EQ(bytes[1561 + i], i + 1);
}

TEST(Request, ZixiCredentialsLieInsideThePasswordField)
{
    options_t options = options_for("zixi://feeder@h/dir/f");
    options.protocol = 5;
    job_t job = job_of(UPLOAD, options);
    request_set_logins(job, logins("feeder", "key"));
    const record_t bytes = sent(job);
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
    EXPECT_EQ(word_at(built(UPLOAD, options), 2076), 1u);
}

TEST(Request, FtpWithoutAUserIsAnonymous)
{
    const options_t options = options_for("ftp://h/f");
    job_t job = job_of(DOWNLOAD, options);
    request_set_logins(job, logins_find(options, job.url));
    const record_t bytes = sent(job);
    EXPECT_EQ(text_at(bytes, 1028), "anonymous");
    EXPECT_EQ(text_at(bytes, 1060), "ftpctl@");
}

TEST(Request, ZixiWithoutAUserHasNoLogin)
{
    const logins_t none = logins_find({}, url_parse("zixi://h/f"));
    EXPECT_EQ(none.user, "");
    EXPECT_EQ(none.password, "");
}

TEST(Request, TheUserComesFromTheOptionOrTheUrl)
{
    options_t options = options_for("ftp://h/f");
    options.user = "anna";
    EXPECT_EQ(request_user(options, url_parse("ftp://h/f")), "anna");
    EXPECT_EQ(request_user(options, url_parse("ftp://anna@h/f")), "anna");
    EXPECT_EQ(request_user({}, url_parse("ftp://anna@h/f")), "anna");
    EXPECT_THAT(failure_of([&] { request_user(options, url_parse("ftp://bert@h/f")); }),
                StartsWith("2 --user:"));
    EXPECT_THAT(failure_of([] { request_user({}, url_parse("sftp://h/f")); }),
                StartsWith("2 sftp:// needs a user"));
}

TEST(Request, AProxysPasswordNeedsItsUser)
{
    options_t options = options_for("ftp://h/f");
    options.proxy_password_file = "/dev/null";
    EXPECT_EQ(failure_of([&] { logins_find(options, url_parse("ftp://h/f")); }),
              "2 --proxy-password-file: needs --proxy USER@HOST");
    options.proxy = "proxy";
    EXPECT_EQ(failure_of([&] { logins_find(options, url_parse("ftp://h/f")); }),
              "2 --proxy-password-file: needs --proxy USER@HOST");
}

TEST(Request, AnIdentityFileIsMadeAbsolute)
{
    const std::string here = std::filesystem::current_path();
    options_t options = options_for("ftps://a@h/f");
    options.save_identity = "cert.pem";
    const record_t bytes = built(DOWNLOAD, options);
    EXPECT_EQ(text_at(bytes, 1817), here + "/cert.pem");
}

TEST(Request, AProxyTravelsWithItsPort)
{
    options_t options = options_for("ftp://a@h/f");
    options.proxy = "http://[::1]:3129";
    const record_t bytes = built(DOWNLOAD, options);
    EXPECT_EQ(text_at(bytes, 1292), "[::1]");
    EXPECT_EQ(word_at(bytes, 1548), 3129u);
    EXPECT_EQ(word_at(bytes, 1552), 1u);
}

TEST(Request, AStringThatFillsItsFieldIsRefusedByNameAndLimit)
{
    const auto x = [](size_t n) { return std::string(n, 'x'); };
    const auto with = [](const std::string &url, const std::string &file) {
        return refusal_of(UPLOAD, options_for(url, file));
    };
    EXPECT_EQ(with("ftp://a@h/" + x(511), "/f"), "");
    EXPECT_EQ(with("ftp://a@h/" + x(512), "/f"), "2 remote path: 512 bytes are too many, at most 511 fit");
    EXPECT_EQ(with("ftp://a@h/f", "/" + x(254)), "");
    EXPECT_EQ(with("ftp://a@h/f", "/" + x(255)), "2 local path: 256 bytes are too many, at most 255 fit");
    EXPECT_EQ(with("ftp://a@" + x(255) + "/f", "/f"), "");
    EXPECT_EQ(with("ftp://a@" + x(256) + "/f", "/f"), "2 host: 256 bytes are too many, at most 255 fit");

    options_t options = options_for("ftps://a@h/f");
    options.save_identity = "/" + x(257);
    EXPECT_EQ(refusal_of(DOWNLOAD, options), "");
    options.save_identity = "/" + x(258);
    EXPECT_EQ(refusal_of(DOWNLOAD, options), "2 identity file: 259 bytes are too many, at most 258 fit");
    options = options_for("ftp://a@h/f");
    options.proxy = x(256);
    EXPECT_EQ(refusal_of(DOWNLOAD, options), "2 proxy host: 256 bytes are too many, at most 255 fit");
}

TEST(Request, ALoginThatFillsItsFieldIsRefused)
{
    const auto x = [](size_t n) { return std::string(n, 'x'); };
    const auto refusal = [](const char *url, const std::string &user, const std::string &password) {
        job_t job = job_of(UPLOAD, options_for(url));
        return failure_of([&] { request_set_logins(job, logins(user, password)); });
    };
    EXPECT_EQ(refusal("ftp://h/f", x(31), x(223)), "");
    EXPECT_EQ(refusal("ftp://h/f", x(32), ""), "2 user name: 32 bytes are too many, at most 31 fit");
    EXPECT_EQ(refusal("ftp://h/f", "", x(224)), "2 password: 224 bytes are too many, at most 223 fit");
    EXPECT_EQ(refusal("zixi://h/f", x(63), x(127)), "");
    EXPECT_EQ(refusal("zixi://h/f", x(64), ""), "2 user name: 64 bytes are too many, at most 63 fit");
    EXPECT_EQ(refusal("zixi://h/f", "", x(128)), "2 password: 128 bytes are too many, at most 127 fit");
    EXPECT_EQ(refusal("ftp://h/f", "a\nb", ""), "2 user name: must not hold a line feed");
    EXPECT_EQ(refusal("ftp://h/f", "a\rb", ""), "2 user name: must not hold a carriage return");
    EXPECT_EQ(refusal("ftp://h/f", "", "a\rb"), "2 password: must not hold a carriage return");
    EXPECT_EQ(refusal("ftp://h/f", "", "a\nb"), "2 password: must not hold a line feed");
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
        {"ftp://a@h/x;type=a", "2 remote path: must not hold ';type='"},
        {"sftp://a@h/x;type=a", ""},
        {"zixi://a@h/x%23y%3F", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(refusal_of(UPLOAD, options_for(c.url)), c.line) << c.url;
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
        {"ftp://a@h/f", sha1, "2 pin: "}, {"sftp://a@h/f", sha1, "2 pin: "},
        {"zixi://h/f", sha1, "2 pin: "},  {"ftp://a@h/f", md5, "2 pin: "},
        {"ftps://a@h/f", md5, "2 pin: "}, {"ftpes://a@h/f", md5, "2 pin: "},
    };
    for (const auto &c : cases) {
        options.url = c.url;
        options.pin = c.pin;
        EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith(c.line)) << c.url;
    }
    options = options_for("ftp://a@h/f");
    options.save_identity = "/f";
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 identity file: only FTPS and SFTP"));
}

TEST(Request, WhatAProtocolCannotDoIsRefused)
{
    EXPECT_EQ(refusal_of(DOWNLOAD, options_for("zixi://h/f")), "2 zixi:// can only put");
    EXPECT_EQ(refusal_of(FILE_INFO, options_for("zixi://h/f")), "2 zixi:// can only put");
    options_t options = options_for("zixi://h/f");
    options.resume = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 resume: "));
    options = options_for("zixi://h/f");
    options.verify = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 verify: "));
    options = options_for("zixi://h/f");
    options.proxy = "p";
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 proxy: "));
    options = options_for("ftp://a@h/f");
    options.no_overwrite = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 overwrite: "));
    options = options_for("ftp://a@h/f");
    options.protocol = 5;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 --protocol:"));
    options = options_for("ftp://a@h/f");
    options.proxy = "p";
    options.resume = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 --proxy: a remote file's size"));
    options.resume = false;
    EXPECT_EQ(refusal_of(UPLOAD, options), "");
    options.verify = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 --proxy: a remote file's size"));
    EXPECT_THAT(refusal_of(FILE_INFO, options), StartsWith("2 --proxy: a remote file's size"));
    options = options_for("ftp://a@h/f");
    options.no_wait = options.resume = true;
    EXPECT_THAT(refusal_of(UPLOAD, options), StartsWith("2 --no-wait: "));
}
