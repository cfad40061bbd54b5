#include "commands_fixture.h"

using Add = Commands;

TEST_F(Add, PrintsTheId)
{
    const said_t said = run({"add", file, "ftp://host/dir/f"});
    EXPECT_EQ(said.status, 0);
    EXPECT_EQ(said.out, "1\n");
    EXPECT_EQ(said.err, "");
    const entry_t entry = found(1);
    EXPECT_EQ(entry.local, file);
    EXPECT_EQ(entry.target.url, "ftp://host/dir/f");
    EXPECT_EQ(entry.size_bytes, 10);
    EXPECT_EQ(entry.after, after_t::KEEP);
    EXPECT_NEAR(static_cast<double>(entry.added_s), static_cast<double>(wall_s()), 60);
    EXPECT_EQ(entry.expires_s + entry.not_before_s + entry.tries_most + entry.priority, 0);
    EXPECT_EQ(json::parse(run({"--json", "add", file, "ftp://host/f"}).out)["ids"], json({2}));
}

TEST_F(Add, AcceptsAllItsOptions)
{
    std::filesystem::create_directory(dir / "sent");
    const said_t said = run_with_login({"add", file, "ftpes://host/", "--priority", "-5", "--not-before",
                                        "90m", "--expires", "2d", "--tries", "4", "--move-to", dir / "sent"});
    ASSERT_EQ(said.err, "");
    const entry_t entry = found(1);
    EXPECT_EQ(entry.target.url, "ftpes://host/a");
    EXPECT_EQ(entry.priority, -5);
    EXPECT_EQ(entry.not_before_s, entry.added_s + 5400);
    EXPECT_EQ(entry.expires_s, entry.added_s + 172800);
    EXPECT_EQ(entry.tries_most, 4);
    EXPECT_EQ(entry.after, after_t::MOVE);
    EXPECT_EQ(entry.move_to, dir / "sent");
    EXPECT_EQ(entry.target.user, "anna");
    EXPECT_EQ(entry.target.password_file, password);
    EXPECT_EQ(entry.target.pin, "sha1:" + std::string(40, 'a'));
    EXPECT_TRUE(entry.target.active);
    run({"add", file, "ftp://host/f", "--delete", "--proxy", "anna@proxy", "--proxy-password-file",
         password});
    EXPECT_EQ(found(2).after, after_t::DELETE);
    EXPECT_EQ(found(2).target.proxy, "anna@proxy");
    EXPECT_EQ(found(2).target.proxy_password_file, password);
}

TEST_F(Add, StoresWhereTheProfileIsAndNotItsContent)
{
    profile("url = ftpes://host/base/\nuser = anna\npassword-file = " + password + "\nmode = active\n");
    const std::vector<std::string> by_profile = {"--profile", "cam", "--profiles", dir.path.string()};
    const auto add = [&](std::vector<std::string> words) {
        words.insert(words.end(), by_profile.begin(), by_profile.end());
        return run(words);
    };
    EXPECT_EQ(add({"add", file, "d%20e/f"}).out, "1\n");
    EXPECT_EQ(add({"add", file, "d%20e/"}).out, "2\n");
    EXPECT_EQ(add({"add", file, "."}).out, "3\n");
    EXPECT_EQ(add({"add", file}).out, "4\n");
    EXPECT_EQ(found(1).target.url, "d%20e/f");
    EXPECT_EQ(found(2).target.url, "d%20e/a");
    EXPECT_EQ(found(3).target.url, "a");
    EXPECT_EQ(found(4).target.url, "a");
    const target_t target = found(1).target;
    EXPECT_EQ(target.profile, "cam");
    EXPECT_EQ(target.profiles, dir.path.string());
    EXPECT_EQ(target.user + target.password_file + target.pin + target.proxy, "");
    EXPECT_FALSE(target.active);
    EXPECT_THAT(run({"list"}).out, HasSubstr(file + " -> cam:d%20e/f\n"));
    run({"add", file, "ftp://host/f", "--profiles", dir.path.string()});
    EXPECT_EQ(found(5).target.profiles, "") << "it is of no profile";
    const database_t raw(paths.database(), database_t::access_t::READ, 64);
    EXPECT_EQ(raw.text("SELECT group_concat(name) FROM servers"),
              "ftpes://anna@host:21,ftp://anonymous@host:21");
}

TEST_F(Add, RefusesAnUnusableProfile)
{
    const std::string folder = dir.path.string();
    const auto refused = [&](const std::string &content, const std::vector<std::string> &more = {}) {
        profile(content);
        std::vector<std::string> words = {"add", file, "f", "--profile", "cam", "--profiles", folder};
        words.insert(words.end(), more.begin(), more.end());
        return refusal(words);
    };
    EXPECT_EQ(refused("url = ftp://host\nmode = fast\n"),
              "2 ftpspool: " + dir / "cam.conf" + ": mode: must be passive or active\n");
    EXPECT_EQ(refused("url = ftp://host\nuser = anna\n"),
              "2 ftpspool: --password-file: is missing for anna@host\n");
    EXPECT_EQ(refused("url = ftp://host\nproxy = anna@proxy\n"),
              "2 ftpspool: --proxy-password-file: is missing\n");
    EXPECT_EQ(refused("url = ftp://host\nuser = anna\npassword-file = /nonexistent\n"),
              "1 ftpspool: /nonexistent: No such file or directory\n");
    EXPECT_THAT(refused("url = ftp://host\nuser = " + std::string(40, 'x') + "\npassword-credential = c\n"),
                StartsWith("2 ftpspool: user name: 40 bytes are too many"));
    EXPECT_THAT(refused("url = ftp://host\n", {"--pin", "md5:" + std::string(32, '0')}), StartsWith("2 "));
    EXPECT_EQ(refusal({"add", file, "f", "--profile", "none"}),
              "1 ftpspool: /etc/ftp_clientd/profiles/none.conf: No such file or directory\n");
    EXPECT_THAT(refusal({"add", file, "f", "--profile", "a/b"}), HasSubstr("must be a name without '/'"));
    EXPECT_EQ(refusal({"add", file, "ftp://host/f", "--profile", "cam", "--profiles", folder}),
              "2 ftpspool: URL: must be relative to the profile's, such as dir/file\n");
    EXPECT_THAT(refusal({"add", file}), HasSubstr("URL is required"));
    EXPECT_EQ(run({"list"}).out, "");
}

TEST_F(Add, LeavesCredentialsToTheService)
{
    unsetenv("CREDENTIALS_DIRECTORY");
    profile("url = ftp://host\nuser = anna\npassword-credential = c\nproxy = bob@proxy\n"
            "proxy-password-credential = p\n");
    const said_t said = run({"add", file, "f", "--profile", "cam", "--profiles", dir.path.string()});
    EXPECT_EQ(said.err, "");
    EXPECT_EQ(said.out, "1\n");
}

TEST_F(Add, ReadsTimesInLocalTime)
{
    setenv("TZ", "UTC", 1);
    run({"add", file, "ftp://host/f", "--not-before", "2033-05-18T03:33", "--expires", "2033-05-18T03:34"});
    EXPECT_EQ(found(1).not_before_s, 1999999980);
    EXPECT_EQ(found(1).expires_s, 2000000040);
    run({"add", file, "ftp://host/f", "--expires", "1970-01-01T00:00"});
    EXPECT_EQ(found(2).expires_s, 1); // long ago is not never
}

TEST_F(Add, AppendsTheFilesNameToAFolderUrl)
{
    const std::string odd = dir.file("a b%", "x");
    for (const char *url : {"ftp://host", "ftp://host/", "ftp://host/d/"})
        run({"add", odd, url});
    EXPECT_EQ(found(1).target.url, "ftp://host/a%20b%25");
    EXPECT_EQ(found(2).target.url, "ftp://host/a%20b%25");
    EXPECT_EQ(found(3).target.url, "ftp://host/d/a%20b%25");
    EXPECT_EQ(run({"add", dir.file("a#", "x"), "ftp://host/"}).status,
              2); // no server could be sent that name
}

TEST_F(Add, RefusesWhatCannotBeSent)
{
    const std::string url = "ftp://host/f";
    EXPECT_THAT(refusal({"add", dir / "none", url}), StartsWith("59 ftpspool: " + dir / "none"));
    EXPECT_THAT(refusal({"add", dir.path.string(), url}), StartsWith("1 "));
    EXPECT_THAT(refusal({"add", file, "http://host/f"}), StartsWith("2 "));
    EXPECT_THAT(refusal({"add", file, "ftp://anna@host/f"}),
                "2 ftpspool: --password-file: is missing for anna@host\n");
    EXPECT_THAT(refusal({"add", file, url, "--proxy", "anna@proxy"}),
                "2 ftpspool: --proxy-password-file: is missing\n");
    EXPECT_THAT(refusal({"add", file, url, "--not-before", "soon"}),
                HasSubstr("--not-before: must be a duration"));
    EXPECT_THAT(refusal({"add", file, url, "--expires", "2033-05-18"}),
                HasSubstr("--expires: must be a duration"));
    EXPECT_THAT(refusal({"add", file, url, "--move-to", dir / "none"}),
                StartsWith("1 ftpspool: " + dir / "none"));
    EXPECT_THAT(refusal({"add", file, url, "--move-to", file}), HasSubstr("is no folder"));
    EXPECT_THAT(refusal({"add", file, url, "--move-to", "/proc"}), HasSubstr("is on another file system"));
    EXPECT_THAT(refusal({"add", file, url, "--delete", "--keep"}), StartsWith("2 "));
    EXPECT_THAT(refusal({"add", file, url, "--tries", "0"}), StartsWith("2 "));
    EXPECT_THAT(refusal({"add", file, "ftp://host/a%23b"}), StartsWith("2 "));
    EXPECT_EQ(run({"list"}).out, "");
}

TEST_F(Add, CopiesAFileThatMayThenBeDeleted)
{
    EXPECT_EQ(run({"add", file, "ftp://host/f", "--copy"}).status, 0);
    std::filesystem::remove(file);
    const entry_t entry = found(1);
    EXPECT_EQ(content_of(entry.source()), "0123456789");
    EXPECT_NE(entry.original, "");
    EXPECT_EQ(run({"remove", "1"}).out, "1 entry removed\n");
    EXPECT_EQ(entries_of(paths.files()), 0u);
    fill(file, "0123456789");
    EXPECT_EQ(run({"add", file, "ftp://host/a%23b", "--copy"}).status, 2);
    EXPECT_EQ(entries_of(paths.files()), 0u);
}

TEST_F(Add, CopiesIntoASpoolThatIsGivenRelatively)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path);
    paths.folder = "spool";
    EXPECT_EQ(run({"add", file, "ftp://host/f", "--copy"}).err, "");
    std::filesystem::current_path(before);
    paths.folder = dir / "spool";
    EXPECT_EQ(content_of(found(1).source()), "0123456789");
}

TEST_F(Add, ReportsAWorkingFolderThatIsGone)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directory(dir / "gone");
    std::filesystem::current_path(dir / "gone");
    std::filesystem::remove(dir / "gone");
    EXPECT_THAT(refusal({"add", "f", "ftp://host/f"}), HasSubstr("No such file or directory"));
    std::filesystem::current_path(before);
}
