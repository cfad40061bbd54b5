#include "platform/feeder_plan.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

using testing::ElementsAre;

namespace
{

struct FeederPlan : testing::Test {
    ~FeederPlan() override { unsetenv("ZIXI_FEEDER_FAIL"); }
    static void plan(const char *text)
    {
        setenv("ZIXI_FEEDER_FAIL", "", 1);
        feeder_plan_next("zixi_version"); // another plan: the count starts anew
        setenv("ZIXI_FEEDER_FAIL", text, 1);
    }
    static std::vector<int> calls(int count, const char *function = "zixi_upload_file")
    {
        std::vector<int> codes;
        while (count-- > 0)
            codes.push_back(feeder_plan_next(function));
        return codes;
    }
};

} // namespace

TEST_F(FeederPlan, WithoutOneNothingFails)
{
    unsetenv("ZIXI_FEEDER_FAIL");
    EXPECT_THAT(calls(2), ElementsAre(0, 0));
}

TEST_F(FeederPlan, WithoutTimesEveryCallFails)
{
    plan("zixi_upload_file:-22");
    EXPECT_THAT(calls(3), ElementsAre(-22, -22, -22));
    EXPECT_THAT(calls(1, "zixi_close_stream"), ElementsAre(0));
}

TEST_F(FeederPlan, TimesAndAfterAreCounted)
{
    plan("zixi_upload_file:-21:2:1");
    EXPECT_THAT(calls(5), ElementsAre(0, -21, -21, 0, 0));
}

TEST_F(FeederPlan, PartsAddUp)
{
    plan("zixi_upload_file:-21:2,zixi_close_stream:-1:1,zixi_upload_file:3:1:3");
    EXPECT_THAT(calls(5), ElementsAre(-21, -21, 0, 3, 0));
    EXPECT_THAT(calls(2, "zixi_close_stream"), ElementsAre(-1, 0));
}

TEST_F(FeederPlan, AnotherPlanCountsAnew)
{
    plan("zixi_upload_file:-21:1");
    EXPECT_THAT(calls(2), ElementsAre(-21, 0));
    plan("zixi_upload_file:-17:1");
    EXPECT_THAT(calls(2), ElementsAre(-17, 0));
}

TEST_F(FeederPlan, EveryFunctionIsKnown)
{
    for (const char *function : {"zixi_version", "zixi_configure_logging", "zixi_configure_credentials",
                                 "zixi_prepare_configuration", "zixi_upload_file", "zixi_get_upload_progress",
                                 "zixi_close_stream"}) {
        plan((std::string(function) + ":7:1:1").c_str());
        EXPECT_THAT(calls(3, function), ElementsAre(0, 7, 0)) << function;
    }
}

TEST_F(FeederPlan, APartThatIsNotUnderstoodIsReportedAndSkipped)
{
    const std::string overlong = "zixi_upload_file:1" + std::string(200, '0');
    for (const char *wrong : {overlong.c_str(), "zixi_upload_file", "zixi_upload_file:", "zixi_upload_file:x",
                              "zixi_upload_file:1:2:3:4", ":5", "zixi_upload_file:1:2x"}) {
        plan((std::string(wrong) + ",zixi_upload_file:-3:1").c_str());
        testing::internal::CaptureStderr();
        EXPECT_THAT(calls(1), ElementsAre(-3)) << wrong;
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  std::string("ZIXI_FEEDER_FAIL: not understood: '") + wrong + "'\n");
    }
}

TEST_F(FeederPlan, APlanBeyondItsRoomIsFollowedAsWell)
{
    const std::string padding(5000, ',');
    plan((padding + "zixi_upload_file:-3:1").c_str());
    testing::internal::CaptureStderr();
    EXPECT_THAT(calls(2), ElementsAre(-3, 0));
    testing::internal::GetCapturedStderr();
}
