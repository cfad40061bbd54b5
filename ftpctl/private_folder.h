// A folder of this program's own, for one scope.
#pragma once

#include <string>

class private_folder
{
public:
    // Makes the folder `pattern`, which ends in XXXXXX, that only its owner may enter: this user, or, when
    // root asks, the user who owns the control socket, for it is the daemon that writes there. Throws failure
    // (STATUS_LOCAL).
    private_folder(const std::string &pattern, const std::string &control_socket);

    // A pattern below TMPDIR, or /tmp.
    static std::string pattern();

    // Removes it with all that is in it.
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return path_; }

    // Makes an empty file in it that only its owner may read: of this user, or of the daemon as the folder.
    // Returns its path. Throws failure (STATUS_LOCAL).
    std::string file(const std::string &name) const;

private:
    std::string path_;
    std::string control_socket_;
};
