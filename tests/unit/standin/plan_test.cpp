#include "tests/standin/plan.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

using testing::ElementsAre;

namespace
{

struct Plan : testing::Test {
    ~Plan() override { unsetenv("ZIXI_FEEDER_FAIL"); }
    static void plan(const std::string &text) { setenv("ZIXI_FEEDER_FAIL", text.c_str(), 1); }
    static std::vector<int> calls(int count, const char *function = "zixi_upload_file")
    {
        std::vector<int> codes;
        while (count-- > 0)
            codes.push_back(plan_next(function));
        return codes;
    }
};

} // namespace

TEST_F(Plan, WithoutACountEveryCallOfTheFunctionFails)
{
    plan("zixi_upload_file:-22");
    EXPECT_THAT(calls(3), ElementsAre(-22, -22, -22));
    EXPECT_THAT(calls(1, "zixi_close_stream"), ElementsAre(0));
}

TEST_F(Plan, TimesAndAfterAreCountedAndPartsAddUp)
{
    plan("zixi_upload_file:-21:2:1,zixi_close_stream:-1:1,zixi_upload_file:3:1:4");
    EXPECT_THAT(calls(6), ElementsAre(0, -21, -21, 0, 3, 0));
    EXPECT_THAT(calls(2, "zixi_close_stream"), ElementsAre(-1, 0));
}

TEST_F(Plan, AnotherPlanRestartsTheCounts)
{
    plan("zixi_upload_file:-21:1");
    EXPECT_THAT(calls(2), ElementsAre(-21, 0));
    plan("zixi_upload_file:-17:1");
    EXPECT_THAT(calls(2), ElementsAre(-17, 0));
}

TEST_F(Plan, AnInvalidPartIsReportedAndSkipped)
{
    for (const std::string &wrong :
         {"zixi_upload_file:1" + std::string(200, '0'), std::string("zixi_upload_file:"),
          std::string("zixi_upload_file:1:2:3:4"), std::string(":5")}) {
        plan(wrong + ",zixi_upload_file:-3:1");
        testing::internal::CaptureStderr();
        EXPECT_THAT(calls(1), ElementsAre(-3)) << wrong;
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "ZIXI_FEEDER_FAIL: not understood: '" + wrong + "'\n");
    }
}
