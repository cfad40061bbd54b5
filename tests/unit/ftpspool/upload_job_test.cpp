#include "ftpspool/upload_job.h"

#include "spool_fixture.h"

namespace
{

class UploadJob : public Spool
{
protected:
    std::string password = dir.file("password", "secret\nmore");
    void SetUp() override { chmod(password.c_str(), 0600); }
    std::string complaint_of(const entry_t &entry) const
    {
        return failure_of([&] {
            const options_t options = upload_options(entry, "");
            job_t job = upload_job(options, entry);
            upload_log_in(job, options);
        });
    }
    entry_t to_anna() const
    {
        entry_t entry = entry_to("ftp://anna@host/f");
        entry.target.password_file = password;
        return entry;
    }
};

} // namespace

TEST_F(UploadJob, AcceptsWhatFtpctlAccepts)
{
    EXPECT_EQ(complaint_of(entry_to("ftp://host/f")), "");
    entry_t entry = to_anna();
    EXPECT_EQ(complaint_of(entry), "");
    entry.target.url = "ftpes://host/f";
    entry.target.user = "anna";
    entry.target.pin = "sha1:" + std::string(40, '0');
    EXPECT_EQ(complaint_of(entry), "");
}

TEST_F(UploadJob, RefusesWhatFtpctlRefuses)
{
    EXPECT_EQ(complaint_of(entry_to("ftp://host/f%3Btype=a")).substr(0, 2), "2 ");
    EXPECT_EQ(complaint_of(entry_to("http://host/f")).substr(0, 2), "2 ");
    entry_t entry = to_anna();
    entry.target.pin = "sha1:00";
    EXPECT_EQ(complaint_of(entry).substr(0, 2), "2 ");
}

TEST_F(UploadJob, RefusesControlCharactersOverFtp)
{
    const std::string complaint = "2 URL: path: a control character cannot be sent over FTP";
    for (const char *url : {"ftp://host/a%01", "ftps://host/%1Fb", "ftpes://host/a%09b/c"})
        EXPECT_EQ(complaint_of(entry_to(url)), complaint) << url;
    for (const char *url : {"ftp://host/a%20", "ftp://host/a%7F", "ftp://host/%FE"})
        EXPECT_EQ(complaint_of(entry_to(url)), "") << url;
    entry_t entry = to_anna();
    entry.target.url = "sftp://anna@host/a%09b";
    EXPECT_EQ(complaint_of(entry), "");
    entry = entry_to("ftp://host/a%09b");
    entry.target.proxy = "proxy";
    EXPECT_EQ(complaint_of(entry), "");
}

TEST_F(UploadJob, RefusesANameOverZixiThatIsNotTheFiles)
{
    const std::string complaint =
        "2 zixi:// keeps the local file's name, so neither another name nor --copy is possible";
    EXPECT_EQ(complaint_of(entry_to("zixi://host:2088/dir/b")), complaint);
    entry_t entry = entry_to("zixi://host:2088/dir/a");
    EXPECT_EQ(complaint_of(entry), "");
    entry.copy = dir / "x7Yz2A";
    EXPECT_EQ(complaint_of(entry), complaint);
}

TEST_F(UploadJob, ReadsPasswordsOnlyFromPrivateFiles)
{
    entry_t entry = to_anna();
    for (const mode_t mode : {0604, 0640, 0660}) {
        chmod(password.c_str(), mode);
        EXPECT_EQ(complaint_of(entry),
                  "1 " + password + ": must be a regular file of mode 0600 or 0400, for it holds a password");
    }
    chmod(password.c_str(), 0400);
    EXPECT_EQ(complaint_of(entry), "");
    entry.target.proxy = "anna@proxy";
    entry.target.proxy_password_file = dir / "none";
    EXPECT_EQ(complaint_of(entry), "1 " + dir / "none" + ": No such file or directory");
    entry = to_anna();
    entry.target.password_file = dir.path.string();
    EXPECT_THAT(complaint_of(entry), HasSubstr("must be a regular file"));
}

TEST_F(UploadJob, ComparesSizesOnlyWhereTheServerTellsThem)
{
    entry_t entry = to_anna();
    EXPECT_TRUE(upload_options(entry, "").verify);
    EXPECT_FALSE(upload_options(entry, "").resume);
    entry.resumable = true;
    EXPECT_TRUE(upload_options(entry, "").resume);
    entry.target.proxy = "proxy";
    EXPECT_FALSE(upload_options(entry, "").verify);
    EXPECT_FALSE(upload_options(entry, "").resume);
    entry.target.proxy.clear();
    entry.target.url = "zixi://host/f";
    EXPECT_FALSE(upload_options(entry, "").verify);
}

TEST_F(UploadJob, NamesTheServerBySchemeUserHostAndPort)
{
    const auto server_of = [](const entry_t &entry) { return upload_server(upload_options(entry, "")); };
    EXPECT_EQ(server_of(to_anna()), "ftp://anna@host:21");
    EXPECT_EQ(server_of(entry_to("ftp://host:2121/dir/f")), "ftp://anonymous@host:2121");
    entry_t entry = entry_to("sftp://host/f");
    entry.target.user = "bob";
    EXPECT_EQ(server_of(entry), "sftp://bob@host:22");
    profile("url = ftpes://host/dir\nuser = anna\n");
    EXPECT_EQ(server_of(entry_by_profile("f")), "ftpes://anna@host:21");
}

TEST_F(UploadJob, SendsTheCopyIfThereIsOne)
{
    entry_t entry = to_anna();
    EXPECT_EQ(upload_job(upload_options(entry, ""), entry).local, file);
    entry.copy = "/spool/files/x";
    EXPECT_EQ(upload_job(upload_options(entry, ""), entry).local, "/spool/files/x");
}

TEST_F(UploadJob, NamesThePlaceByServerAndPath)
{
    const auto place_of = [](const entry_t &entry) { return upload_place(upload_options(entry, "")); };
    EXPECT_EQ(place_of(to_anna()), "ftp://anna@host:21/f");
    EXPECT_EQ(place_of(entry_to("ftp://host/a%20b/%2Ff")), "ftp://anonymous@host:21/a b//f");
    profile("url = ftp://host/one\nuser = anna\n");
    EXPECT_EQ(place_of(entry_by_profile("f")), "ftp://anna@host:21/one/f");
    profile("url = ftp://host/two\nuser = bob\n");
    EXPECT_EQ(place_of(entry_by_profile("f")), "ftp://bob@host:21/two/f");
}

TEST_F(UploadJob, ReadsTheProfileEachTime)
{
    const entry_t entry = entry_by_profile("d/f");
    EXPECT_EQ(complaint_of(entry), "1 " + dir / "cam.conf" + ": No such file or directory");
    profile("url = ftpes://host/base/\nuser = anna\npassword-file = " + password +
            "\npin = sha1:" + std::string(40, 'a') + "\nmode = active\n");
    const options_t options = upload_options(entry, "");
    EXPECT_EQ(options.url, "ftpes://host/base/d/f");
    EXPECT_EQ(options.user, "anna");
    EXPECT_EQ(options.pin, "sha1:" + std::string(40, 'a'));
    EXPECT_TRUE(options.active);
    EXPECT_TRUE(options.verify);
    EXPECT_EQ(upload_job(options, entry).shown_url, "ftpes://host/base/d/f");
    EXPECT_EQ(complaint_of(entry), "");
    chmod(password.c_str(), 0640);
    EXPECT_THAT(complaint_of(entry), StartsWith("1 " + password + ": must be a regular file of mode 0600"));
    profile("url = ftp://host/\nproxy = proxy\n");
    EXPECT_FALSE(upload_options(entry, "").verify);
    profile("url = ftp://host/\nmode = fast\n");
    EXPECT_EQ(complaint_of(entry), "2 " + dir / "cam.conf" + ": mode: must be passive or active");
}
