#include "ftpctl/private_folder.h"

#include "refused.h"
#include "temp_dir.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using testing::StartsWith;

namespace
{

class PrivateFolder : public testing::Test
{
protected:
    temp_dir dir_;
    PrivateFolder() { setenv("TMPDIR", (dir_ / "").c_str(), 1); }
    ~PrivateFolder() override { unsetenv("TMPDIR"); }
};

struct stat status_of(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

} // namespace

TEST_F(PrivateFolder, OnlyItsOwnerMayEnterAndItIsRemovedAtTheEnd)
{
    std::string path;
    {
        const private_folder folder(private_folder::pattern(), "/nonexistent/ftp.sock");
        path = folder.path();
        EXPECT_THAT(path, StartsWith(dir_ / ""));
        EXPECT_EQ(status_of(path).st_mode, S_IFDIR | 0700u);
        EXPECT_EQ(status_of(path).st_uid, geteuid());
        EXPECT_EQ(folder.file("f"), path + "/f");
        EXPECT_EQ(status_of(path + "/f").st_mode, S_IFREG | 0600u);
        EXPECT_EQ(status_of(path + "/f").st_size, 0);
        EXPECT_THAT(failure_of([&] { folder.file("f"); }), StartsWith("1 " + path + "/f: File exists"));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(PrivateFolder, BelongsToTheDaemonsUserWhenRootCreatesIt)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    const std::string socket = dir_.file("ftp.sock", "");
    ASSERT_EQ(chown(socket.c_str(), 4321, 4322), 0);
    const private_folder folder(private_folder::pattern(), socket);
    EXPECT_EQ(status_of(folder.path()).st_uid, 4321u);
    EXPECT_EQ(status_of(folder.path()).st_mode, S_IFDIR | 0700u);
    EXPECT_EQ(status_of(folder.file("f")).st_uid, 4321u);
}

TEST_F(PrivateFolder, IsAbsoluteEvenBelowARelativeFolderAndFailsWithOneClearLine)
{
    setenv("TMPDIR", ".", 1);
    EXPECT_THAT(private_folder(private_folder::pattern(), "/nonexistent").path(), StartsWith("/"));
    setenv("TMPDIR", "/nonexistent", 1);
    EXPECT_EQ(failure_of([] { private_folder folder(private_folder::pattern(), "/nonexistent/ftp.sock"); }),
              "1 /nonexistent: No such file or directory");
}
