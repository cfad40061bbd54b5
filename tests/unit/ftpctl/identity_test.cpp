// `identity` against a scripted daemon.
#include "ftpctl/server_identity.h"

#include "played.h"

namespace
{

constexpr const char *KEY =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINPn7G9vM7XfgwrymICcgDutHoagWuu3ZeQaQg42Z6Pi\n";
constexpr const char *PIN = "md5:ac:d8:8f:60:47:fe:fc:c9:5d:52:f2:08:6a:59:50:b4";

// A daemon that saves `identity` where the request says and ends the job with `result`.
struct saving_daemon {
    temp_dir dir;
    std::atomic<mode_t> folder_mode = 0; // set by the daemon's thread
    fake_daemon daemon;

    saving_daemon(const std::string &identity, uint32_t result)
        : daemon([this, identity, script = script_of({idle(), running(1, 0, 0), ended(1, result, 0, 0)})](
                     const message_t &message) mutable {
              if (message.command == COMMAND_DOWNLOAD && !identity.empty())
                  save(request_of(message), identity);
              return script(message);
          })
    {
    }

    void save(const transfer_request_t &request, const std::string &identity)
    {
        const std::filesystem::path path = request.server_auth.save_path;
        struct stat status = {};
        stat(path.parent_path().c_str(), &status);
        folder_mode = status.st_mode;
        std::ofstream(path, std::ios::binary) << identity;
        std::ofstream(request.local_path, std::ios::binary) << "";
    }

    outcome_t ask(std::vector<std::string> words)
    {
        words.insert(words.begin(), "identity");
        words.insert(words.end(), {"--socket", daemon.path()});
        return run(words, {"TMPDIR=" + (dir / ""), "FTPCTL_PASSWORD=secret"});
    }

    bool left_nothing() const { return std::filesystem::is_empty(dir / ""); }
};

} // namespace

TEST(Identity, PrintsThePinOfTheKeyThatTheDaemonSaved)
{
    saving_daemon play(KEY, 22);
    const outcome_t outcome = play.ask({"sftp://host"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "host key of host:22\n"
                           "type     ssh-ed25519\n"
                           "key      Ed25519, 256 bits\n"
                           "SHA-256  SHA256:D92P41XDIVZwaL3aXWh73M80N7iGxwiWyBLNlMvfFeM\n"
                           "MD5      ac:d8:8f:60:47:fe:fc:c9:5d:52:f2:08:6a:59:50:b4\n"
                           "use      --pin " +
                               std::string(PIN) + "\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(play.folder_mode, S_IFDIR | 0700u);
    EXPECT_TRUE(play.left_nothing());
}

TEST(Identity, StartsADownloadThatRefusesEveryServer)
{
    saving_daemon play(KEY, 22);
    EXPECT_EQ(play.ask({"--proxy", "http://gate:3129", "sftp://anna@host:2022/some/file"}).status, 0);
    ASSERT_THAT(play.daemon.commands(), ElementsAre(3u, 1u, 3u, 3u));
    const transfer_request_t request = play.daemon.requests().at(0);
    EXPECT_STREQ(request.host, "host");
    EXPECT_EQ(request.port, 2022u);
    EXPECT_STREQ(request.username, "");
    EXPECT_STREQ(request.password, "") << "no server may get it";
    EXPECT_EQ(request.server_auth.auth_type, 1u);
    EXPECT_EQ(request.server_auth.digest_length, 0) << "no key's digest has that length";
    EXPECT_STREQ(request.proxy_host, "gate");
    EXPECT_EQ(request.proxy_port, 3129u);
    EXPECT_EQ(request.proxy_type, 1u);
    const std::string folder = std::filesystem::path(request.server_auth.save_path).parent_path();
    EXPECT_EQ(std::filesystem::path(request.local_path).parent_path(), folder);
}

TEST(Identity, IsOneJsonObjectOrOnlyThePin)
{
    const outcome_t object = saving_daemon(KEY, 22).ask({"--json", "sftp://host"});
    EXPECT_EQ(object.status, 0);
    EXPECT_EQ(json::parse(object.out)["identity"]["pin"], PIN);
    EXPECT_EQ(json::parse(object.out)["identity"]["server"], "host:22");
    EXPECT_EQ(saving_daemon(KEY, 22).ask({"--quiet", "sftp://host"}).out, std::string(PIN) + "\n");
    const outcome_t unread = saving_daemon("", 16).ask({"--json", "ftps://host"});
    EXPECT_EQ(json::parse(unread.out)["error"], "network");
    EXPECT_EQ(json::parse(unread.out)["job"]["result_name"], "FTPCD_ERR_NETWORK");
    EXPECT_EQ(json::parse(unread.out)["identity"], nullptr);
}

TEST(Identity, ThatCannotBeReadIsReportedInOneLine)
{
    const std::tuple<const char *, uint32_t, int, Matcher<std::string>> rows[] = {
        {"", 16, 36, StartsWith("ftpctl: sftp://host: the transfer failed; ")},
        {"", 9, 29, HasSubstr("set TMPDIR to a folder")},
        {"", 20, 40, HasSubstr("set TMPDIR to a folder")},
        {"", 22, 1, HasSubstr("/identity: No such file or directory\n")},
        {KEY, 0, 5, "ftpctl: the daemon has not checked the server\n"},
        {"what is this\n", 22, 5,
         "ftpctl: what the daemon has saved is neither a certificate nor a host key\n"},
    };
    for (const auto &[saved, result, status, err] : rows) {
        SCOPED_TRACE(status);
        saving_daemon play(saved, result);
        const outcome_t outcome = play.ask({"sftp://host"});
        EXPECT_EQ(outcome.status, status);
        EXPECT_THAT(outcome.err, err);
        EXPECT_TRUE(play.left_nothing());
    }
}

TEST(Identity, LeavesNothingBehindWhenInterrupted)
{
    const temp_dir dir;
    fake_daemon daemon(endless(1));
    setenv("TMPDIR", (dir / "").c_str(), 1);
    EXPECT_EQ(interrupted(daemon, {"identity", "ftps://host"}, SIGINT).status, 21);
    unsetenv("TMPDIR");
    EXPECT_TRUE(daemon.has_got(4, 1));
    EXPECT_TRUE(std::filesystem::is_empty(dir / ""));
}

TEST(IdentityText, ShowsACertificate)
{
    server_identity_t identity;
    identity.subject = "CN = a";
    identity.not_before = "then";
    identity.not_after = "later";
    identity.key_type = "RSA";
    identity.key_bits = 2048;
    identity.sha256 = "AA";
    identity.digest = "BB";
    identity.pin = "sha1:BB";
    EXPECT_EQ(identity_text("h:990", identity), "certificate of h:990\n"
                                                "subject  CN = a\n"
                                                "issuer   none\n"
                                                "valid    then to later\n"
                                                "key      RSA, 2048 bits\n"
                                                "SHA-256  AA\n"
                                                "SHA-1    BB\n"
                                                "use      --pin sha1:BB");
}
