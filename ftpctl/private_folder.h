// A temporary folder for one scope, in which the daemon can write and other users cannot read.
#pragma once

#include <string>

class private_folder
{
public:
    // Creates the folder `pattern`, which ends in XXXXXX, accessible only to its owner: this user, or, if
    // this user is root, the owner of the control socket, because the daemon writes there. Throws failure
    // (STATUS_LOCAL).
    private_folder(const std::string &pattern, const std::string &control_socket);

    // An absolute pattern below TMPDIR, or /tmp if that is not set.
    static std::string pattern();

    // Removes the folder with its contents; a failure is ignored.
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    // Without a '/' at the end.
    const std::string &path() const { return path_; }

    // Creates an empty file in it, readable only by the owner of the folder. Returns its path. Throws failure
    // (STATUS_LOCAL).
    std::string file(const std::string &name) const;

private:
    std::string path_;
    std::string control_socket_;
};
