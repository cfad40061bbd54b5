// Local files. All functions block as long as the disk does. The message of a failure names the file.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

// The content of the whole file. Follows no link and waits for no pipe. Throws failure (STATUS_LOCAL), also
// for more than `most` bytes, of which it reads little more.
std::string file_content(const std::string &path, size_t most);

// Checks that `name` is a regular file that this user can read. Throws failure otherwise, with the status of
// FTPCLIENT_CAUSE_NO_LOCAL_FILE if it does not exist, or STATUS_LOCAL.
void file_check_upload(const std::string &name);

// Checks that `path` leads to a regular file whose mode has none of the bits `forbidden`. Throws failure
// (STATUS_LOCAL): "PATH: must be WANTED" when it does not.
void file_check_mode(const std::string &path, mode_t forbidden, const char *wanted);

// The absolute path of a download's destination. `name` is the user's argument, "" for none; for an
// existing folder or a name that ends in '/' it is `remote_name` in that folder. Follows links. Throws
// failure: STATUS_LOCAL if the path exists and is not a regular file, STATUS_USAGE if the remote name is
// not a file name.
std::string file_to_download(const std::string &name, const std::string &remote_name);

// Where a download is written until it is complete: the pattern for a private folder next to `target`. The
// request's field still has room for a file with a one-letter name in that folder. Throws failure
// (STATUS_USAGE).
std::string file_beside(const std::string &target);

// Renames `from` to `to` after its content has reached the disk. The mode is that of the replaced file, or of
// a new file; if this user is root, so is the owner. Throws failure (STATUS_LOCAL); `to` is then unchanged.
void file_put_in_place(const std::string &from, const std::string &to);
