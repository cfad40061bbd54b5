/* libzixiFeeder: uploads one file to a Zixi server. Implemented by the device's closed library; the one built
 * here is a stub (README.md).
 *
 * Each call returns 0 on success, otherwise a zixi_error. Arguments whose meaning only the library knows have
 * fixed values, given at the calls in zixi_func/. */
#ifndef PLATFORM_ZIXIFEEDER_H
#define PLATFORM_ZIXIFEEDER_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The errors of the library: X(name, number) for each. */
#define ZIXI_ERRORS(X)                                                                                       \
    X(ZIXI_WARNING_REMOTE_FILE_EXISTS, -22)                                                                  \
    X(ZIXI_ERROR_FILE_REMOTE, -21)                                                                           \
    X(ZIXI_ERROR_FILE_LOCAL, -20)                                                                            \
    X(ZIXI_ERROR_BAD_URL, -19)                                                                               \
    X(ZIXI_ERROR_NOT_FOUND, -18)                                                                             \
    X(ZIXI_ERROR_NETWORK, -17)                                                                               \
    X(ZIXI_ERROR_CACHE_TO_SMALL, -16)                                                                        \
    X(ZIXI_ERROR_RESOLVING_FAILED, -15)                                                                      \
    X(ZIXI_ERROR_TEST_FAILED, -14)                                                                           \
    X(ZIXI_ERROR_NOT_SUPPORTED, -13)                                                                         \
    X(ZIXI_ERROR_EOF, -12)                                                                                   \
    X(ZIXI_ERROR_SERVER_FULL, -11)                                                                           \
    X(ZIXI_ERROR_VERSION, -10)                                                                               \
    X(ZIXI_ERROR_NETWORK_ERRORS, -9)                                                                         \
    X(ZIXI_ERROR_LICENSING_FAILED, -8)                                                                       \
    X(ZIXI_ERROR_AUTHORIZATION_FAILED, -7)                                                                   \
    X(ZIXI_ERROR_FUNCTION_NOT_FOUND, -6)                                                                     \
    X(ZIXI_ERROR_DLL_NOT_FOUND, -5)                                                                          \
    X(ZIXI_ERROR_NOT_CONNECTED, -4)                                                                          \
    X(ZIXI_ERROR_NOT_INITIALIZED, -3)                                                                        \
    X(ZIXI_ERROR_TIMEOUT, -2)                                                                                \
    X(ZIXI_ERROR_FAILED, -1)                                                                                 \
    X(ZIXI_ERROR_OK, 0)                                                                                      \
    X(ZIXI_ERROR_INVALID_PARAMETER, 1)                                                                       \
    X(ZIXI_ERROR_STREAM_CHANGED, 2)                                                                          \
    X(ZIXI_ERROR_ALREADY_INITIALIZED, 3)                                                                     \
    X(ZIXI_ERROR_ALREADY_CONNECTED, 4)                                                                       \
    X(ZIXI_ERROR_NOT_READY, 5)                                                                               \
    X(ZIXI_ERROR_BUFFER_TO_SMALL, 6)                                                                         \
    X(ZIXI_ERROR_RECONNECTING, 7)

#define ZIXI_ENUMERATOR(name, number) name = (number),
enum zixi_error { ZIXI_ERRORS(ZIXI_ENUMERATOR) };
#undef ZIXI_ENUMERATOR

/* The state of a stream while its upload runs; any other state means that it has ended. */
enum { ZIXI_STATE_UPLOADING = 2 };

/* One line of the library's log; may come from any thread. */
typedef void (*zixi_log_callback)(void *user_data, int level, const char *line);

/* The parameters of an upload: 72 bytes, passed by value. Every byte belongs to a member, so that a copy
 * contains all of them; filler is 0. */
typedef struct zixi_upload_parameters zixi_upload_parameters;
struct zixi_upload_parameters {
    uint16_t port; /* the server's */
    uint16_t filler_2;
    uint32_t setting_4;
    const char *remote_directory; /* where on the server; the file keeps its local name */
#if UINTPTR_MAX == UINT32_MAX
    uint32_t filler_12; /* a pointer has 4 bytes here */
#endif
    uint64_t filler_16;
    uint64_t setting_24;
    uint8_t setting_32;
    uint8_t filler_33[3];
    uint32_t setting_36;
    uint8_t filler_40[5];
    uint8_t overwrite; /* 1 = replace a remote file of that name, 0 = ZIXI_WARNING_REMOTE_FILE_EXISTS */
    uint8_t filler_46[26];
};

#define ZIXI_FIELD(member, at, width)                                                                        \
    static_assert(offsetof(zixi_upload_parameters, member) == (at) &&                                        \
                      sizeof(((zixi_upload_parameters *)0)->member) == (width),                              \
                  "zixi_upload_parameters." #member " moved")

ZIXI_FIELD(port, 0, 2);
ZIXI_FIELD(filler_2, 2, 2);
ZIXI_FIELD(setting_4, 4, 4);
ZIXI_FIELD(remote_directory, 8, sizeof(void *));
#if UINTPTR_MAX == UINT32_MAX
ZIXI_FIELD(filler_12, 12, 4);
#endif
ZIXI_FIELD(filler_16, 16, 8);
ZIXI_FIELD(setting_24, 24, 8);
ZIXI_FIELD(setting_32, 32, 1);
ZIXI_FIELD(filler_33, 33, 3);
ZIXI_FIELD(setting_36, 36, 4);
ZIXI_FIELD(filler_40, 40, 5);
ZIXI_FIELD(overwrite, 45, 1);
ZIXI_FIELD(filler_46, 46, 26);
static_assert(sizeof(zixi_upload_parameters) == 72, "zixi_upload_parameters changed size");
#undef ZIXI_FIELD

/* The library's version. May be called before anything else. */
int zixi_version(int *major, int *minor, int *patch, int *build);

/* Sends log lines up to `level` to `callback`, with `user_data`; NULL stops this. Lines are passed unchanged.
 * Callback and data must live until logging is stopped. */
int zixi_configure_logging(int level, zixi_log_callback callback, void *user_data);

/* Sets the login for later uploads. The lengths are in bytes and exclude a terminator. */
int zixi_configure_credentials(const char *user, int user_length, const char *password, int password_length);

/* Fills in the two configuration words for zixi_upload_file. */
int zixi_prepare_configuration(int first, int second, uintptr_t configuration[2]);

/* Starts an upload in the background; *stream identifies it until zixi_close_stream. Until then the strings
 * must stay valid. On failure there is no stream. Whether the call blocks depends on the library. */
int zixi_upload_file(uintptr_t configuration0, uintptr_t configuration1, const char *local_path,
                     const char *host, zixi_upload_parameters parameters, void **stream);

/* The upload's bytes sent, bytes in total, and state, which is ZIXI_STATE_UPLOADING while it runs. */
int zixi_get_upload_progress(void *stream, uint64_t *sent, uint64_t *total, int *state);

/* Ends the upload, finished or not. The stream is invalid afterwards, whatever the result. */
int zixi_close_stream(void *stream);

#ifdef __cplusplus
}
#endif

#endif
