// What a URL says about a job.
//
// ftp://, ftps:// (TLS from the first byte), ftpes:// (TLS on request), sftp://, zixi://. Everything is
// percent-decoded. The path is what follows the slash behind the host: ftp://h/dir/file is "dir/file",
// relative to the login directory; ftp://h//dir/file and ftp://h/%2Fdir/file are "/dir/file".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct url_t {
    int protocol = 0;                // ftpclient_protocol
    std::optional<std::string> user; // absent when the URL names none
    std::string host;                // an IPv6 address keeps its brackets
    uint32_t port = 0;               // the scheme's own when the URL names none
    std::string path;
};

// What a URL must name; a folder ends in '/', or is the login directory.
enum class url_names { A_FILE, A_FILE_OR_FOLDER, A_FOLDER, A_SERVER };

// Throws failure (STATUS_USAGE) for what is no such URL, holds a password, or does not name what it must.
url_t url_parse(std::string_view text, url_names names = url_names::A_FILE);

bool url_is_ftp(const url_t &url); // or FTPS
bool url_is_zixi(const url_t &url);

// The last part of the path: "file" of "dir/file".
std::string url_file_name(const url_t &url);

// `text`, such as a file's name, as it is written in a URL.
std::string url_encoded(std::string_view text);

// Percent-decoded. `what` begins the line of a failure.
std::string url_decoded(std::string_view text, const std::string &what);

struct host_port_t {
    std::string host;
    uint32_t port;
};

// Splits and checks HOST[:PORT]. `what` begins the line of a failure.
host_port_t url_parse_host_port(std::string_view text, uint32_t default_port, const std::string &what);
