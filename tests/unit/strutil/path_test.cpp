#include "strutil/guards.h"
#include "strutil/strutil.h"
#include "support/failing_heap.h"

#include <cstring>
#include <gmock/gmock.h>

using testing::StrEq;

TEST(BasenameOf, PointsAfterTheLastSlash)
{
    const std::pair<const char *, size_t> cases[] = {{"/a/b/c.txt", 5}, {"dir/", 4}, {"name", 0},
                                                     {"", 0},           {"/", 1},    {"a//b", 3}};
    for (const auto &[path, at] : cases)
        EXPECT_EQ(basename_of(path), path + at) << path;
}

TEST(BasenameOf, IsNullForNull) { EXPECT_EQ(basename_of(nullptr), nullptr); }

TEST(MallocDirectoryOf, IsThePathUpToItsLastSlashAndTheCharacter)
{
    const std::tuple<const char *, int, const char *, size_t> cases[] = {
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
    for (const auto &[path, ch, expected, bytes] : cases) {
        const heap_string directory(malloc_directory_of(path, ch));
        EXPECT_THAT(directory.get(), StrEq(expected)) << path << " with " << ch;
        EXPECT_EQ(bytes_asked_for(), bytes) << path << " with " << ch;
    }
}

TEST(MallocDirectoryOf, IsNullForNull) { EXPECT_EQ(malloc_directory_of(nullptr, '/'), nullptr); }

TEST(MallocDirectoryOf, IsNullWhenMemoryIsExhausted)
{
    const failing_heap heap(1);
    EXPECT_EQ(malloc_directory_of("/a/b", '/'), nullptr);
}
