#include "strutil/log.h"

#include "support/logged.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>

TEST(Log, AnErrorHasAPrefixItsPlaceAndANewline)
{
    log_error("curl_wrapper(615)", "%s: Failed(%d)", "CURLOPT_URL", 43);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(615): CURLOPT_URL: Failed(43)\n"});
}

TEST(Log, AMilestoneHasItsPlaceAndANewline)
{
    log_info("zixi_func(784)", "Zixi FTP Done.");
    EXPECT_EQ(logged(), lines{"zixi_func(784): Zixi FTP Done.\n"});
}

TEST(Log, ATextIsLoggedUnchanged)
{
    log_text("%d%% of %s", 50, "it");
    EXPECT_EQ(logged(), lines{"50% of it"});
}

TEST(Log, AFailedSystemCallIsLoggedAsErrnoInNumberAndWords)
{
    errno = ENOENT;
    log_errno("ftp_clientd(967)");
    EXPECT_EQ(logged(), lines{"error: ftp_clientd(967): errno(2) No such file or directory\n"});
}

TEST(Log, AnErrnoWithoutWordsKeepsItsNumber)
{
    errno = 12345;
    log_errno("ftp_clientd(967)");
    EXPECT_EQ(errno, 12345);
    EXPECT_EQ(logged(), lines{"error: ftp_clientd(967): errno(12345) Unknown error 12345\n"});
}

TEST(Log, AReturnedErrorIsLoggedOnlyWhenThereIsOne)
{
    log_if_failed("curl_func(2124)", "pthread_mutex_lock", 0);
    EXPECT_EQ(logged(), lines{});
    log_if_failed("curl_func(2124)", "pthread_mutex_lock", EINVAL);
    EXPECT_EQ(logged(), lines{"error: curl_func(2124): pthread_mutex_lock(): 22\n"});
}

TEST(Log, AMissingPointerIsLoggedAndReported)
{
    EXPECT_FALSE(log_if_null("curl_func(1442)", "100% null", &errno));
    EXPECT_EQ(logged(), lines{});
    EXPECT_TRUE(log_if_null("curl_func(1442)", "100% null", nullptr));
    EXPECT_EQ(logged(), lines{"error: curl_func(1442): 100% null\n"});
}

TEST(Log, ALongArgumentIsNotCut)
{
    const std::string name(5000, 'n');
    log_info("curl_func(1778)", "%s, size: %lld", name.c_str(), 7LL);
    EXPECT_EQ(logged(), lines{"curl_func(1778): " + name + ", size: 7\n"});
}

TEST(Log, ErrnoIsTheSameAfterwards)
{
    errno = EAGAIN;
    log_error("a(1)", "x");
    EXPECT_EQ(errno, EAGAIN);
    log_errno("a(1)");
    EXPECT_EQ(errno, EAGAIN);
    log_info("a(1)", "x");
    EXPECT_EQ(errno, EAGAIN);
    log_text("x");
    EXPECT_EQ(errno, EAGAIN);
    log_if_failed("a(1)", "x", 1);
    EXPECT_EQ(errno, EAGAIN);
    logged();
}
