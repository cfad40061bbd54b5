#include "zixi_func/error_names.h"

#include "support/logged.h"

#include <climits>
#include <gtest/gtest.h>

namespace
{

struct row_t {
    int code;
    const char *name;
};

constexpr row_t NAMES[] = {
    {-22, "ZIXI_WARNING_REMOTE_FILE_EXISTS"},
    {-21, "ZIXI_ERROR_FILE_REMOTE"},
    {-20, "ZIXI_ERROR_FILE_LOCAL"},
    {-19, "ZIXI_ERROR_BAD_URL"},
    {-18, "ZIXI_ERROR_NOT_FOUND"},
    {-17, "ZIXI_ERROR_NETWORK"},
    {-16, "ZIXI_ERROR_CACHE_TO_SMALL"},
    {-15, "ZIXI_ERROR_RESOLVING_FAILED"},
    {-14, "ZIXI_ERROR_TEST_FAILED"},
    {-13, "ZIXI_ERROR_NOT_SUPPORTED"},
    {-12, "ZIXI_ERROR_EOF"},
    {-11, "ZIXI_ERROR_SERVER_FULL"},
    {-10, "ZIXI_ERROR_VERSION"},
    {-9, "ZIXI_ERROR_NETWORK_ERRORS"},
    {-8, "ZIXI_ERROR_LICENSING_FAILED"},
    {-7, "ZIXI_ERROR_AUTHORIZATION_FAILED"},
    {-6, "ZIXI_ERROR_FUNCTION_NOT_FOUND"},
    {-5, "ZIXI_ERROR_DLL_NOT_FOUND"},
    {-4, "ZIXI_ERROR_NOT_CONNECTED"},
    {-3, "ZIXI_ERROR_NOT_INITIALIZED"},
    {-2, "ZIXI_ERROR_TIMEOUT"},
    {-1, "ZIXI_ERROR_FAILED"},
    {1, "ZIXI_ERROR_INVALID_PARAMETER"},
    {2, "ZIXI_ERROR_STREAM_CHANGED"},
    {3, "ZIXI_ERROR_ALREADY_INITIALIZED"},
    {4, "ZIXI_ERROR_ALREADY_CONNECTED"},
    {5, "ZIXI_ERROR_NOT_READY"},
    {6, "ZIXI_ERROR_BUFFER_TO_SMALL"},
    {7, "ZIXI_ERROR_RECONNECTING"},
    {-23, "Unknown error"},
    {8, "Unknown error"},
    {INT_MIN, "Unknown error"},
    {INT_MAX, "Unknown error"},
};

} // namespace

TEST(ErrorNames, EveryErrorIsLoggedByItsNameAndNumber)
{
    for (const row_t &row : NAMES) {
        zixif_log_error(row.code);
        const std::string line =
            std::string("error: zixi_func(1170): ") + row.name + "(" + std::to_string(row.code) + ") \n";
        EXPECT_EQ(logged(), lines{line});
    }
}

TEST(ErrorNames, NoErrorIsNotLogged)
{
    zixif_log_error(0);
    EXPECT_EQ(logged(), lines{});
}
