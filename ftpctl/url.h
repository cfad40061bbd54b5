// The URLs of jobs.
//
// ftp://, ftps:// (TLS from the first byte), ftpes:// (TLS on request), sftp://, zixi://. Everything is
// percent-decoded. The path begins after the slash that follows the host: ftp://h/dir/file is "dir/file",
// relative to the login directory; ftp://h//dir/file and ftp://h/%2Fdir/file are "/dir/file".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct server_t {
    std::optional<std::string> user; // absent if the URL has none
    std::string host;                // an IPv6 address keeps its brackets
    uint32_t port = 0;               // 1 to 65535
    std::string name() const { return host + ":" + std::to_string(port); } // HOST:PORT
};

struct url_t : server_t { // the port is the scheme's default if the URL has none
    int protocol = 0;     // ftpclient_protocol
    std::string path;
};

// What a URL must name. A folder ends in '/' or is the login directory; A_SERVER accepts any path.
enum class url_names { A_FILE, A_FILE_OR_FOLDER, A_FOLDER, A_SERVER };

// Reads a URL. Throws failure (STATUS_USAGE) if the text is not such a URL, contains a password, or does not
// name the required kind.
url_t url_parse(std::string_view text, url_names names = url_names::A_FILE);

bool url_is_ftp(const url_t &url); // or FTPS
bool url_is_zixi(const url_t &url);

// The last part of the path: "file" of "dir/file", "" of a folder.
std::string url_file_name(const url_t &url);

// `text`, such as a file name, percent-encoded for the path of a URL; '/' stays.
std::string url_encoded(std::string_view text);

// Reads the argument of --proxy: [http://][USER@]HOST[:PORT], default port 3128. Throws failure
// (STATUS_USAGE).
server_t url_parse_proxy(std::string_view text);
