// Whether the daemon sees the same file at a path as this program, judged by the mounts of both.
#include "process.h"
#include "temp_dir.h"

extern "C" {
#include "libftpclient/sight.h"
}

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

namespace
{

// The device's mounts as in every program without its own namespace.
const std::string SHARED = "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
                           "22 27 0:21 / /proc rw - proc proc rw\n"
                           "30 27 254:1 / /data rw - ext4 /dev/vdb rw\n";

struct view_t {
    temp_dir files;
    std::string file = files.file("f", "x");
    std::string own = SHARED;
    std::string daemons = SHARED;

    int of(const std::string &path, int writes = 0) const
    {
        std::string here = own;
        std::string there = daemons;
        return ftpc_sight_compare(here.data(), there.data(), path.c_str(), writes);
    }
    // The verdict on the file with this mount in the daemon's namespace only.
    int with(const std::string &line, int writes = 0)
    {
        daemons = SHARED + line + "\n";
        return of(file, writes);
    }
    std::string folder() const { return std::filesystem::path(file).parent_path().string(); }
};

} // namespace

TEST(Sight, IsClearWithTheSameMounts)
{
    view_t view;
    EXPECT_EQ(view.of(view.file), FTPCLIENT_OK);
    EXPECT_EQ(view.of(view.file, 1), FTPCLIENT_OK);
    EXPECT_EQ(view.of(view.folder() + "/new", 1), FTPCLIENT_OK);
}

// As PrivateTmp and ProtectHome=tmpfs mount them.
TEST(Sight, DiffersWhereTheDaemonHasAFolderOfItsOwn)
{
    view_t view;
    EXPECT_EQ(view.with("40 27 254:0 /tmp/private/tmp " + view.folder() + " rw - ext4 /dev/vda rw"),
              FTPCLIENT_ERR_OUT_OF_SIGHT);
    EXPECT_EQ(view.with("40 27 0:50 / " + view.folder() + " ro - tmpfs run ro"), FTPCLIENT_ERR_OUT_OF_SIGHT);
    EXPECT_EQ(view.of(view.folder() + "/new", 1), FTPCLIENT_ERR_OUT_OF_SIGHT) << "for writing";
    EXPECT_EQ(view.with("40 27 0:50 / " + view.folder() + "x rw - tmpfs tmpfs rw"), FTPCLIENT_OK)
        << "another folder with the same prefix";
}

TEST(Sight, DiffersWhereThisProgramHasAFolderOfItsOwn)
{
    view_t view;
    view.own += "40 27 0:50 / " + view.folder() + " rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.of(view.file), FTPCLIENT_ERR_OUT_OF_SIGHT);
}

// As ProtectHome=read-only and ReadWritePaths mount them.
TEST(Sight, IsClearWhereTheSameFolderIsMountedOnItself)
{
    view_t view;
    const std::string same = "40 27 254:0 " + view.folder() + " " + view.folder();
    EXPECT_EQ(view.with(same + " rw - ext4 /dev/vda rw", 1), FTPCLIENT_OK);
    EXPECT_EQ(view.with(same + " ro,nosuid - ext4 /dev/vda rw", 0), FTPCLIENT_OK) << "for reading";
    EXPECT_EQ(view.with(same + " ro,nosuid - ext4 /dev/vda rw", 1), FTPCLIENT_ERR_READ_ONLY);
    EXPECT_EQ(view.with(same + " rw shared:3 master:1 - ext4 /dev/vda ro,x=1", 1), FTPCLIENT_ERR_READ_ONLY)
        << "the whole file system";
}

TEST(Sight, CountsOnlyTheTopmostMount)
{
    view_t view;
    const std::string folder = view.folder();
    const std::string own_folder = "40 27 0:50 / " + folder + " rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.with(own_folder + "41 40 254:0 " + folder + " " + folder + " rw - ext4 /dev/vda rw"),
              FTPCLIENT_OK)
        << "shared over private";
    const std::string above = std::filesystem::path(folder).parent_path().string();
    EXPECT_EQ(view.with("41 27 254:0 " + above + " " + above + " rw - ext4 /dev/vda rw\n" + own_folder),
              FTPCLIENT_OK)
        << "private, but under a later mount";
}

TEST(Sight, ReadsNamesWithBlanks)
{
    view_t view;
    std::filesystem::create_directory(view.files / "a b");
    const std::string path = view.files.file("a b/f", "x");
    view.daemons += "40 27 0:50 / " + (view.files / "a\\040b") + " rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.of(path), FTPCLIENT_ERR_OUT_OF_SIGHT);
    EXPECT_EQ(view.of(view.file), FTPCLIENT_OK);
}

TEST(Sight, FollowsLinks)
{
    view_t view;
    std::filesystem::create_directory(view.files / "real");
    std::filesystem::create_directory(view.files / "links");
    view.files.file("real/f", "x");
    std::filesystem::create_symlink(view.files / "real/f", view.files / "links/f");
    EXPECT_EQ(view.of(view.files / "links/f"), FTPCLIENT_OK);
    view.daemons = SHARED + "40 27 0:50 / " + (view.files / "real") + " rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.of(view.files / "links/f"), FTPCLIENT_ERR_OUT_OF_SIGHT) << "the link's target";
    view.daemons = SHARED + "40 27 0:50 / " + (view.files / "links") + " rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.of(view.files / "links/f"), FTPCLIENT_ERR_OUT_OF_SIGHT) << "the link";
    EXPECT_EQ(view.of(view.files / "links/../real/f"), FTPCLIENT_OK);
}

TEST(Sight, IsClearWithoutInformation)
{
    view_t view;
    for (const std::string &table :
         {std::string(), std::string("\n\n"), std::string("1 2 3\n"), std::string("27 1 254:0 / /\n"),
          std::string("40 27 0:50 / /elsewhere rw - tmpfs tmpfs rw\n")}) {
        view.daemons = table;
        EXPECT_EQ(view.of(view.file), FTPCLIENT_OK) << table;
    }
    view.daemons = SHARED + "40 27 0:50 / / rw - tmpfs tmpfs rw\n";
    EXPECT_EQ(view.of(view.file), FTPCLIENT_ERR_OUT_OF_SIGHT);
    for (const std::string &nowhere : {std::string("/nonexistent/folder/f"), view.file + "/below"})
        EXPECT_EQ(view.of(nowhere, 1), FTPCLIENT_OK) << nowhere;
    EXPECT_EQ(ftpc_sight_of(0, view.file.c_str(), 0), FTPCLIENT_OK);
    EXPECT_EQ(ftpc_sight_of(INT32_MAX, view.file.c_str(), 0), FTPCLIENT_OK);
    EXPECT_EQ(ftpc_sight_of(getpid(), view.file.c_str(), 1), FTPCLIENT_OK);
}

TEST(Sight, IsReadFromTheMountsOfARealProcess)
{
    view_t view;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const std::string folder = view.folder();
    const pid_t other = fork();
    if (other == 0) {
        const bool is_apart = unshare(CLONE_NEWNS) == 0 &&
                              mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) == 0;
        const char said = is_apart ? 'y' : 'n';
        [[maybe_unused]] const ssize_t written = write(ready[1], &said, 1);
        pause();
        _exit(0);
    }
    char said = 'n';
    ASSERT_EQ(read(ready[0], &said, 1), 1);
    const int sight = ftpc_sight_of(other, view.file.c_str(), 0);
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
    if (said != 'y')
        GTEST_SKIP() << "this user may not mount";
    EXPECT_EQ(sight, FTPCLIENT_ERR_OUT_OF_SIGHT);
}
