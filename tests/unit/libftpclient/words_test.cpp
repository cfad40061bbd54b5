#include "libftpclient/ftpclient.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

// {code: (name, meaning)}, from the table of the protocol's page.
static std::map<int, std::pair<std::string, std::string>> documented()
{
    std::map<int, std::pair<std::string, std::string>> table;
    std::ifstream page(PROTOCOL_PAGE);
    const std::regex row(R"(\| (\d+) \| `(FTPCD_ERR_\w+)` \| (.*) \|)");
    std::smatch match;
    for (std::string line; std::getline(page, line);) {
        if (std::regex_match(line, match, row))
            table[std::stoi(match[1])] = {match[2], match[3]};
    }
    return table;
}

TEST(Words, EveryResultHasItsDocumentedNameAndMeaning)
{
    const auto table = documented();
    ASSERT_EQ(table.size(), 23u);
    for (const auto &[code, words] : table) {
        EXPECT_STREQ(ftpclient_result_name(code), words.first.c_str());
        EXPECT_STREQ(ftpclient_strerror(code), words.second.c_str());
    }
}

TEST(Words, AnUndocumentedResultIsUnknown)
{
    for (int code : {13, 24, 255, INT_MAX}) {
        EXPECT_STREQ(ftpclient_result_name(code), "unknown result");
        EXPECT_STREQ(ftpclient_strerror(code), "unknown result");
    }
}

TEST(Words, EveryErrorHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (int error = FTPCLIENT_ERR_IN_USE; error < 0; error++) {
        EXPECT_STREQ(ftpclient_result_name(error), "unknown result");
        texts.insert(ftpclient_strerror(error));
    }
    EXPECT_EQ(texts.size(), 12u);
    EXPECT_EQ(texts.count("unknown error"), 0u);
    EXPECT_STREQ(ftpclient_strerror(FTPCLIENT_ERR_IN_USE - 1), "unknown error");
    EXPECT_STREQ(ftpclient_strerror(INT_MIN), "unknown error");
}

TEST(Words, TheVersionIsTheHeaders)
{
    const std::string header = std::to_string(FTPCLIENT_VERSION_MAJOR) + "." +
                               std::to_string(FTPCLIENT_VERSION_MINOR) + "." +
                               std::to_string(FTPCLIENT_VERSION_PATCH);
    EXPECT_EQ(ftpclient_version(), header);
}
