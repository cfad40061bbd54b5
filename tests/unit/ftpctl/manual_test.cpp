// The manual page covers exactly what the program offers.
#include "program.h"

#include "ftpctl/event.h"
#include "ftpctl/statuses.h"
#include "libftpclient/ftpclient.h"

#include <gmock/gmock.h>
#include <map>
#include <regex>
#include <set>
#include <vector>

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

namespace
{

using names_t = std::set<std::string>;

// The page without the backslashes before its minus signs.
std::string manual() { return std::regex_replace(content_of(MANUAL), std::regex(R"(\\-)"), "-"); }

// The text under `.SH title`.
std::string section(const std::string &title)
{
    const std::string page = manual();
    const size_t begin = page.find("\n.SH " + title + "\n");
    EXPECT_NE(begin, std::string::npos) << title;
    const size_t end = page.find("\n.SH ", begin + 1);
    return page.substr(begin, end == std::string::npos ? end : end - begin);
}

using row_t = std::vector<std::string>; // of the program's table or a page's
using rows_t = std::vector<row_t>;

// The groups of every match of a pattern.
rows_t found_rows(const std::string &text, const char *pattern)
{
    rows_t rows;
    const std::regex wanted(pattern);
    for (std::sregex_iterator match(text.begin(), text.end(), wanted), end; match != end; ++match)
        rows.emplace_back(match->begin() + 1, match->end());
    return rows;
}

names_t found(const std::string &text, const char *pattern)
{
    names_t names;
    for (const row_t &row : found_rows(text, pattern))
        names.insert(row[0]);
    return names;
}

names_t commands()
{
    const std::string help = run({"--help"}).out;
    std::smatch heading; // in capitals since CLI11 2.6
    EXPECT_TRUE(std::regex_search(help, heading, std::regex("\nsubcommands:\n", std::regex::icase)));
    const auto begin = static_cast<size_t>(heading.position());
    return found(help.substr(begin, help.find("\n\n", begin + 1) - begin), "\n  ([a-z]+) ");
}

constexpr const char *HELP_OPTION = "\n +(?:-h, *)?(--[a-z-]+)";
constexpr const char *MANUAL_OPTION = "\n\\.TP\n\\.B[IR]? (?:-h \", \" )?(--[a-z-]+)";

// Status, name, meaning, remedy.
rows_t known_statuses()
{
    rows_t rows;
    for (const status_t &row : status_table())
        rows.push_back({std::to_string(row.status), row.name, row.meaning, row.remedy});
    return rows;
}

} // namespace

TEST(Manual, HasEveryOptionAndNoOther)
{
    names_t offered = found(run({"--help"}).out, HELP_OPTION);
    for (const std::string &command : commands())
        offered.merge(found(run({command, "--help"}).out, HELP_OPTION));
    EXPECT_THAT(offered, IsSupersetOf({"--socket", "--pin", "--resume", "--exec", "--help"}));
    EXPECT_EQ(found(section("OPTIONS"), MANUAL_OPTION), offered);
}

TEST(Manual, SaysWhichCommandsTakeAnOption)
{
    // "\n.SS Of get and put\n": the options below belong to the commands in the title and to no others.
    const std::string options = section("OPTIONS");
    std::map<std::string, names_t> told;
    for (size_t at = options.find("\n.SS Of "); at != std::string::npos;) {
        const size_t next = options.find("\n.SS Of ", at + 1);
        const std::string part = options.substr(at, next == std::string::npos ? next : next - at);
        const std::string title = part.substr(1, part.find('\n', 1) - 1);
        for (const std::string &command : commands()) {
            if (std::regex_search(title, std::regex("\\b" + command + "\\b")))
                told[command].merge(found(part, MANUAL_OPTION));
        }
        at = next;
    }
    for (const std::string &command : commands()) {
        names_t offered = found(run({command, "--help"}).out, HELP_OPTION);
        EXPECT_EQ(offered.erase("--help"), 1u) << command;
        EXPECT_EQ(told[command], offered) << command;
    }
}

TEST(Manual, HasEveryCommand)
{
    EXPECT_THAT(commands(), IsSupersetOf({"get", "put", "info", "identity", "listen"}));
    const std::string description = section("DESCRIPTION");
    const size_t begin = description.find("\n.SS Commands\n");
    const size_t end = description.find("\n.SS ", begin + 1);
    EXPECT_EQ(found(description.substr(begin, end - begin), "\n\\.TP\n\\.B ([a-z]+)\n"), commands());
    EXPECT_THAT(found(section("SYNOPSIS"), "\\b(get|put|info|identity|state|cancel|ping|watch|listen)\\b"),
                commands());
}

TEST(Manual, HasEveryExitStatusInTheSameWords)
{
    const std::string text = section("EXIT STATUS");
    rows_t known = known_statuses();
    EXPECT_THAT(text, HasSubstr("\n.TP\n.B 0\n" + known.front().at(2) + "\n"));
    known.erase(known.begin()); // success has no name and no remedy
    rows_t told;
    for (const row_t &row :
         found_rows(text, "\n\\.TP\n\\.B ([0-9]+)\n([^\n]+)\n\\.RB \\( ([^ ]+) \\);\n([^\n]+)"))
        told.push_back({row[0], row[2], row[1], row[3]});
    EXPECT_EQ(told, known);
    EXPECT_THAT(known, Contains(testing::Contains(ftpclient_cause_text(FTPCLIENT_CAUSE_LOGIN))));
}

TEST(Operations, HaveEveryExitStatusInTheSameWords)
{
    rows_t known = known_statuses();
    known.erase(known.begin());
    EXPECT_EQ(found_rows(content_of(OPERATIONS),
                         "\n\\| ([0-9]+) \\| `([a-z0-9-]+)` \\| ([^|\n]+) \\| ([^|\n]+) \\|"),
              known);
}

TEST(Help, HasEveryExitStatusInTheSameWords)
{
    const std::string help = run({"--help"}).out;
    for (const row_t &row : known_statuses())
        EXPECT_THAT(help,
                    HasSubstr("\n" + std::string(5 - row[0].size(), ' ') + row[0] + "  " + row[2] + "\n"));
}

TEST(Manual, HasEveryVariable)
{
    names_t known = {"FTPCTL_PASSWORD", "FTPCTL_PROXY_PASSWORD"};
    for (const std::string &name : event_variable_names())
        known.insert(name);
    EXPECT_EQ(found(manual(), "\\b(FTPCTL_[A-Z_]*[A-Z])\\b"), known);
}
