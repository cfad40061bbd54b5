#include "ftpctl/local_file.h"

#include "refused.h"
#include "temp_dir.h"

#include <sys/stat.h>
#include <unistd.h>

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace
{

mode_t mode_of(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

} // namespace

TEST(FileToDownload, IsTheGivenNameOrInTheGivenFolder)
{
    const temp_dir dir;
    std::filesystem::create_directory(dir / "sub");
    EXPECT_EQ(file_to_download(dir / "f", "remote"), dir / "f");
    EXPECT_EQ(file_to_download(dir / "sub", "remote"), dir / "sub/remote");
    EXPECT_EQ(file_to_download(dir / "sub/", "remote"), dir / "sub/remote");
    EXPECT_EQ(file_to_download(dir / "new/", "remote"), dir / "new/remote");
    EXPECT_EQ(file_to_download("", "remote"), (std::filesystem::current_path() / "remote").string());
    EXPECT_EQ(file_to_download("f", "remote"), (std::filesystem::current_path() / "f").string());
}

TEST(FileToDownload, AnInvalidRemoteNameIsRefused)
{
    const temp_dir dir;
    for (const char *name : {"", ".", ".."}) {
        EXPECT_THAT(failure_of([&] { file_to_download(dir / "", name); }), StartsWith("2 URL: ")) << name;
        EXPECT_THAT(failure_of([&] { file_to_download("", name); }), StartsWith("2 URL: ")) << name;
    }
}

TEST(FileToDownload, ALinkIsFollowedEvenToAMissingFile)
{
    const temp_dir dir;
    dir.file("old", "x");
    std::filesystem::create_symlink("old", dir / "link");
    std::filesystem::create_symlink("link", dir / "second");
    std::filesystem::create_symlink(dir / "new", dir / "dangling");
    std::filesystem::create_symlink("loop", dir / "loop");
    EXPECT_EQ(file_to_download(dir / "link", "r"), dir / "old");
    EXPECT_EQ(file_to_download(dir / "second", "r"), dir / "old");
    EXPECT_EQ(file_to_download(dir / "dangling", "r"), dir / "new");
    EXPECT_THAT(failure_of([&] { file_to_download(dir / "loop", "r"); }),
                StartsWith("1 " + (dir / "loop") + ": "));
}

TEST(FileToDownload, AnythingButARegularFileIsRefusedWithARemedy)
{
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(failure_of([&] { file_to_download(dir / "pipe", "r"); }),
                StartsWith("1 " + (dir / "pipe") + ": is not a regular file; write to standard output"));
    EXPECT_THAT(failure_of([] { file_to_download("/dev/null", "r"); }),
                HasSubstr("ftpctl get URL - >/dev/null"));
    std::filesystem::create_directories(dir / "sub/remote");
    EXPECT_EQ(failure_of([&] { file_to_download(dir / "sub", "remote"); }),
              "1 " + (dir / "sub/remote") + ": is a folder");
}

TEST(FileToUpload, MustBeARegularFileThatThisUserCanRead)
{
    const temp_dir dir;
    EXPECT_EQ(failure_of([&] { file_check_upload(dir.file("f", "")); }), "");
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(failure_of([&] { file_check_upload(dir / "pipe"); }),
              "1 " + (dir / "pipe") + ": is not a regular file");
    std::filesystem::create_symlink("f", dir / "link");
    EXPECT_EQ(failure_of([&] { file_check_upload(dir / "link"); }), "");
}

TEST(FileToUpload, ThatThisUserCannotReadIsRefused)
{
    const temp_dir dir;
    chmod((dir / ".").c_str(), 0755); // only the file must be denied
    const std::string path = dir.file("f", "");
    chmod(path.c_str(), 0);
    const uid_t own = geteuid();        // root could read it
    if (own == 0 && seteuid(4321) != 0) // root of a user namespace with a single user
        GTEST_SKIP() << "needs a second user";
    const std::string failure = failure_of([&] { file_check_upload(path); });
    ASSERT_EQ(seteuid(own), 0);
    EXPECT_EQ(failure, "1 " + path + ": Permission denied");
}

TEST(FileBeside, IsHiddenInTheSameFolderAndFitsTheRequestsFieldWithAFileInIt)
{
    EXPECT_EQ(file_beside("/name"), "/.name.ftpctl.XXXXXX");
    for (size_t length = 1; length <= 230; length++) {
        const std::string target = "/d/" + std::string(length, 'x');
        EXPECT_LE(file_beside(target).size() + 2, 255u) << length;
        EXPECT_THAT(file_beside(target), MatchesRegex("/d/\\.x+\\.ftpctl\\.XXXXXX"));
    }
    const std::string folder = "/" + std::string(236, 'd');
    EXPECT_EQ(file_beside(folder + "/f"), folder + "/..ftpctl.XXXXXX");
    EXPECT_THAT(failure_of([&] { file_beside(folder + "d/f"); }), HasSubstr("the path is too long"));
}

TEST(FileInPlace, HasTheModeOfANewFile)
{
    const temp_dir dir;
    const std::string from = dir.file("from", "new");
    chmod(from.c_str(), 0600);
    const mode_t before = umask(027);
    file_put_in_place(from, dir / "to");
    umask(before);
    EXPECT_EQ(mode_of(dir / "to"), 0640u);
    EXPECT_EQ(file_content(dir / "to", 4096), "new");
    EXPECT_FALSE(std::filesystem::exists(from));
}

TEST(FileInPlace, KeepsTheModeAndForRootTheOwnerOfTheOldOne)
{
    const temp_dir dir;
    const std::string to = dir.file("to", "old");
    chmod(to.c_str(), 0705);
    const bool is_root = geteuid() == 0; // only root can give a file away
    ASSERT_EQ(is_root ? chown(to.c_str(), 4321, 4322) : 0, 0);
    file_put_in_place(dir.file("from", "new"), to);
    EXPECT_EQ(mode_of(to), 0705u);
    EXPECT_EQ(file_content(to, 4096), "new");
    struct stat status = {};
    ASSERT_EQ(stat(to.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, is_root ? 4321u : geteuid());
    EXPECT_EQ(status.st_gid, is_root ? 4322u : getegid());
}

TEST(FileContent, IsTheWholeFileUpToTheLimit)
{
    const temp_dir dir;
    EXPECT_EQ(file_content(dir.file("f", std::string(4096, 'x')), 4096), std::string(4096, 'x'));
    EXPECT_THAT(failure_of([&] { file_content(dir.file("g", std::string(4097, 'x')), 4096); }),
                HasSubstr("is too large"));
    EXPECT_THAT(failure_of([&] { file_content(dir / "none", 4096); }),
                HasSubstr("No such file or directory"));
    EXPECT_EQ(failure_of([&] { file_content(dir / "", 4096); }), "1 " + (dir / "") + ": Is a directory");
    std::filesystem::create_symlink("f", dir / "link");
    EXPECT_NE(failure_of([&] { file_content(dir / "link", 4096); }), "");
}

TEST(FileInPlace, ThatCannotBeMovedIsNamedAndKept)
{
    const temp_dir dir;
    const std::string from = dir.file("from", "");
    const std::string pipe = dir / "pipe";
    const std::string folder = dir / "folder";
    std::filesystem::create_directory(folder);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0); // fsync refuses it
    EXPECT_EQ(failure_of([&] { file_put_in_place(dir / "none", dir / "to"); }),
              "1 " + (dir / "none") + ": No such file or directory");
    EXPECT_EQ(failure_of([&] { file_put_in_place(pipe, dir / "to"); }), "1 " + pipe + ": Invalid argument");
    EXPECT_EQ(failure_of([&] { file_put_in_place(from, folder); }), "1 " + folder + ": Is a directory");
    EXPECT_EQ(names_in(dir.path), (std::vector<std::string>{"folder", "from", "pipe"}));
}
