// The command line and the commands of watches, in this process.
#include "commands_fixture.h"

namespace fs = std::filesystem;

namespace
{

class WatchCommands : public Commands
{
protected:
    std::string root = dir / "in";
    void SetUp() override
    {
        Commands::SetUp();
        fs::create_directory(root);
    }
    watch_t only_watch() const { return watches_t(open()).all().at(0); }
};

} // namespace

TEST_F(WatchCommands, WatchPrintsTheId)
{
    EXPECT_EQ(run({"watch", root, "ftp://host/dir/"}).out, "1\n");
    const watch_t watch = only_watch();
    EXPECT_EQ(watch.folder, root);
    EXPECT_EQ(watch.entry.target.url, "ftp://host/dir/");
    EXPECT_EQ(watch.name, "{name}");
    EXPECT_THAT(watch.globs, IsEmpty());
    EXPECT_EQ(watch.entry.after, after_t::KEEP);
    const json object = json::parse(run({"--json", "watch", root + "//", "ftp://host"}).out);
    EXPECT_EQ(object["ids"], json({2}));
    EXPECT_EQ(object["command"], "watch");
    EXPECT_EQ(watches_t(open()).all()[1].folder, root);
    EXPECT_EQ(watches_t(open()).all()[1].entry.target.url, "ftp://host/");
}

TEST_F(WatchCommands, WatchAcceptsAllItsOptions)
{
    fs::create_directory(dir / "sent");
    const said_t said = run_with_login({"watch", root, "ftpes://host/d", "--match", "*.ts", "--match", "a*",
                                        "--recursive", "--name", "%Y/{name}", "--priority", "5", "--copy",
                                        "--tries", "3", "--move-to", dir / "sent"});
    ASSERT_EQ(said.err, "");
    const watch_t watch = only_watch();
    EXPECT_THAT(watch.globs, ElementsAre("*.ts", "a*"));
    EXPECT_TRUE(watch.is_deep);
    EXPECT_TRUE(watch.copies);
    EXPECT_EQ(watch.name, "%Y/{name}");
    EXPECT_EQ(watch.entry.target.url, "ftpes://host/d/");
    EXPECT_EQ(watch.entry.priority, 5);
    EXPECT_EQ(watch.entry.tries_most, 3);
    EXPECT_EQ(watch.entry.after, after_t::MOVE);
    EXPECT_EQ(watch.entry.move_to, dir / "sent");
    EXPECT_EQ(watch.entry.target.user, "anna");
    EXPECT_EQ(watch.entry.target.password_file, password);
    EXPECT_EQ(watch.entry.target.pin, "sha1:" + std::string(40, 'a'));
    EXPECT_TRUE(watch.entry.target.active);
}

TEST_F(WatchCommands, WatchRefusesWhatAddWouldRefuse)
{
    const std::string url = "ftp://host/";
    EXPECT_EQ(refusal({"watch", dir / "none", url}),
              "1 ftpspool: " + dir / "none" + ": No such file or directory\n");
    EXPECT_EQ(refusal({"watch", file, url}), "2 ftpspool: " + file + ": is no folder\n");
    EXPECT_THAT(refusal({"watch", root, "http://host/"}), StartsWith("2 "));
    EXPECT_EQ(refusal({"watch", root, "ftp://host/f"}),
              "2 ftpspool: URL: must end in '/' for several files\n");
    EXPECT_EQ(refusal({"watch", root, "ftp://anna@host/"}),
              "2 ftpspool: --password-file: is missing for anna@host\n");
    EXPECT_THAT(refusal({"watch", root, "ftp://anna@host/", "--password-file", dir / "none"}),
                StartsWith("1 ftpspool: " + dir / "none"));
    EXPECT_THAT(refusal({"watch", root, "ftp://host/a%23b/"}), StartsWith("2 "));
    EXPECT_THAT(refusal({"watch", root, url, "--move-to", dir / "none"}),
                StartsWith("1 ftpspool: " + dir / "none"));
    EXPECT_THAT(refusal({"watch", root, url, "--move-to", "/proc"}), HasSubstr("is on another file system"));
    EXPECT_THAT(refusal({"watch", root, url, "--delete", "--keep"}), StartsWith("2 "));
    EXPECT_THAT(refusal({"watch", root, url, "--name", "{nam}"}),
                StartsWith("2 ftpspool: --name: {nam} is unknown; there are {name}"));
    EXPECT_THAT(refusal({"watch", root, url, "--name", ""}), HasSubstr("--name: must name a file"));
    for (const char *glob : {"", "a/*"})
        EXPECT_EQ(
            refusal({"watch", root, url, "--match", glob}),
            "2 ftpspool: --match: is compared with a file's name alone, so it must not be empty or hold "
            "a '/'\n");
    EXPECT_EQ(run({"watches"}).out, "");
}

TEST_F(WatchCommands, WatchRefusesOtherNamesOverZixi)
{
    const std::vector<std::string> words = {"watch", root, "zixi://host:2088/d/"};
    for (const std::vector<std::string> &more :
         {std::vector<std::string>{"--copy"}, {"--name", "{base}.mp4"}, {"--name", "%Y/{counter}"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), more.begin(), more.end());
        EXPECT_THAT(refusal(all), StartsWith("2 ftpspool: zixi:// keeps the local file's name"))
            << more.back();
    }
    EXPECT_EQ(run({"watch", root, "zixi://host:2088/d/", "--name", "%Y/{name}"}).out, "1\n");
}

TEST_F(WatchCommands, WatchRefusesToMoveFilesIntoAWatchedFolder)
{
    fs::create_directories(root + "/sub/.hidden");
    fs::create_directories(root + "/.sent");
    fs::create_directory_symlink(root, dir / "link");
    const auto refused = [this](const std::string &to, bool is_deep) {
        std::vector<std::string> words = {"watch", root, "ftp://host/", "--move-to", to};
        if (is_deep)
            words.emplace_back("--recursive");
        const said_t said = run(words);
        return said.status == 2 &&
               said.err == "ftpspool: --move-to: " + to +
                               ": is watched itself, so files would be sent again and again\n";
    };
    for (const bool is_deep : {false, true}) {
        EXPECT_TRUE(refused(root, is_deep));
        EXPECT_TRUE(refused(root + "/", is_deep));
        EXPECT_TRUE(refused(dir / "link", is_deep));
        EXPECT_EQ(refused(root + "/sub", is_deep), is_deep);
        EXPECT_FALSE(refused(root + "/.sent", is_deep));
        EXPECT_FALSE(refused(root + "/sub/.hidden", is_deep));
        EXPECT_FALSE(refused(dir.path.string(), is_deep));
    }
}

TEST_F(WatchCommands, WatchCompletesTheProfilesUrl)
{
    profile("url = ftp://host/base/\n");
    const std::vector<std::string> by_profile = {"--profile", "cam", "--profiles", dir.path.string()};
    const auto watched = [&](std::vector<std::string> words) {
        words.insert(words.end(), by_profile.begin(), by_profile.end());
        EXPECT_EQ(run(words).status, 0);
        return watches_t(open()).all().back().entry.target;
    };
    EXPECT_EQ(watched({"watch", root}).url, "");
    EXPECT_EQ(watched({"watch", root, "."}).url, "");
    EXPECT_EQ(watched({"watch", root, "d/"}).url, "d/");
    EXPECT_EQ(watched({"watch", root, "d", "--name", "{counter}"}).shown_url(), "cam:d/");
    EXPECT_EQ(watches_t(open()).all()[0].entry.target.profiles, dir.path.string());
    EXPECT_EQ(run({"watch", root, "ftp://host/", "--profile", "cam", "--profiles", dir.path.string()}).status,
              2);
}

TEST_F(WatchCommands, WatchRefusesTheSpoolItself)
{
    open();
    fs::create_directory(paths.files());
    for (const std::string &folder : {paths.folder, paths.files()})
        EXPECT_EQ(refusal({"watch", folder, "ftp://host/"}),
                  "2 ftpspool: " + folder + ": is the spool's own folder, or one around it or in it\n");
    EXPECT_EQ(run({"watch", dir.path.string(), "ftp://host/"}).status, 0);
    EXPECT_EQ(run({"watch", dir.path.string(), "ftp://host/", "--recursive"}).status, 2);
}

TEST_F(WatchCommands, WatchesPrintsALineOrAnObjectForEach)
{
    EXPECT_EQ(run({"watches"}).status, 0);
    run({"watch", root, "ftp://host/"});
    run({"watch", root, "ftp://anna@host/d/", "--password-file", password, "--match", "*.ts", "--match", "a",
         "--recursive", "--name", "{counter}", "--delete", "--tries", "3"});
    const std::string first = "     1  " + root + " -> ftp://host/{name} (0 taken)\n";
    const std::string second =
        "     2  " + root + " -> ftp://anna@host/d/{counter}, *.ts, a, with sub-folders (0 taken)\n";
    EXPECT_EQ(run({"watches"}).out, first + second);
    const std::string objects = run({"watches", "--json"}).out;
    const size_t end = objects.find('\n');
    const json nulls = json::parse(objects.substr(0, end));
    EXPECT_EQ(nulls, json({{"id", 1},
                           {"folder", root},
                           {"match", json::array()},
                           {"recursive", false},
                           {"url", "ftp://host/"},
                           {"name", "{name}"},
                           {"profile", nullptr},
                           {"profiles", nullptr},
                           {"taken", 0},
                           {"copy", false},
                           {"user", nullptr},
                           {"password_file", nullptr},
                           {"pin", nullptr},
                           {"proxy", nullptr},
                           {"proxy_password_file", nullptr},
                           {"active", false},
                           {"priority", 0},
                           {"tries_most", nullptr},
                           {"after", "keep"},
                           {"move_to", nullptr}}));
    const json full = json::parse(objects.substr(end));
    EXPECT_EQ(full["match"], json({"*.ts", "a"}));
    EXPECT_EQ(full["recursive"], true);
    EXPECT_EQ(full["password_file"], password);
    EXPECT_EQ(full["tries_most"], 3);
    EXPECT_EQ(full["after"], "delete");
}

TEST_F(WatchCommands, UnwatchRemovesAllNamedWatchesOrNone)
{
    for (int i = 0; i < 3; i++)
        run({"watch", root, "ftp://host/"});
    EXPECT_EQ(refusal({"unwatch", "1", "4"}), "6 ftpspool: there is no watch 4\n");
    EXPECT_EQ(watches_t(open()).ids().size(), 3u);
    EXPECT_EQ(run({"unwatch", "1", "3"}).out, "2 watches removed\n");
    const json object = json::parse(run({"--json", "unwatch", "2"}).out);
    EXPECT_EQ(object["message"], "1 watch removed");
    EXPECT_EQ(object["ids"], json({2}));
    EXPECT_THAT(watches_t(open()).ids(), IsEmpty());
}
