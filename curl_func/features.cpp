#include "curl_func/features.h"

#include "strutil/log.h"
#include "wire/transfer_request.h"

#include <cstring>
#include <curl/curl.h>
#include <string_view>

namespace
{

struct feature_t {
    const char *name;
    const char *without_it; // what happens
    bool (*is_there)(const curl_version_info_data &libcurl);
    int (*is_needed_by)(uint32_t protocol); // not 0: such jobs cannot run without it
};

} // namespace

static bool has_protocol(const curl_version_info_data &libcurl, std::string_view name)
{
    for (const char *const *each = libcurl.protocols; *each != nullptr; each++) {
        if (*each == name)
            return true;
    }
    return false;
}

// `versions`: a list such as "(GnuTLS/3.7) OpenSSL/3.0", with those not in use in parentheses; NULL for none.
static bool uses(const char *versions, const char *name)
{
    const char *found = versions != nullptr ? strstr(versions, name) : nullptr;
    return found != nullptr && (found == versions || found[-1] == ' ');
}

static bool has_ftp(const curl_version_info_data &libcurl) { return has_protocol(libcurl, "ftp"); }

static bool has_openssl(const curl_version_info_data &libcurl)
{
    return uses(libcurl.ssl_version, "OpenSSL/");
}

static bool has_libssh2(const curl_version_info_data &libcurl)
{
    return has_protocol(libcurl, "sftp") && uses(libcurl.libssh_version, "libssh2/");
}

static bool has_resolver_thread(const curl_version_info_data &libcurl)
{
    return (libcurl.features & CURL_VERSION_ASYNCHDNS) != 0;
}

static int is_sftp(uint32_t protocol) { return protocol == PROTOCOL_SFTP ? 1 : 0; }

static int is_none(uint32_t) { return 0; }

constexpr feature_t FEATURES[] = {
    {"FTP", "FTP and FTPS jobs fail with 15", has_ftp, protocol_is_ftp},
    {"OpenSSL", "FTPS jobs fail with 15", has_openssl, protocol_has_tls},
    {"libssh2", "SFTP jobs fail with 15", has_libssh2, is_sftp},
    {"an asynchronous resolver", "a cancel waits for the name server", has_resolver_thread, is_none},
};

void features_log_missing()
{
    const curl_version_info_data &libcurl = *curl_version_info(CURLVERSION_NOW);
    for (const feature_t &feature : FEATURES) {
        if (!feature.is_there(libcurl))
            log_error("curl_func(271)", "libcurl %s lacks %s: %s.", libcurl.version, feature.name,
                      feature.without_it);
    }
}

bool features_allow(uint32_t protocol)
{
    const curl_version_info_data &libcurl = *curl_version_info(CURLVERSION_NOW);
    for (const feature_t &feature : FEATURES) {
        if (feature.is_needed_by(protocol) != 0 && !feature.is_there(libcurl))
            return false;
    }
    return true;
}
