#include "ftpctl/password.h"

#include "refused.h"
#include "temp_dir.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

class Password : public testing::Test
{
protected:
    temp_dir dir_;
    Password() { setenv("FTPCTL_PASSWORD", "from environment", 1); }
    ~Password() override { unsetenv("FTPCTL_PASSWORD"); }

    std::string from_file(const std::string &content)
    {
        return password_find(SERVER_PASSWORD, dir_.file("password", content), "anna@host");
    }
};

} // namespace

TEST_F(Password, IsTheFirstLineOfItsFile)
{
    for (const char *content : {"secret", "secret\n", "secret\r\n", "secret\nmore\n"})
        EXPECT_EQ(from_file(content), "secret") << content;
    EXPECT_EQ(from_file(" a b \n"), " a b ");
    EXPECT_EQ(from_file(""), "");
    EXPECT_EQ(from_file("\n"), "");
}

TEST_F(Password, ComesFromTheEnvironmentWithoutAFile)
{
    EXPECT_EQ(password_find(SERVER_PASSWORD, "", "anna@host"), "from environment");
    setenv("FTPCTL_PASSWORD", "", 1);
    EXPECT_EQ(password_find(SERVER_PASSWORD, "", "anna@host"), "");
}

TEST_F(Password, AFileWithoutAPasswordIsOneClearLine)
{
    EXPECT_THAT(failure_of([&] { from_file(std::string("a\0b", 3)); }),
                AllOf(StartsWith("2 "), HasSubstr("NUL")));
    EXPECT_EQ(failure_of([] { password_find(SERVER_PASSWORD, "/nonexistent/p", "anna@host"); }),
              "1 --password-file /nonexistent/p: No such file or directory");
    EXPECT_EQ(failure_of([] { password_find(SERVER_PASSWORD, "/", "anna@host"); }),
              "1 --password-file /: Is a directory");
    const std::string endless = from_file(std::string(100000, 'x'));
    EXPECT_GT(endless.size(), 223u) << "must be too long for the request, which then refuses it";
    EXPECT_LT(endless.size(), 100000u);
}

TEST_F(Password, IsRemovedFromTheEnvironment)
{
    const char *value = getenv("FTPCTL_PASSWORD");
    from_file("another");
    EXPECT_STREQ(value, "") << "the process list shows these bytes";
    EXPECT_EQ(getenv("FTPCTL_PASSWORD"), nullptr);
}

TEST_F(Password, OfTheProxyHasAFileAndAVariableOfItsOwn)
{
    setenv("FTPCTL_PROXY_PASSWORD", "of the proxy", 1);
    EXPECT_EQ(password_find(PROXY_PASSWORD, "", "bert@proxy"), "of the proxy");
    EXPECT_EQ(getenv("FTPCTL_PROXY_PASSWORD"), nullptr);
    EXPECT_STREQ(getenv("FTPCTL_PASSWORD"), "from environment");
    EXPECT_EQ(password_find(PROXY_PASSWORD, dir_.file("p", "in a file\n"), "bert@proxy"), "in a file");
    EXPECT_EQ(failure_of([] { password_find(PROXY_PASSWORD, "/nonexistent/p", "bert@proxy"); }),
              "1 --proxy-password-file /nonexistent/p: No such file or directory");
}

TEST_F(Password, BothMayComeFromStandardInputAndNoFileIsNoPassword)
{
    const int before = dup(STDIN_FILENO);
    const int file = open(dir_.file("both", "first\nsecond\n").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(file, STDIN_FILENO), STDIN_FILENO);
    close(file);
    EXPECT_EQ(failure_of([] { password_find(PROXY_PASSWORD, "", "bert@proxy"); }),
              "2 no password for bert@proxy: use --proxy-password-file or FTPCTL_PROXY_PASSWORD");
    EXPECT_EQ(password_find(SERVER_PASSWORD, "-", "anna@host"), "first");
    EXPECT_EQ(password_find(PROXY_PASSWORD, "-", "bert@proxy"), "second");
    dup2(before, STDIN_FILENO);
    close(before);
}
