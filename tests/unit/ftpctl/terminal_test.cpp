// What only a terminal gets to see.
#include "played.h"
#include "terminal.h"

#include <gmock/gmock.h>

using testing::ContainsRegex;
using testing::HasSubstr;
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

} // namespace

TEST_F(Terminal, IsAskedForThePasswordWithoutEcho)
{
    fake_daemon daemon(script_of({idle(), ended(2, 0, 1000, 1000)}));
    terminal screen(put("ftp://anna@host/f", daemon));
    ASSERT_TRUE(screen.shows("Password for anna@host: "));
    EXPECT_FALSE(screen.echoes());
    screen.type("top secret\n");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secret")));
    ASSERT_EQ(starts(daemon).size(), 1U);
    EXPECT_STREQ(request_of(starts(daemon).front()).password, "top secret");
}

TEST_F(Terminal, ShowsABarThatIsGoneAtTheEnd)
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
