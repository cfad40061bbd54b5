// The question for a password, on a real terminal.
#include "fake_daemon.h"
#include "program.h"
#include "temp_dir.h"
#include "terminal.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{

const std::string QUESTION = "Password for anna@host: ";

class PasswordPrompt : public testing::Test
{
protected:
    temp_dir dir_;
    fake_daemon daemon_{job_script{}};
    std::vector<std::string> put_ = {"put", dir_.file("f", "content"), "ftp://anna@host/f", "--socket",
                                     daemon_.path()};

    void expect_nothing_was_started() { EXPECT_THAT(daemon_.commands(), testing::Not(testing::Contains(2))); }
};

} // namespace

TEST_F(PasswordPrompt, CtrlCEndsItWithALineOfItsOwn)
{
    terminal screen(put_);
    ASSERT_TRUE(screen.shows(QUESTION));
    EXPECT_FALSE(screen.echoes());
    screen.type("half a secr\x03");
    EXPECT_EQ(screen.wait(), 21) << "as a cancelled job";
    EXPECT_TRUE(screen.echoes());
    EXPECT_THAT(screen.seen(), HasSubstr(QUESTION + "\r\nftpctl: interrupted"));
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, CtrlDIsNoEmptyPassword)
{
    terminal screen(put_);
    ASSERT_TRUE(screen.shows(QUESTION));
    screen.type("\x04");
    EXPECT_EQ(screen.wait(), 2);
    EXPECT_TRUE(screen.echoes());
    EXPECT_THAT(screen.seen(),
                HasSubstr(QUESTION + "\r\nftpctl: no password for anna@host: the input ended"));
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, CtrlDBehindTextEndsItToo)
{
    terminal screen(put_);
    ASSERT_TRUE(screen.shows(QUESTION));
    screen.type("secret\x04\x04");
    EXPECT_EQ(screen.wait(), 2);
    EXPECT_TRUE(screen.echoes());
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secret")));
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, EverySignalThatEndsGivesTheEchoBack)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        terminal screen(put_);
        ASSERT_TRUE(screen.shows(QUESTION));
        EXPECT_FALSE(screen.echoes());
        screen.signal(number);
        EXPECT_EQ(screen.wait(), 21) << number;
        EXPECT_TRUE(screen.echoes()) << number;
        EXPECT_THAT(screen.seen(), HasSubstr("\r\nftpctl: interrupted")) << number;
    }
    expect_nothing_was_started();
}

TEST_F(PasswordPrompt, CtrlZGivesTheEchoBackUntilItGoesOn)
{
    std::string command = FTPCTL;
    for (const std::string &word : put_)
        command += " " + word;
    terminal screen({"-mc", command + "; echo is stopped; read x; fg; echo ended with $?"}, "sh");
    ASSERT_TRUE(screen.shows(QUESTION));
    EXPECT_FALSE(screen.echoes());
    screen.type("half a secr\x1A");
    ASSERT_TRUE(screen.shows("is stopped"));
    EXPECT_TRUE(screen.echoes());
    screen.type("go\n");
    ASSERT_TRUE(screen.shows_again(QUESTION));
    EXPECT_FALSE(screen.echoes());
    screen.type("\x03");
    ASSERT_TRUE(screen.shows("ended with 21"));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secr")));
    expect_nothing_was_started();
}
