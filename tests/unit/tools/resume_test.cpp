#include "tools/resume.h"

#include "refused.h"

#include <limits>

using testing::HasSubstr;
using testing::StartsWith;

static remote_file_t remote(uint32_t looked_up, uint32_t exists, int64_t size)
{
    remote_file_t file = {};
    file.looked_up = looked_up;
    file.exists = exists;
    file.size = size;
    return file;
}

TEST(Resume, AppendsToAFileThatIsShorterButNotEmpty)
{
    EXPECT_EQ(resume_decide(remote(1, 1, 1), 2), resume_t::APPEND);
    EXPECT_EQ(resume_decide(remote(1, 1, 5'000'000'000), 5'000'000'001), resume_t::APPEND);
}

TEST(Resume, UploadsTheWholeWhenNothingIsThere)
{
    EXPECT_EQ(resume_decide(remote(1, 0, 0), 100), resume_t::WHOLE);
    EXPECT_EQ(resume_decide(remote(1, 1, 0), 100), resume_t::WHOLE);
    EXPECT_EQ(resume_decide(remote(1, 0, 0), 0), resume_t::WHOLE);
}

TEST(Resume, HasNothingToDoWhenAllIsThere)
{
    EXPECT_EQ(resume_decide(remote(1, 1, 100), 100), resume_t::DONE);
}

TEST(Resume, IsRefusedWhenSizesForbidIt)
{
    EXPECT_THAT(failure_of([] { resume_decide(remote(1, 1, 101), 100); }),
                testing::AllOf(StartsWith("7 "), HasSubstr("101 bytes, the local one only 100")));
    EXPECT_THAT(failure_of([] { resume_decide(remote(1, 1, -1), 100); }),
                StartsWith("7 cannot resume: the server does"));
    EXPECT_THAT(failure_of([] { resume_decide(remote(0, 0, 0), 100); }),
                StartsWith("7 cannot resume: the server lists"));
}
