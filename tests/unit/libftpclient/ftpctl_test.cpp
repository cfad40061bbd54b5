#include "libftpclient/ftpclient.h"

#include "tools/result_names.h"

#include <gtest/gtest.h>

TEST(Words, TheNamesAreThoseThatFtpctlPrints)
{
    for (int code = 0; code < 200; code++)
        EXPECT_STREQ(ftpclient_result_name(code), result_name(static_cast<uint32_t>(code))) << code;
}
