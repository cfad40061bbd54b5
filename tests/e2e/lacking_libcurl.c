/* Preloaded into the daemon: libcurl says that it was built without what the environment variable LIBCURL_LACKS names. */
#define _GNU_SOURCE
#include <curl/curl.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>

curl_version_info_data *curl_version_info(CURLversion age)
{
    static curl_version_info_data less;
    static const char *const only_sftp[] = {"sftp", NULL};
    curl_version_info_data *(*next)(CURLversion) =
        (curl_version_info_data * (*)(CURLversion)) dlsym(RTLD_NEXT, "curl_version_info");
    const char *lacks = getenv("LIBCURL_LACKS");
    less = *next(age);
    if (strcmp(lacks, "FTP") == 0)
        less.protocols = only_sftp;
    if (strcmp(lacks, "OpenSSL") == 0)
        less.ssl_version = "GnuTLS/3.7.9";
    if (strcmp(lacks, "libssh2") == 0)
        less.libssh_version = "libssh/0.10.6";
    if (strcmp(lacks, "an asynchronous resolver") == 0)
        less.features &= ~CURL_VERSION_ASYNCHDNS;
    return &less;
}
