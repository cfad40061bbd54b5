#include "ftpctl/password.h"

#include "refused.h"
#include "temp_dir.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
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

    static std::string find(const std::string &file)
    {
        return password_find(SERVER_PASSWORD, {file, "", false}, "anna@host");
    }
    static std::string find_proxys(const std::string &file)
    {
        return password_find(PROXY_PASSWORD, {file, "", false}, "bert@proxy");
    }
    std::string from_file(const std::string &content) { return find(dir_.file("password", content)); }
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
    EXPECT_EQ(find(""), "from environment");
    setenv("FTPCTL_PASSWORD", "", 1);
    EXPECT_EQ(find(""), "");
}

TEST_F(Password, AFileWithoutOneIsReportedInOneLine)
{
    EXPECT_THAT(failure_of([&] { from_file(std::string("a\0b", 3)); }),
                AllOf(StartsWith("2 "), HasSubstr("NUL")));
    EXPECT_EQ(failure_of([] { find("/nonexistent/p"); }),
              "1 --password-file /nonexistent/p: No such file or directory");
    EXPECT_EQ(failure_of([] { find("/"); }), "1 --password-file /: Is a directory");
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
    EXPECT_EQ(find_proxys(""), "of the proxy");
    EXPECT_EQ(getenv("FTPCTL_PROXY_PASSWORD"), nullptr);
    EXPECT_STREQ(getenv("FTPCTL_PASSWORD"), "from environment");
    EXPECT_EQ(find_proxys(dir_.file("p", "in a file\n")), "in a file");
    EXPECT_EQ(failure_of([] { find_proxys("/nonexistent/p"); }),
              "1 --proxy-password-file /nonexistent/p: No such file or directory");
}

TEST_F(Password, BothMayComeFromStandardInputAndNoFileIsNoPassword)
{
    const int before = dup(STDIN_FILENO);
    const int file = open(dir_.file("both", "first\nsecond\n").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(file, STDIN_FILENO), STDIN_FILENO);
    close(file);
    EXPECT_EQ(failure_of([] { find_proxys(""); }),
              "2 no password for bert@proxy: use --proxy-password-file or FTPCTL_PROXY_PASSWORD");
    EXPECT_EQ(find("-"), "first");
    EXPECT_EQ(find_proxys("-"), "second");
    dup2(before, STDIN_FILENO);
    close(before);
}

TEST_F(Password, OfAFileThatMustBePrivateIsReadFromNoOther)
{
    const std::string file = dir_.file("password", "secret\n");
    const auto find_private = [](const std::string &path) {
        return password_find(SERVER_PASSWORD, {path, "", true}, "anna@host");
    };
    for (const mode_t mode : {0600, 0400}) {
        chmod(file.c_str(), mode);
        EXPECT_EQ(find_private(file), "secret");
    }
    for (const mode_t mode : {0604, 0640, 0666}) {
        chmod(file.c_str(), mode);
        EXPECT_EQ(failure_of([&] { find_private(file); }),
                  "1 " + file + ": must be a regular file of mode 0600 or 0400, for it holds a password");
    }
    EXPECT_EQ(find(file), "secret");
    for (const char *other : {"/dev/null", "/proc"})
        EXPECT_THAT(failure_of([&] { find_private(other); }), HasSubstr("must be a regular file"));
    EXPECT_EQ(failure_of([&] { find_private("-"); }), "1 -: No such file or directory");
}

TEST_F(Password, OfACredentialIsTheFirstLineOfItsFile)
{
    const auto find_credential = [](const password_names_t &names) {
        return password_find(names, {"", "camera", true}, "anna@host");
    };
    unsetenv("CREDENTIALS_DIRECTORY");
    EXPECT_EQ(
        failure_of([&] { find_credential(SERVER_PASSWORD); }),
        "14 credential camera: CREDENTIALS_DIRECTORY is not set; load it with LoadCredential=camera:FILE "
        "in the systemd unit");
    setenv("CREDENTIALS_DIRECTORY", dir_.path.c_str(), 1);
    EXPECT_EQ(failure_of([&] { find_credential(PROXY_PASSWORD); }),
              "14 credential camera: " + dir_ / "camera" + ": No such file or directory");
    dir_.file("camera", "secret\nmore\n");
    EXPECT_EQ(find_credential(SERVER_PASSWORD), "secret");
    EXPECT_EQ(find_credential(PROXY_PASSWORD), "secret");
    unsetenv("CREDENTIALS_DIRECTORY");
}
