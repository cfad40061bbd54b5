// Files on this side.
#pragma once

#include <string>
#include <string_view>

// Everything in it. Follows no link and waits for no pipe. Throws failure (STATUS_LOCAL), also for more than
// `most` bytes.
std::string file_content(const std::string &path, size_t most);

// Returns when `name` is a regular file that this user can read. Throws failure, with the status of
// FTPCLIENT_CAUSE_NO_LOCAL_FILE when there is none, else STATUS_LOCAL.
void file_check_upload(const std::string &name);

// Where a download goes: `name` as the user gave it, "" for none. An existing folder, or a name that ends in
// '/', gets `remote_name` in it; a link is followed. Absolute. Throws failure: STATUS_LOCAL for what is there
// and no regular file, STATUS_USAGE for a remote name that is no name of a file.
std::string file_to_download(const std::string &name, const std::string &remote_name);

// Where a download is written until it is whole: the pattern for a private folder beside `target`, in which a
// file of one letter still fits the request's field. Throws failure (STATUS_USAGE).
std::string file_beside(const std::string &target);

// Renames `from` to `to`. The mode is that of the file that is replaced, else that of a new file, and it
// belongs to whom it would then. Throws failure (STATUS_LOCAL).
void file_put_in_place(const std::string &from, const std::string &to);
