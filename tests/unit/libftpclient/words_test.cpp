#include "libftpclient/ftpclient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

// The pattern's groups for each matching line of a file.
static std::vector<std::vector<std::string>> rows_of(const char *path, const std::string &pattern)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream file(path);
    const std::regex wanted(pattern);
    std::smatch match;
    for (std::string line; std::getline(file, line);) {
        if (std::regex_match(line, match, wanted))
            rows.emplace_back(match.begin() + 1, match.end());
    }
    return rows;
}

// {code: (name, meaning)}, from the table of the protocol's page.
static std::map<int, std::pair<std::string, std::string>> documented()
{
    std::map<int, std::pair<std::string, std::string>> table;
    for (const auto &row : rows_of(PROTOCOL_PAGE, R"(\| (\d+) \| `(FTPCD_ERR_\w+)` \| (.*) \|)"))
        table[std::stoi(row[0])] = {row[1], row[2]};
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
    for (int code : {13, 24, 255, INT_MAX}) {
        EXPECT_STREQ(ftpclient_result_name(code), "unknown result");
        EXPECT_STREQ(ftpclient_strerror(code), "unknown result");
    }
}

// The members of `enumeration` that begin with `prefix`, from the header's text: {name: number}.
static std::map<std::string, int> members(const std::string &prefix)
{
    std::map<std::string, int> found;
    for (const auto &row : rows_of(PUBLIC_HEADER, "\\s+(" + prefix + "\\w*) = (-?\\d+),?.*"))
        found[row[0]] = std::stoi(row[1]);
    return found;
}

TEST(Words, EveryErrorHasATextOfItsOwn)
{
    auto errors = members("FTPCLIENT_ERR_");
    errors.merge(members("FTPCLIENT_PENDING"));
    ASSERT_GE(errors.size(), 20u);
    std::set<std::string> texts = {"unknown error", ""};
    int least = 0;
    for (const auto &[name, error] : errors) {
        EXPECT_TRUE(texts.insert(ftpclient_strerror(error)).second) << name;
        EXPECT_STREQ(ftpclient_result_name(error), "unknown result") << name;
        least = std::min(least, error);
    }
    EXPECT_STREQ(ftpclient_strerror(least - 1), "unknown error");
    EXPECT_STREQ(ftpclient_strerror(INT_MIN), "unknown error");
}

TEST(Words, EveryResultOfTheHeaderIsDocumented)
{
    const auto results = members("FTPCLIENT_RESULT_");
    const auto table = documented();
    EXPECT_EQ(results.size(), table.size());
    for (const auto &[name, code] : results)
        EXPECT_EQ("FTPCD_ERR_" + name.substr(strlen("FTPCLIENT_RESULT_")), table.at(code).first);
}

TEST(Words, EveryCauseHasANameAndASentenceOfItsOwn)
{
    const auto causes = members("FTPCLIENT_CAUSE_");
    ASSERT_GE(causes.size(), 15u);
    std::set<std::string> names = {ftpclient_cause_name(-1), ""};
    std::set<std::string> texts = {ftpclient_cause_text(-1), ""};
    for (const auto &[macro, cause] : causes) {
        const std::string name = ftpclient_cause_name(cause);
        EXPECT_TRUE(names.insert(name).second) << macro;
        EXPECT_TRUE(texts.insert(ftpclient_cause_text(cause)).second) << macro;
        EXPECT_TRUE(std::regex_match(name, std::regex("[a-z]+(-[a-z]+)*"))) << "for scripts: " << name;
    }
    EXPECT_STREQ(ftpclient_cause_name(FTPCLIENT_CAUSE_LOGIN), "login-refused");
}

TEST(Words, VersionIsThatOfTheHeader)
{
    const std::string header = std::to_string(FTPCLIENT_VERSION_MAJOR) + "." +
                               std::to_string(FTPCLIENT_VERSION_MINOR) + "." +
                               std::to_string(FTPCLIENT_VERSION_PATCH);
    EXPECT_EQ(ftpclient_version(), header);
}
