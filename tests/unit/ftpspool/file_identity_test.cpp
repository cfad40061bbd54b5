#include "ftpspool/file_identity.h"

#include "spool_fixture.h"

#include <fcntl.h>

namespace
{

class FileIdentity : public Spool
{
protected:
    std::string identity = file_identify(file).text;

    void set_time(int64_t s, long ns) const
    {
        const timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(s), ns}};
        utimensat(AT_FDCWD, file.c_str(), times, 0);
    }
};

} // namespace

TEST_F(FileIdentity, StaysTheSameForUnchangedContent)
{
    EXPECT_EQ(file_identify(file).size_bytes, 10);
    EXPECT_TRUE(file_is_still(file, identity));
    std::filesystem::create_hard_link(file, dir / "b");
    std::filesystem::create_symlink(file, dir / "c");
    for (const std::string &path : {file, dir / "b", dir / "c"})
        EXPECT_TRUE(file_is_still(path, identity));
}

TEST_F(FileIdentity, ChangesWithTheFileOrItsContent)
{
    set_time(NOW_S, 1);
    identity = file_identify(file).text;
    set_time(NOW_S, 2);
    EXPECT_FALSE(file_is_still(file, identity)); // written again
    set_time(NOW_S, 1);
    EXPECT_TRUE(file_is_still(file, identity));
    fill(file, "01234567890");
    set_time(NOW_S, 1);
    EXPECT_FALSE(file_is_still(file, identity)); // longer
    std::filesystem::rename(file, dir / "old");
    fill(file, "0123456789");
    set_time(NOW_S, 1);
    EXPECT_FALSE(file_is_still(file, identity)); // another file
    std::filesystem::remove(file);
    EXPECT_FALSE(file_is_still(file, identity));
}

TEST_F(FileIdentity, IsGivenOnlyForRegularFiles)
{
    EXPECT_EQ(failure_of([&] { file_identify(dir / "none"); }),
              "59 " + dir / "none" + ": No such file or directory");
    EXPECT_EQ(failure_of([&] { file_identify(dir.path.string()); }),
              "1 " + dir.path.string() + ": is not a regular file");
    EXPECT_EQ(failure_of([&] { file_identify(file + "/x"); }), "1 " + file + "/x: Not a directory");
}
