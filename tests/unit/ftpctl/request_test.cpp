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

// The record as it reaches the daemon, with offsets counted by hand.
bytes_t sent(const job_t &job)
{
    fake_daemon daemon(script_of({idle()}));
    ftpclient_t *made = nullptr;
    EXPECT_EQ(ftpclient_open(daemon.path().c_str(), &made), FTPCLIENT_OK);
    const client_t client(made);
    EXPECT_EQ(ftpclient_start(client.get(), job.kind, job.request.get(), FTPCLIENT_TIMEOUT_MS), FTPCLIENT_OK);
    EXPECT_EQ(daemon.messages().back().body.size(), 2080u);
    return daemon.messages().back().body;
}

bytes_t built(int kind, const options_t &options) { return sent(job_of(kind, options)); }

logins_t logins(const std::string &user, const std::string &password)
{
    logins_t both;
    both.user = user;
    both.password = password;
    return both;
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

TEST(Request, EveryMemberIsAtItsPlace)
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
    const bytes_t bytes = sent(job);

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

TEST(Request, EverythingElseIsZero)
{
    const bytes_t bytes = built(DOWNLOAD, options_for("ftps://anna@h/f"));
    EXPECT_EQ(text_at(bytes, 1060), "");
    for (size_t at = 1292; at < bytes.size(); at++)
        EXPECT_EQ(bytes[at], 0) << "byte " << at;
}

TEST(Request, NumbersComeFromTheUrlOrAnOption)
{
    const std::tuple<const char *, void (*)(options_t &), size_t, uint32_t> rows[] = {
        {"ftps://a@h/f", [](auto &) {}, 1288, 1},
        {"zixi://h/f", [](auto &) {}, 1288, 4},
        {"zixi://h/f", [](auto &) {}, 1024, 2088},
        {"ftp://a@h/f", [](auto &o) { o.active = true; }, 1284, 0},
        {"zixi://h/f", [](auto &o) { o.no_overwrite = true; }, 2076, 1},
        {"ftpes://a@h/f", [](auto &o) { o.pin = "sha1:" + std::string(40, '1'); }, 1556, 2},
    };
    for (const auto &[url, ask, at, number] : rows) {
        options_t options = options_for(url);
        ask(options);
        EXPECT_EQ(word_at(built(UPLOAD, options), at), number) << url << " " << at;
    }
}

TEST(Request, ZixiCredentialsAreInThePasswordField)
{
    options_t options = options_for("zixi://feeder@h/dir/f");
    options.protocol = 5;
    job_t job = job_of(UPLOAD, options);
    request_set_logins(job, logins("feeder", "key"));
    const bytes_t bytes = sent(job);
    EXPECT_EQ(word_at(bytes, 1288), 5u);
    EXPECT_EQ(text_at(bytes, 1028), "");
    EXPECT_EQ(text_at(bytes, 1060), "");
    EXPECT_EQ(text_at(bytes, 1092), "feeder");
    EXPECT_EQ(text_at(bytes, 1156), "key");
    EXPECT_EQ(word_at(bytes, 2076), 0u) << "0 means overwrite";
}

TEST(Request, FtpWithoutAUserIsAnonymousAndZixiHasNoLogin)
{
    const options_t options = options_for("ftp://h/f");
    job_t job = job_of(DOWNLOAD, options);
    request_set_logins(job, logins_find(options, job.url));
    const bytes_t bytes = sent(job);
    EXPECT_EQ(text_at(bytes, 1028), "anonymous");
    EXPECT_EQ(text_at(bytes, 1060), "ftpctl@");
    const logins_t none = logins_find({}, url_parse("zixi://h/f"));
    EXPECT_EQ(none.user + none.password, "");
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
    options.proxy_password.file = "/dev/null";
    for (const char *proxy : {"", "proxy"}) {
        options.proxy = proxy;
        EXPECT_EQ(failure_of([&] { logins_find(options, url_parse("ftp://h/f")); }),
                  "2 --proxy-password-file: needs --proxy USER@HOST");
    }
}

TEST(Request, AnIdentityFileIsMadeAbsolute)
{
    const std::string here = std::filesystem::current_path();
    options_t options = options_for("ftps://a@h/f");
    options.save_identity = "cert.pem";
    EXPECT_EQ(text_at(built(DOWNLOAD, options), 1817), here + "/cert.pem");
}

// The library's own tests cover which strings and pins it refuses.
TEST(Request, ARefusalByTheLibraryIsReportedInItsWords)
{
    const std::string x(512, 'x');
    EXPECT_EQ(refusal_of(UPLOAD, options_for("ftp://a@" + x + "/f")),
              "2 host: 512 bytes are too many, at most 255 fit");
    job_t job = job_of(UPLOAD, options_for("ftp://h/f"));
    EXPECT_EQ(failure_of([&] { request_set_logins(job, logins("a", "a\nb")); }),
              "2 password: must not hold a line feed");
}

TEST(Request, OptionsThatTheProtocolCannotUseAreRefused)
{
    const char *ftp = "ftp://a@h/f";
    const char *zixi = "zixi://h/f";
    const std::tuple<const char *, int, void (*)(options_t &), const char *> rows[] = {
        {zixi, DOWNLOAD, [](auto &) {}, "2 zixi:// supports only put"},
        {zixi, FILE_INFO, [](auto &) {}, "2 zixi:// supports only put"},
        {zixi, UPLOAD, [](auto &o) { o.resume = true; }, "2 resume: "},
        {zixi, UPLOAD, [](auto &o) { o.verify = true; }, "2 verify: "},
        {zixi, UPLOAD, [](auto &o) { o.proxy = "p"; }, "2 proxy: "},
        {ftp, UPLOAD, [](auto &o) { o.proxy = std::string(256, 'x'); },
         "2 proxy host: 256 bytes are too many"},
        {ftp, UPLOAD, [](auto &o) { o.no_overwrite = true; }, "2 overwrite: "},
        {ftp, UPLOAD, [](auto &o) { o.protocol = 5; }, "2 --protocol:"},
        {ftp, UPLOAD, [](auto &o) { o.pin = "md5:" + std::string(32, '0'); }, "2 pin: "},
        {ftp, UPLOAD, [](auto &o) { o.save_identity = "/f"; }, "2 identity file: only FTPS and SFTP"},
        {ftp, UPLOAD, [](auto &o) { o.proxy = "p", o.resume = true; }, "2 --proxy: a remote file's size"},
        {ftp, UPLOAD, [](auto &o) { o.proxy = "p", o.verify = true; }, "2 --proxy: a remote file's size"},
        {ftp, FILE_INFO, [](auto &o) { o.proxy = "p"; }, "2 --proxy: a remote file's size"},
        {ftp, UPLOAD, [](auto &o) { o.no_wait = o.resume = true; }, "2 --no-wait: "},
        {ftp, UPLOAD, [](auto &o) { o.no_wait = o.verify = true; }, "2 --no-wait: "},
    };
    for (const auto &[url, kind, ask, line] : rows) {
        options_t options = options_for(url);
        ask(options);
        EXPECT_THAT(refusal_of(kind, options), StartsWith(line));
    }
    options_t options = options_for(ftp);
    options.proxy = "p";
    EXPECT_EQ(refusal_of(UPLOAD, options), "");
}
