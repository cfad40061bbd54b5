// Exclusion by the turn, and what may exist at the path of its file.
#include "process.h"

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include "libftpclient/turn.h"
}

class Turn : public testing::Test
{
protected:
    temp_dir dir;
    std::string path = dir / "ftp.sock.turn";

    void let_all_in() const { chmod((dir / "").c_str(), 0755); }
    struct stat status() const
    {
        struct stat found = {};
        EXPECT_EQ(lstat(path.c_str(), &found), 0);
        return found;
    }
    // The errno of ftpc_turn_open() for what exists at the path; checks that no descriptor is left open.
    int opened() const
    {
        ftpc_turn_t turn = {};
        const int before = dup(0);
        close(before);
        const int error = ftpc_turn_open(&turn, path.c_str());
        EXPECT_EQ(turn.fd == -1, error != 0);
        ftpc_turn_give_back(&turn);
        EXPECT_EQ(turn.fd, -1);
        const int after = dup(0);
        close(after);
        EXPECT_EQ(after, before);
        return error;
    }
};

TEST_F(Turn, TheFileIsCreatedEmptyForAllAndStays)
{
    const mode_t before = umask(022);
    {
        turn_taker taker(path);
        ASSERT_EQ(taker.open(), 0);
        ASSERT_TRUE(taker.tries());
        taker.gives_back();
    }
    umask(before);
    const struct stat made = status();
    EXPECT_TRUE(S_ISREG(made.st_mode));
    EXPECT_EQ(made.st_mode & 0777, 0644u); // 0666 less the umask
    EXPECT_EQ(made.st_size, 0);
}

TEST_F(Turn, AnExistingFileIsNotChanged)
{
    dir.file("ftp.sock.turn", "something");
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    ASSERT_EQ(opened(), 0);
    EXPECT_EQ(status().st_size, 9);
    EXPECT_EQ(status().st_mode & 0777, 0600u);
}

TEST_F(Turn, AHolderOutsideTheQueueKeepsOthersOut)
{
    turn_taker taker(path);
    ASSERT_EQ(taker.open(), 0);
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(taker.tries());
    EXPECT_FALSE(taker.tries());
    ASSERT_EQ(flock(fd, LOCK_UN), 0);
    EXPECT_TRUE(taker.tries());
    EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    taker.gives_back();
    EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
    close(fd);
}

TEST_F(Turn, AChildThatInheritsItsDescriptorDoesNotKeepIt)
{
    turn_taker parent(path);
    turn_taker other(path);
    ASSERT_EQ(parent.open(), 0);
    ASSERT_EQ(other.open(), 0);
    ASSERT_TRUE(parent.tries());
    parent.bears_child();
    ASSERT_FALSE(other.tries());
    parent.gives_back();
    EXPECT_TRUE(other.tries());
}

TEST_F(Turn, AChildOfAWaitingProgramDoesNotKeepItsPlace)
{
    turn_taker holder(path);
    turn_taker parent(path);
    turn_taker other(path);
    for (const turn_taker *taker : {&holder, &parent, &other})
        ASSERT_EQ(taker->open(), 0);
    ASSERT_TRUE(holder.tries());
    ASSERT_FALSE(parent.tries());
    parent.bears_child();
    ASSERT_FALSE(other.tries());
    parent.gives_back();
    holder.gives_back();
    EXPECT_TRUE(other.tries());
}

TEST_F(Turn, IsNotInheritedByAProgram)
{
    ftpc_turn_t turn = {};
    ASSERT_EQ(ftpc_turn_open(&turn, path.c_str()), 0);
    EXPECT_EQ(fcntl(turn.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    ftpc_turn_give_back(&turn);
}

TEST_F(Turn, AReadOnlyFileStillKeepsOthersOut)
{
    let_all_in();
    turn_taker owner(path);
    ASSERT_EQ(owner.open(), 0);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    turn_taker reader(path, false);
    ASSERT_EQ(reader.open(), 0);
    ASSERT_TRUE(owner.tries());
    EXPECT_FALSE(reader.tries());
    owner.gives_back();
    EXPECT_TRUE(reader.tries());
    ASSERT_EQ(owner.open(), 0);
    EXPECT_FALSE(owner.tries());
    reader.gives_back();
    EXPECT_TRUE(owner.tries());
}

TEST_F(Turn, ALinkIsNotFollowed)
{
    const std::string target = dir / "target";
    ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
    EXPECT_EQ(opened(), ELOOP);
    EXPECT_FALSE(std::filesystem::exists(target));
    dir.file("target", "");
    EXPECT_EQ(opened(), ELOOP);
}

TEST_F(Turn, OnlyARegularFileCanBeOpened)
{
    ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    EXPECT_NE(opened(), 0);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0666), 0); // opening one for reading would block
    EXPECT_NE(opened(), 0);
}

TEST_F(Turn, MissingRightsAreReported)
{
    let_all_in();
    EXPECT_EQ(without_rights([this] { return opened(); }),
              geteuid() == 0 ? EACCES : 0) // another user than root owns the folder
        << "no file, and no right to create one";
    dir.file("ftp.sock.turn", "");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_EQ(without_rights([this] { return opened(); }), EACCES);
}

TEST_F(Turn, AMissingFolderIsReported)
{
    path = dir / "missing/ftp.sock.turn";
    EXPECT_EQ(opened(), ENOENT);
}
