#include "ftpspool/copies.h"

#include "failing_calls.h"
#include "spool_fixture.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>

namespace
{

class Copies : public Spool
{
protected:
    std::string made()
    {
        copying_t copying(paths);
        const std::string copy = copying.make(file);
        copying.keep();
        return copy;
    }
};

} // namespace

TEST_F(Copies, AreHardLinksWherePossible)
{
    const std::string copy = made();
    EXPECT_TRUE(std::filesystem::equivalent(copy, file));
    EXPECT_EQ(mode_of(paths.files()), 0700u);
    EXPECT_EQ(entries_of(paths.files()), 1u);
    std::filesystem::remove(file);
    EXPECT_EQ(content_of(copy), "0123456789");
}

TEST_F(Copies, FollowSymbolicLinks)
{
    std::filesystem::create_symlink(file, dir / "link");
    copying_t copying(paths);
    const std::string copy = copying.make(dir / "link");
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(copy)));
}

TEST_F(Copies, AreRealCopiesAcrossFileSystems)
{
    const std::filesystem::path other = "/dev/shm/ftpspool-copies-test";
    const std::string content(3 << 20, 'x');
    fill(other, content);
    {
        copying_t copying(paths);
        const std::string copy = copying.make(other.string());
        EXPECT_EQ(content_of(copy), content);
        EXPECT_FALSE(std::filesystem::equivalent(copy, other));
        EXPECT_EQ(mode_of(copy), 0600u);
    }
    std::filesystem::remove(other);
}

TEST_F(Copies, AreRemovedUnlessKept)
{
    {
        copying_t copying(paths);
        copying.make(file);
    }
    EXPECT_EQ(entries_of(paths.files()), 0u);
    EXPECT_EQ(content_of(file), "0123456789");
    copying_t copying(paths);
    EXPECT_THAT(failure_of([&] { copying.make(dir / "none"); }),
                EndsWith("/none: No such file or directory"));
    EXPECT_THAT(failure_of([&] { copying_t({file}); }), EndsWith("/files: Not a directory"));
}

TEST_F(Copies, AreSweptWhenNoEntryOwnsThem)
{
    store_t store = open();
    copies_sweep(store); // there is no folder yet
    const std::string lost = made();
    entry_t entry = entry_to("ftp://one/a");
    entry.copy = made();
    store.add(entry, "one");
    {
        const copying_t another(paths);
        copies_sweep(store);
        EXPECT_EQ(entries_of(paths.files()), 2u);
    }
    copies_sweep(store);
    EXPECT_FALSE(std::filesystem::exists(lost));
    EXPECT_TRUE(std::filesystem::exists(entry.copy));
}

TEST_F(Copies, BelongToTheirEntryByWhateverPathTheSpoolIsReached)
{
    const spool_paths_t with_slash = {paths.folder + "/"};
    std::filesystem::create_directory_symlink(paths.folder, dir / "link");
    const spool_paths_t linked = {dir / "link"};
    entry_t entry = entry_to("ftp://one/a");
    for (const spool_paths_t &by : {with_slash, linked}) {
        store_t store = store_t::open(by);
        copying_t copying(by);
        entry.copy = copying.make(file);
        store.add(entry, "one");
        copying.keep();
    }
    copies_sweep(open());
    EXPECT_EQ(entries_of(paths.files()), 2u);
    std::filesystem::rename(paths.folder, dir / "moved");
    const spool_paths_t moved = {dir / "moved"};
    const store_t store = store_t::open(moved);
    copies_sweep(store);
    for (const int64_t id : {1, 2})
        EXPECT_EQ(content_of(store.find(id)->source()), "0123456789");
}

TEST_F(Copies, ReportWhyTheyCannotBeMade)
{
    EXPECT_EQ(failure_without_descriptors([&] { copying_t{paths}; }),
              "1 " + paths.files() + ": Too many open files");
    copying_t copying(paths);
    EXPECT_THAT(failure_without_descriptors([&] { copying.make(file); }), EndsWith(": Too many open files"));
    for (const char *call : {"fdatasync", "fsync", "rename"}) {
        const failing_call failing(call, EIO);
        EXPECT_THAT(failure_of([&] { copying_t(paths).make(file); }), EndsWith(": Input/output error"));
    }
    EXPECT_EQ(content_of(file), "0123456789");
}

TEST_F(Copies, ReportAFileThatDoesNotFit)
{
    const std::filesystem::path other = "/dev/shm/ftpspool-copies-test-large";
    fill(other, std::string(3 << 20, 'x'));
    signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {1 << 20, before.rlim_max};
    copying_t copying(paths);
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THAT(failure_of([&] { copying.make(other.string()); }), EndsWith(": File too large"));
    setrlimit(RLIMIT_FSIZE, &before);
    std::filesystem::remove(other);
}
