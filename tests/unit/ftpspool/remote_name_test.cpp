#include "ftpspool/remote_name.h"

#include "../ftpctl/refused.h"

namespace
{

constexpr int64_t CHANGED_S = 1700000000; // 2023-11-14 22:13:20 UTC, a Tuesday

struct row_t {
    const char *pattern;
    const char *name;
    const char *made;
};

std::string made_of(const std::string &pattern, const std::string &name)
{
    return remote_name(pattern, {name, "cam-7", CHANGED_S, 42});
}

} // namespace

TEST(RemoteName, FollowsThePattern)
{
    const row_t rows[] = {
        {"{name}", "a.ts", "a.ts"},
        {"f", "a.ts", "f"},
        {"{base}-{counter}{extension}", "a.b.ts", "a.b-42.ts"},
        {"{base}|{extension}", "a", "a|"},
        {"{base}|{extension}", "a.", "a|."},
        {"{base}|{extension}", ".a", ".a|"},
        {"{host}_{name}", "a", "cam-7_a"},
        {"{counter:6}", "a", "000042"},
        {"{counter:2}{counter:1}", "a", "4242"},
        {"{counter:18}", "a", "000000000000000042"},
        {"%Y/%m/%d/%H%M%S-{name}", "a", "2023/11/14/221320-a"},
        {"%F %j %u %a %b %y %%", "a", "2023-11-14 318 2 Tue Nov 23 %"},
        {"{name}", "%Y {host}", "%Y {host}"}, // what a name holds is no pattern
        {"}a", "a", "}a"},
        {"{extension}", "a", "a"}, // never nothing
        {"%Y/{extension}", "a", "2023/a"},
    };
    for (const row_t &row : rows)
        EXPECT_EQ(made_of(row.pattern, row.name), row.made) << row.pattern;
}

TEST(RemoteName, KeepsAllDigitsOfALargeCounter)
{
    EXPECT_EQ(remote_name("{counter:2}", {"a", "h", 0, 12345}), "12345");
}

TEST(RemoteName, UsesUtcInAnyTimeZone)
{
    setenv("TZ", "America/New_York", 1);
    tzset();
    EXPECT_EQ(made_of("%d %H", "a"), "14 22");
    EXPECT_EQ(remote_name("%Y", {"a", "h", -1, 0}), "1969");
    setenv("TZ", "UTC", 1);
    tzset();
}

TEST(RemoteName, RefusesAMalformedPattern)
{
    const row_t rows[] = {
        {"", "", "2 --name: must name a file, and neither begin nor end with '/'"},
        {"/{name}", "", "2 --name: must name a file, and neither begin nor end with '/'"},
        {"{name}/", "", "2 --name: must name a file, and neither begin nor end with '/'"},
        {"{nam}", "",
         "2 --name: {nam} is unknown; there are {name}, {base}, {extension}, {host}, {counter} and {counter:6}"},
        {"{}", "",
         "2 --name: {} is unknown; there are {name}, {base}, {extension}, {host}, {counter} and {counter:6}"},
        {"a{name", "", "2 --name: '}' is missing"},
        {"%Q", "", "2 --name: %Q is unknown; there are %Y %m %d %H %M %S and more, and %% for a '%'"},
        {"a%", "", "2 --name: % is unknown; there are %Y %m %d %H %M %S and more, and %% for a '%'"},
        {"{counter:}", "", "2 --name: {counter:N}: N must be a number from 1 to 18"},
        {"{counter:0}", "", "2 --name: {counter:N}: N must be a number from 1 to 18"},
        {"{counter:19}", "", "2 --name: {counter:N}: N must be a number from 1 to 18"},
        {"{counter:6x}", "", "2 --name: {counter:N}: N must be a number from 1 to 18"},
    };
    for (const row_t &row : rows)
        EXPECT_EQ(failure_of([&] { remote_name_check(row.pattern); }), row.made) << row.pattern;
    EXPECT_EQ(failure_of([] { remote_name_check("%Y/{host}/{base}-{counter:6}{extension}"); }), "");
}
