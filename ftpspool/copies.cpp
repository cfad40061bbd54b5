#include "ftpspool/copies.h"

#include "ftpctl/failure.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr size_t PIECE = 1 << 20; // bytes

copying_t::copying_t(const spool_paths_t &paths) : files_(paths.files())
{
    if ((mkdir(paths.folder.c_str(), 0700) != 0 && errno != EEXIST) ||
        (mkdir(files_.c_str(), 0700) != 0 && errno != EEXIST))
        fail_with_errno(files_);
    folder_ = descriptor(open(files_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_ || flock(folder_.get(), LOCK_SH) != 0)
        fail_with_errno(files_);
}

static void copy_content(const std::string &from, int to, const std::string &folder)
{
    const descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!source)
        fail_with_errno(from);
    ssize_t count = 0;
    while ((count = sendfile(to, source.get(), nullptr, PIECE)) > 0) {}
    if (count == -1 || fsync(to) != 0)
        fail_with_errno(folder);
}

// mkostemp() reserves a free name. The link then replaces that file, or the content is written into it.
std::string copying_t::make(const std::string &local)
{
    std::string made = files_ + "/XXXXXX";
    const descriptor file(mkostemp(made.data(), O_CLOEXEC));
    if (!file)
        fail_with_errno(files_);
    made_ = unfinished_file_t(made);
    const std::string linked = made + ".link";
    if (linkat(AT_FDCWD, local.c_str(), AT_FDCWD, linked.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        const unfinished_file_t link(linked);
        if (!disk_sync_content(linked) || rename(linked.c_str(), made.c_str()) != 0)
            fail_with_errno(files_);
    } else {
        copy_content(local, file.get(), files_);
    }
    if (fsync(folder_.get()) != 0)
        fail_with_errno(files_);
    return made;
}

void copies_sweep(const store_t &store)
{
    const std::string files = store.paths().files();
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(files.c_str()), closedir);
    if (!folder || flock(dirfd(folder.get()), LOCK_EX | LOCK_NB) != 0)
        return;
    while (const dirent *found = readdir(folder.get())) {
        const std::string name = found->d_name;
        if (name[0] != '.' && !store.owns_copy(name))
            unlink(store.paths().file(name).c_str());
    }
}
