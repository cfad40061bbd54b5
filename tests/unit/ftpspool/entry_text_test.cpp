#include "ftpspool/entry_text.h"

#include "ftpctl/failure.h"
#include "spool_fixture.h"

#include <ctime>
#include <nlohmann/json.hpp>

using json = nlohmann::json;

namespace
{

class EntryText : public Spool
{
protected:
    entry_t entry = entry_to("ftp://host/f");
    void SetUp() override
    {
        entry.id = 7;
        entry.local = "/data/a";
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

} // namespace

TEST_F(EntryText, PutsTheMainFactsOnOneLine)
{
    EXPECT_EQ(entry_line(entry), "     7  queued        10 B  /data/a -> ftp://host/f");
    entry.state = state_t::FAILED;
    entry.size_bytes = 123456;
    entry.message = "why";
    EXPECT_EQ(entry_line(entry), "     7  failed    123.5 kB  /data/a -> ftp://host/f (why)");
}

TEST_F(EntryText, ListsOnlyTheFactsThatApply)
{
    EXPECT_EQ(entry_facts(entry),
              "entry: 7\nstate: queued\nlocal: /data/a\nsize: 10 bytes\nremote: ftp://host/f\n"
              "priority: 0\ntries: 0\nthen: keep\nadded: 2023-11-14 22:13:20");
    entry.target.user = "anna";
    entry.target.active = true;
    entry.tries = 2;
    entry.tries_most = 5;
    entry.after = after_t::MOVE;
    entry.move_to = "/sent";
    entry.expires_s = NOW_S + 60;
    const std::string facts = entry_facts(entry);
    for (const char *line : {"\nuser: anna\n", "\nmode: active\n", "\ntries: 2 of 5\n",
                             "\nthen: move to /sent\n", "\nexpires: 2023-11-14 22:14:20"})
        EXPECT_THAT(facts, HasSubstr(line));
}

TEST_F(EntryText, NamesTheProfile)
{
    const entry_t by_profile = entry_by_profile("dir/f");
    EXPECT_THAT(entry_line(by_profile), EndsWith(file + " -> cam:dir/f"));
    EXPECT_THAT(entry_facts(by_profile),
                HasSubstr("\nremote: dir/f\nprofile: cam\nprofiles: " + dir.path.string() + "\n"));
    const json object = json::parse(entry_json(by_profile));
    EXPECT_EQ(object["url"], "dir/f");
    EXPECT_EQ(object["profile"], "cam");
    EXPECT_EQ(object["profiles"], dir.path.string());
}

TEST_F(EntryText, HasEveryJsonKeyWithNullForWhatDoesNotApply)
{
    entry.local = "/data/\xff";
    const json object = json::parse(entry_json(entry));
    EXPECT_EQ(object.size(), 26u);
    EXPECT_EQ(object["id"], 7);
    EXPECT_EQ(object["state"], "queued");
    EXPECT_EQ(object["local"], "/data/\xEF\xBF\xBD");
    EXPECT_EQ(object["size_bytes"], 10);
    EXPECT_EQ(object["url"], "ftp://host/f");
    EXPECT_EQ(object["after"], "keep");
    EXPECT_EQ(object["added"], NOW_S);
    EXPECT_EQ(object["tries"], 0);
    for (const char *key :
         {"error", "message", "copy", "profile", "profiles", "user", "password_file", "pin", "proxy",
          "proxy_password_file", "tries_most", "move_to", "not_before", "expires", "ended"})
        EXPECT_EQ(object[key], nullptr) << key;
}

TEST_F(EntryText, NamesTheFailureInAnAnswer)
{
    EXPECT_EQ(answer_json("add", 0, "7", {7}),
              R"({"command":"add","status":0,"error":null,"message":"7","ids":[7]})");
    EXPECT_EQ(answer_json("", STATUS_USAGE, "why", {}),
              R"({"command":null,"status":2,"error":"usage","message":"why","ids":[]})");
}

TEST_F(EntryText, IsOneLineWhateverAFileIsCalled)
{
    entry.local = "/data/a\n     8  done\x1b[2K \xc3\xa4";
    EXPECT_EQ(entry_line(entry),
              "     7  queued        10 B  /data/a?     8  done?[2K \xc3\xa4 -> ftp://host/f");
    EXPECT_THAT(entry_facts(entry), HasSubstr("\nlocal: /data/a?     8  done?[2K \xc3\xa4\nsize: "));
}
