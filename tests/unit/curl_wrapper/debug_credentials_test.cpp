// Built both with and without FTP_CLIENTD_REDACT_PASSWORDS, whatever the whole build has chosen.
#include "curl_wrapper/curl_wrapper.h"
#include "curl_wrapper/redact.h"
#include "support/failing_heap.h"
#include "support/logged.h"

#include <gtest/gtest.h>

static lines shown(curl_infotype type, std::string data)
{
    curl_e_handle_t rec{};
    debug_cb(nullptr, type, data.data(), data.size(), &rec);
    return logged();
}

static constexpr char PROXIED[] =
    "GET ftp://joe:s3cret@h/f HTTP/1.1\r\nHost: h:21\r\nAuthorization: Basic am9lOg==\r\n"
    "Proxy-Authorization: Basic cDpx\r\nUser-Agent: x\r\n\r\n";

#ifdef FTP_CLIENTD_REDACT_PASSWORDS

TEST(DebugCb, HidesCredentialsInARedactingBuild)
{
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, "PASS s3cret\r\n"), lines{"> PASS ****"});
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, PROXIED),
              (lines{"> GET ftp://****@h/f HTTP/1.1", "> Host: h:21", "> Authorization: ****",
                     "> Proxy-Authorization: ****", "> User-Agent: x"}));
    EXPECT_EQ(shown(CURLINFO_TEXT, "URL: 'ftp://joe:s3cret@h/f'\n"), lines{"* URL: 'ftp://****@h/f'"});
    EXPECT_EQ(shown(CURLINFO_HEADER_IN, "230 100% in\r\n"), lines{"< 230 100% in"});
}

TEST(DebugCb, LogsNothingOfALineWithoutMemoryToRedactIt)
{
    const failing_heap heap(1);
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, "PASS s3cret\r\n"), lines{"> ****"});
}

TEST(Loggable, HidesTheCredentialsOfAUrlInARedactingBuild)
{
    heap_string memory;
    EXPECT_STREQ(curl_e_loggable("sftp://joe:s3cret@h/f", &memory), "sftp://****@h/f");
    EXPECT_STREQ(curl_e_loggable("sftp://h/~/f", &memory), "sftp://h/~/f");
    const failing_heap heap(1);
    EXPECT_STREQ(curl_e_loggable("sftp://joe:s3cret@h/f", &memory), "****");
}

#else

TEST(Loggable, IsTheTextItselfInAPlainBuild)
{
    constexpr char URL[] = "sftp://joe:s3cret@h/f";
    heap_string memory;
    EXPECT_EQ(curl_e_loggable(URL, &memory), URL);
    EXPECT_EQ(memory, nullptr);
}

TEST(DebugCb, LogsCredentialsUnchangedInAPlainBuild)
{
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, "PASS s3cret\r\n"), lines{"> PASS s3cret"});
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, PROXIED),
              (lines{"> GET ftp://joe:s3cret@h/f HTTP/1.1", "> Host: h:21", "> Authorization: Basic am9lOg==",
                     "> Proxy-Authorization: Basic cDpx", "> User-Agent: x"}));
}

#endif
