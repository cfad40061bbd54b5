#include "platform/zixiFeeder.h"

#include <gtest/gtest.h>

extern "C" int platform_headers_in_c(void);

TEST(ZixiFeeder, ReturnsItsVersion)
{
    int version[4] = {-1, -1, -1, -1};
    ASSERT_EQ(zixi_version(&version[0], &version[1], &version[2], &version[3]), ZIXI_ERROR_OK);
    EXPECT_EQ(version[0], 0);
    EXPECT_EQ(version[1], 1);
    EXPECT_EQ(version[2], 0);
    EXPECT_EQ(version[3], 0);
}

TEST(ZixiFeeder, CanBeSetUpButNeverConnects)
{
    uintptr_t configuration[2] = {1, 1};
    void *stream = nullptr;
    EXPECT_EQ(zixi_configure_logging(3, nullptr, nullptr), ZIXI_ERROR_OK);
    EXPECT_EQ(zixi_configure_credentials("u", 1, "p", 1), ZIXI_ERROR_OK);
    ASSERT_EQ(zixi_prepare_configuration(0, 0, configuration), ZIXI_ERROR_OK);
    EXPECT_EQ(zixi_upload_file(configuration[0], configuration[1], "/etc/passwd", "server.test", {}, &stream),
              -4);
    EXPECT_EQ(stream, nullptr);
}

TEST(ZixiFeeder, HasNoStreams)
{
    uint64_t sent = 0;
    uint64_t total = 0;
    int state = 0;
    EXPECT_EQ(zixi_get_upload_progress(&state, &sent, &total, &state), ZIXI_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(zixi_close_stream(&state), ZIXI_ERROR_INVALID_PARAMETER);
}

TEST(PlatformHeaders, ArePlainC)
{
    // zixi_version and zixi_prepare_configuration with ZIXI_ERROR_INVALID_PARAMETER, four calls of libsecure
    // with LIBSECURE_BAD_ARGUMENT
    EXPECT_EQ(platform_headers_in_c(), 2 * 1 + 4 * 3);
}
