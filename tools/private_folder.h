// A folder of this program's own, for one scope.
#pragma once

#include <string>

class private_folder
{
public:
    // Makes one below TMPDIR, or /tmp, that only its owner may enter: this user, or, when root asks, the user
    // who owns the control socket, for it is the daemon that writes there. Throws failure (STATUS_LOCAL).
    explicit private_folder(const std::string &control_socket);

    // Removes it with all that is in it.
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
};
