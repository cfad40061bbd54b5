// Behaviour on a terminal.
#include "played.h"
#include "terminal.h"

using testing::ContainsRegex;
using testing::Not;

namespace
{

// `put` of a file of 1000 bytes.
class Terminal : public testing::Test
{
protected:
    temp_dir dir_;

    std::vector<std::string> put(const std::string &url, const fake_daemon &daemon)
    {
        return {"put", dir_.file("f", std::string(1000, 'x')), url, "--socket", daemon.path()};
    }
};

const std::string QUESTION = "Password for anna@host: ";

class PasswordPrompt : public Terminal
{
protected:
    fake_daemon daemon_{script_of({idle()})};
    std::vector<std::string> words_ = put("ftp://anna@host/f", daemon_);

    void expect_nothing_was_started() { EXPECT_EQ(daemon_.starts(), 0u); }
};

} // namespace

TEST_F(Terminal, AsksForThePasswordWithoutEcho)
{
    fake_daemon daemon(script_of({idle(), ended(2, 0, 1000, 1000)}));
    terminal screen(put("ftp://anna@host/f", daemon));
    ASSERT_TRUE(screen.shows("Password for anna@host: "));
    EXPECT_FALSE(screen.echoes());
    screen.type("top secret\n");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secret")));
    EXPECT_STREQ(daemon.requests().at(0).password, "top secret");
}

TEST_F(Terminal, ShowsABarAndRemovesItAtTheEnd)
{
    fake_daemon daemon(script_of({idle(), running(2, 1000, 500), ended(2, 0, 1000, 1000)}));
    terminal screen(put("ftp://host/f", daemon));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(),
                HasSubstr("\r[####################....................] 50 %, 500 B of 1.0 kB\033[K"));
    EXPECT_THAT(screen.seen(), ContainsRegex("\r\033\\[Kftp://host/f: 1000 of 1000 bytes in [0-9.]+ s\r\n"));
}

TEST_F(Terminal, CtrlCCancelsTheJobAndSaysSo)
{
    job_script script = script_of({idle(), running(2, 1000, 500)});
    script.cancelled = ended(2, 1, 1000, 500);
    fake_daemon daemon(script);
    terminal screen(put("ftp://host/f", daemon));
    ASSERT_TRUE(screen.shows("50 %"));
    screen.type("\x03");
    EXPECT_EQ(screen.wait(), 21);
    EXPECT_THAT(screen.seen(), HasSubstr("\r\033[Kinterrupted, cancelling the job\r\n"));
    EXPECT_TRUE(daemon.has_got(4, 1));
}

TEST_F(PasswordPrompt, CtrlCAndCtrlDEndItWithALineOfTheirOwn)
{
    const std::string ended = "no password for anna@host: the input ended";
    const struct {
        const char *keys;
        int status; // 21: as a cancelled job
        std::string seen;
    } rows[] = {{"half a secr\x03", 21, QUESTION + "\r\nftpctl: interrupted"},
                {"\x04", 2, QUESTION + "\r\nftpctl: " + ended},
                {"secret\x04\x04", 2, ended}};
    for (const auto &row : rows) {
        terminal screen(words_);
        ASSERT_TRUE(screen.shows(QUESTION));
        EXPECT_FALSE(screen.echoes());
        screen.type(row.keys);
        EXPECT_EQ(screen.wait(), row.status);
        EXPECT_TRUE(screen.echoes());
        EXPECT_THAT(screen.seen(), HasSubstr(row.seen));
        EXPECT_THAT(screen.seen(), Not(HasSubstr("secr")));
    }
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, EveryEndingSignalRestoresTheEcho)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        terminal screen(words_);
        ASSERT_TRUE(screen.shows(QUESTION));
        EXPECT_FALSE(screen.echoes());
        screen.signal(number);
        EXPECT_EQ(screen.wait(), 21) << number;
        EXPECT_TRUE(screen.echoes()) << number;
        EXPECT_THAT(screen.seen(), HasSubstr("\r\nftpctl: interrupted")) << number;
    }
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, CtrlZRestoresTheEchoUntilTheProgramContinues)
{
    std::string command = FTPCTL;
    for (const std::string &word : words_)
        command += " " + word;
    terminal screen({"-mc", command + "; echo is stopped; read x; fg; echo ended with $?"}, "sh");
    ASSERT_TRUE(screen.shows(QUESTION));
    EXPECT_FALSE(screen.echoes());
    screen.type("half a secr\x1A");
    ASSERT_TRUE(screen.shows("is stopped"));
    EXPECT_TRUE(screen.echoes());
    screen.type("go\n");
    ASSERT_TRUE(screen.shows(QUESTION));
    EXPECT_FALSE(screen.echoes());
    screen.type("\x03");
    ASSERT_TRUE(screen.shows("ended with 21"));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secr")));
    expect_nothing_was_started();
}
