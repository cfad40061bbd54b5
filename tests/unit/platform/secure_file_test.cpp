#include "platform/secure_file.h"

#include "platform/secure.h"
#include "support/scratch.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using testing::ElementsAre;

namespace
{

// Errors for the calls of the code under test; 0: the real call.
struct faults_t {
    int open_errno = 0;
    int write_errno = 0;
    int writes_before = 0; // writes that succeed before the fault
    bool writes_are_short = false;
    bool write_is_interrupted = false;
    int fsync_errno = 0;
    int close_errno = 0;
    int fchmod_errno = 0;
    int rename_errno = 0;
};
faults_t faults_;
bool armed_ = false;

bool fails(int error)
{
    if (!armed_ || error == 0)
        return false;
    errno = error;
    return true;
}

} // namespace

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_open64(const char *path, int flags, ...);
ssize_t __real_write(int fd, const void *data, size_t length);
int __real_fsync(int fd);
int __real_close(int fd);
int __real_fchmod(int fd, mode_t mode);
int __real_rename(const char *from, const char *to);

static mode_t mode_of(int flags, va_list arguments)
{
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_of(flags, arguments);
    va_end(arguments);
    return fails(faults_.open_errno) ? -1 : __real_open(path, flags, mode);
}

int __wrap_open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_of(flags, arguments);
    va_end(arguments);
    return fails(faults_.open_errno) ? -1 : __real_open64(path, flags, mode);
}

ssize_t __wrap_write(int fd, const void *data, size_t length)
{
    if (!armed_)
        return __real_write(fd, data, length);
    if (faults_.write_is_interrupted) {
        faults_.write_is_interrupted = false;
        errno = EINTR;
        return -1;
    }
    if (faults_.writes_before-- <= 0 && fails(faults_.write_errno))
        return -1;
    return __real_write(fd, data, faults_.writes_are_short && length > 3 ? 3 : length);
}

int __wrap_fsync(int fd) { return fails(faults_.fsync_errno) ? -1 : __real_fsync(fd); }

// As on Linux, the descriptor is closed even if close fails.
int __wrap_close(int fd)
{
    const int rc = __real_close(fd);
    return fails(faults_.close_errno) ? -1 : rc;
}

int __wrap_fchmod(int fd, mode_t mode) { return fails(faults_.fchmod_errno) ? -1 : __real_fchmod(fd, mode); }

int __wrap_rename(const char *from, const char *to)
{
    return fails(faults_.rename_errno) ? -1 : __real_rename(from, to);
}
}

namespace
{

struct SecureFile : testing::Test {
    scratch_t scratch;
    std::string file = scratch / "saved";
    const mode_t umask_before = umask(0); // as in the daemon
    ~SecureFile() override { umask(umask_before); }
    int put(const std::string &content) { return put(file, content); }
    static int put(const std::string &path, const std::string &content)
    {
        return secure_file_write(path.c_str(), content.data(), content.size());
    }
    static int put(const std::string &path, const std::string &content, const faults_t &faults)
    {
        faults_ = faults;
        armed_ = true;
        const int result = put(path, content);
        armed_ = false;
        return result;
    }
};

mode_t mode_of(const std::string &path)
{
    struct stat found;
    return stat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

} // namespace

TEST_F(SecureFile, ANewFileHasItsContentAndMode644)
{
    ASSERT_EQ(put("content\n"), LIBSECURE_DONE);
    EXPECT_EQ(content_of(file), "content\n");
    EXPECT_EQ(mode_of(file), 0644u);
    EXPECT_THAT(names_in(scratch.path), ElementsAre("saved"));
}

TEST_F(SecureFile, TheUmaskHolds)
{
    umask(077);
    ASSERT_EQ(put("content"), LIBSECURE_DONE);
    EXPECT_EQ(mode_of(file), 0600u);
}

TEST_F(SecureFile, AnOldFilesModeAndOwnerAreKept)
{
    fill(file, "old");
    chmod(file.c_str(), 0640);
    const bool is_root = geteuid() == 0;
    if (is_root) {
        ASSERT_EQ(chown(file.c_str(), 65533, 65532), 0);
    }
    ASSERT_EQ(put("new"), LIBSECURE_DONE);
    EXPECT_EQ(content_of(file), "new");
    EXPECT_EQ(mode_of(file), 0640u);
    struct stat found;
    ASSERT_EQ(stat(file.c_str(), &found), 0);
    EXPECT_EQ(found.st_uid, is_root ? 65533 : geteuid());
}

TEST_F(SecureFile, EveryFaultIsReportedAndLeavesNothing)
{
    const std::tuple<const char *, faults_t, int> rows[] = {
        {"no right to create", {.open_errno = EACCES}, LIBSECURE_CANNOT_CREATE},
        {"read-only file system", {.open_errno = EROFS}, LIBSECURE_CANNOT_CREATE},
        {"no room for one more file", {.open_errno = ENOSPC}, LIBSECURE_CANNOT_WRITE},
        {"quota of files used up", {.open_errno = EDQUOT}, LIBSECURE_CANNOT_WRITE},
        {"every name taken", {.open_errno = EEXIST}, LIBSECURE_CANNOT_CREATE},
        {"disk full at once", {.write_errno = ENOSPC}, LIBSECURE_CANNOT_WRITE},
        {"disk full half way",
         {.write_errno = ENOSPC, .writes_before = 2, .writes_are_short = true},
         LIBSECURE_CANNOT_WRITE},
        {"write error", {.write_errno = EIO}, LIBSECURE_CANNOT_WRITE},
        {"disk full when flushed", {.fsync_errno = ENOSPC}, LIBSECURE_CANNOT_WRITE},
        {"disk full when closed", {.close_errno = ENOSPC}, LIBSECURE_CANNOT_WRITE},
        {"rename refused", {.rename_errno = EACCES}, LIBSECURE_CANNOT_CREATE},
    };
    for (const auto &[what, faults, expected] : rows) {
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(put(file, "content", faults), expected) << what;
        EXPECT_THAT(names_in(scratch.path), ElementsAre()) << what;
        fill(file, "old");
        EXPECT_EQ(put(file, "content", faults), expected) << what;
        EXPECT_EQ(content_of(file), "old") << what;
        EXPECT_THAT(names_in(scratch.path), ElementsAre("saved")) << what;
        EXPECT_EQ(open_descriptors(), descriptors) << what;
        unlink(file.c_str());
    }
}

TEST_F(SecureFile, AnExistingTemporaryFileIsLeftAloneAndTheNextNameTried)
{
    const std::string taken = ".secure-" + std::to_string(getpid()) + "-0";
    fill(scratch / taken, "another's");
    EXPECT_EQ(put("content"), LIBSECURE_DONE);
    EXPECT_EQ(content_of(scratch / taken), "another's");
    EXPECT_THAT(names_in(scratch.path), ElementsAre(taken, "saved"));
}

TEST_F(SecureFile, ADeviceThatCannotBeOpenedIsCannotCreate)
{
    EXPECT_EQ(put("/dev/null", "content", {.open_errno = EACCES}), LIBSECURE_CANNOT_CREATE);
}

TEST_F(SecureFile, APathWithoutRoomForTheTemporaryNameIsCannotCreate)
{
    const std::string before = scratch.path.string();
    const std::string path = before + std::string(PATH_MAX - 2 - before.size(), '/') + "f";
    EXPECT_EQ(put(path, "content"), LIBSECURE_CANNOT_CREATE);
    EXPECT_THAT(names_in(scratch.path), ElementsAre());
}

TEST_F(SecureFile, AModeThatCannotBeSetIsCannotCreate)
{
    fill(file, "old");
    EXPECT_EQ(put(file, "content", {.fchmod_errno = EPERM}), LIBSECURE_CANNOT_CREATE);
    EXPECT_EQ(content_of(file), "old");
    EXPECT_THAT(names_in(scratch.path), ElementsAre("saved"));
}

TEST_F(SecureFile, ShortAndInterruptedWritesGoOn)
{
    EXPECT_EQ(put(file, "long content", {.writes_are_short = true, .write_is_interrupted = true}),
              LIBSECURE_DONE);
    EXPECT_EQ(content_of(file), "long content");
}

TEST_F(SecureFile, TheLongestPossibleNameCanBeWritten)
{
    const std::string longest = scratch / std::string(255, 'n');
    EXPECT_EQ(put(longest, "content"), LIBSECURE_DONE);
    EXPECT_EQ(content_of(longest), "content");
    EXPECT_EQ(put(scratch / std::string(256, 'n'), "content"), LIBSECURE_CANNOT_CREATE);
    EXPECT_EQ(put("/" + std::string(5000, 'n'), "content"), LIBSECURE_CANNOT_CREATE);
}

TEST_F(SecureFile, ANameWithoutADirectoryGoesToTheWorkingDirectory)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(scratch.path);
    EXPECT_EQ(put("saved", "content"), LIBSECURE_DONE);
    std::filesystem::current_path(before);
    EXPECT_THAT(names_in(scratch.path), ElementsAre("saved"));
}

TEST_F(SecureFile, ALinkIsFollowed)
{
    std::filesystem::create_directory(scratch / "data");
    fill(scratch / "data/real", "old");
    std::filesystem::create_symlink("data/real", file);
    ASSERT_EQ(put("new"), LIBSECURE_DONE);
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(content_of(scratch / "data/real"), "new");
}

TEST_F(SecureFile, ALinkToNothingIsCannotCreateAndStays)
{
    std::filesystem::create_symlink("nothing", file);
    EXPECT_EQ(put("new"), LIBSECURE_CANNOT_CREATE);
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_THAT(names_in(scratch.path), ElementsAre("saved"));
}

TEST_F(SecureFile, ADirectoryOrAFifoIsCannotCreateAndStays)
{
    std::filesystem::create_directory(file);
    EXPECT_EQ(put("new"), LIBSECURE_CANNOT_CREATE);
    EXPECT_EQ(put(file + "/", "new"), LIBSECURE_CANNOT_CREATE);
    EXPECT_TRUE(std::filesystem::is_directory(file));
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(put(fifo, "new"), LIBSECURE_CANNOT_CREATE);
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));
}

// Uses a new terminal as the device, so that a fault cannot harm the machine's.
TEST_F(SecureFile, ADeviceIsWrittenDirectly)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal == -1 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        GTEST_SKIP() << "no terminal available";
    const std::string device = ptsname(terminal);
    EXPECT_EQ(put(device, "line\n"), LIBSECURE_DONE);
    char shown[64] = "";
    EXPECT_GT(read(terminal, shown, sizeof shown - 1), 0);
    EXPECT_STREQ(shown, "line\r\n");
    EXPECT_EQ(put(device, "line\n", {.write_errno = ENOSPC}), LIBSECURE_CANNOT_WRITE);
    EXPECT_TRUE(std::filesystem::is_character_file(device));
    close(terminal);
    EXPECT_EQ(put(device, "line\n"), LIBSECURE_CANNOT_CREATE);
}
