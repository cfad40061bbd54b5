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
    uint32_t protocol = 0;           // transfer_protocol
    std::optional<std::string> user; // absent when the URL names none
    std::string host;                // an IPv6 address keeps its brackets
    uint32_t port = 0;               // the scheme's own when the URL names none
    std::string path;
};

// What a URL must name.
enum class url_names { A_FILE, A_SERVER };

// Throws failure (STATUS_USAGE) for what is no such URL, holds a password, or names no file where it must.
url_t url_parse(std::string_view text, url_names names = url_names::A_FILE);

struct host_port_t {
    std::string host;
    uint32_t port;
};

// Splits and checks HOST[:PORT]. `what` begins the line of a failure.
host_port_t url_parse_host_port(std::string_view text, uint32_t default_port, const std::string &what);
