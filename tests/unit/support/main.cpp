// The main function of every unit test. A test fails that leaves a line in the log. After a failed test the command that
// repeats it is printed.
#include "support/logged.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace
{

struct at_the_end : testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo &test) override
    {
        EXPECT_EQ(logged(), lines{}) << "logged, but not expected by the test";
        char program[PATH_MAX];
        const ssize_t length = readlink("/proc/self/exe", program, sizeof program);
        if (test.result()->Failed() && length > 0)
            printf("repeat with: %.*s --gtest_filter=%s.%s\n", static_cast<int>(length), program,
                   test.test_suite_name(), test.name());
    }
};

} // namespace

int main(int argc, char **argv)
{
    signal(SIGHUP, SIG_DFL); // nohup ignores it, and programs that tests start would inherit that
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new at_the_end);
    return RUN_ALL_TESTS();
}
