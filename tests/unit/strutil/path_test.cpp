#include "scarce_memory.h"
#include "strutil/guards.h"
#include "strutil/strutil.h"

#include <cstring>
#include <gmock/gmock.h>

using testing::StrEq;

TEST(BasenameOf, PointsAfterTheLastSlash)
{
    const struct {
        const char *path;
        size_t at;
    } cases[] = {{"/a/b/c.txt", 5}, {"dir/", 4}, {"name", 0}, {"", 0}, {"/", 1}, {"a//b", 3}};
    for (const auto &c : cases)
        EXPECT_EQ(basename_of(c.path), c.path + c.at) << c.path;
}

TEST(BasenameOf, IsNullForNull) { EXPECT_EQ(basename_of(nullptr), nullptr); }

TEST(MallocDirectoryOf, IsThePathUpToItsLastSlashAndTheCharacter)
{
    const struct {
        const char *path;
        int ch;
        const char *directory;
        size_t bytes;
    } cases[] = {
        {"/a/b/c.txt", '/', "/a/b/", 6},
        {"/a/b/c.txt", -1, "/a/b", 5},
        {"c.txt", -1, "c.txt", 6},
        {"c.txt", '/', "c.txt/", 7},
        {"/file", -1, "", 1},
        {"/file", '/', "/", 2},
        {"dir/", -1, "dir", 4},
        {"dir/", '*', "dir*", 5},
        {"", -1, "", 1},
        {"", '/', "/", 2},
        {"a//b", -1, "a/", 3},
        {"/a/b", 0, "/a", 4},
    };
    for (const auto &c : cases) {
        const heap_string directory(malloc_directory_of(c.path, c.ch));
        EXPECT_THAT(directory.get(), StrEq(c.directory)) << c.path << " with " << c.ch;
        EXPECT_EQ(bytes_asked_for(), c.bytes) << c.path << " with " << c.ch;
    }
}

TEST(MallocDirectoryOf, IsNullForNull) { EXPECT_EQ(malloc_directory_of(nullptr, '/'), nullptr); }

TEST(MallocDirectoryOf, IsNullWhenMemoryIsExhausted)
{
    const scarce_memory scarce;
    EXPECT_EQ(malloc_directory_of("/a/b", '/'), nullptr);
}
