#include "tools/result_names.h"

#include <gmock/gmock.h>
#include <set>

using testing::HasSubstr;

namespace
{

constexpr struct {
    uint32_t code;
    const char *name;
    int status;
} CODES[] = {
    {0, "FTPCD_ERR_NONE", 0},
    {1, "FTPCD_ERR_CANCELED", 21},
    {2, "FTPCD_ERR_NOT_RUNNING", 22},
    {3, "FTPCD_ERR_BUSY", 4},
    {4, "FTPCD_ERR_AUTH_UNSUPPORTED", 24},
    {5, "FTPCD_ERR_INTERNAL", 25},
    {6, "FTPCD_ERR_RESPONSE_CODE", 26},
    {7, "FTPCD_ERR_URL_RESTORE", 27},
    {8, "FTPCD_ERR_SECURE_DATA", 28},
    {9, "FTPCD_ERR_LOCAL_WRITE", 29},
    {10, "FTPCD_ERR_LOCAL_READ", 30},
    {11, "FTPCD_ERR_NO_MEMORY", 31},
    {12, "FTPCD_ERR_SIZE_LIMIT", 32},
    {13, "unknown result", 33},
    {14, "FTPCD_ERR_TIMEOUT", 34},
    {15, "FTPCD_ERR_NOT_SUPPORTED", 35},
    {16, "FTPCD_ERR_NETWORK", 36},
    {17, "FTPCD_ERR_SECURE_7", 37},
    {18, "FTPCD_ERR_SECURE_UNKNOWN", 38},
    {19, "FTPCD_ERR_SECURE_6", 39},
    {20, "FTPCD_ERR_SECURE_5", 40},
    {21, "FTPCD_ERR_CERT_MISMATCH", 41},
    {22, "FTPCD_ERR_HOSTKEY_MISMATCH", 42},
    {23, "FTPCD_ERR_REMOTE_FILE_EXISTS", 43},
    {24, "unknown result", 44},
    {99, "unknown result", 119},
    {100, "unknown result", 120},
    {0xFFFFFFFF, "unknown result", 120},
};

} // namespace

TEST(Results, HaveTheirNameAndExitStatus)
{
    for (const auto &c : CODES) {
        EXPECT_STREQ(result_name(c.code), c.name) << c.code;
        EXPECT_EQ(result_exit_status(c.code), c.status) << c.code;
    }
}

TEST(Results, EachHaveOneSentenceOfAdviceOfTheirOwn)
{
    std::set<std::string> advice;
    for (uint32_t code = 0; code <= 23; code++) {
        if (code == 13)
            continue;
        const std::string text = result_advice(code);
        EXPECT_EQ(text.find('.'), text.size() - 1) << code;
        EXPECT_TRUE(advice.insert(text).second) << "twice: " << text;
    }
}

TEST(Results, AreShownByNameNumberAndAdvice)
{
    EXPECT_EQ(result_text(3), "FTPCD_ERR_BUSY (3): Another job is running; wait for its end or cancel it.");
}

TEST(Results, EveryExitStatusIsInTheHelp)
{
    const std::string help = result_help();
    for (const auto &c : CODES) {
        if (std::string(c.name) != "unknown result" && c.status > 20) {
            EXPECT_THAT(help, HasSubstr("   " + std::to_string(c.status) + "  " + c.name + "\n"));
        }
    }
    for (const char *line : {"    0  done\n", "    2  usage", "    3  no daemon", "    4  FTPCD_ERR_BUSY"})
        EXPECT_THAT(help, HasSubstr(line));
}
