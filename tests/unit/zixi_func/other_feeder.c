/* Another libzixiFeeder.so, built as by a vendor, without this project's headers. LD_LIBRARY_PATH selects it;
 * it reports its arguments through the log callback. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct block {
    uint64_t words[9];
};

static void (*log_line)(void *, int, const char *);
static void *log_data;
static int asked;

static void tell(const char *what, const void *data, size_t size)
{
    char line[512];
    size_t used = (size_t)snprintf(line, sizeof line, "other feeder: %s", what);
    for (size_t i = 0; i < size; i++)
        used += (size_t)snprintf(line + used, sizeof line - used, " %02x", ((const unsigned char *)data)[i]);
    snprintf(line + used, sizeof line - used, "\n");
    log_line(log_data, 3, line);
}

int zixi_version(int *a, int *b, int *c, int *d);
int zixi_configure_logging(int level, void (*callback)(void *, int, const char *), void *data);
int zixi_configure_credentials(const char *user, int user_length, const char *password, int password_length);
int zixi_prepare_configuration(int first, int second, uintptr_t words[2]);
int zixi_upload_file(uintptr_t word0, uintptr_t word1, const char *file, const char *host, struct block block,
                     void **stream);
int zixi_get_upload_progress(void *stream, uint64_t *sent, uint64_t *total, int *state);
int zixi_close_stream(void *stream);

int zixi_version(int *a, int *b, int *c, int *d)
{
    *a = 9;
    *b = 8;
    *c = 7;
    *d = 6;
    return 0;
}

int zixi_configure_logging(int level, void (*callback)(void *, int, const char *), void *data)
{
    log_line = callback;
    log_data = data;
    return level == 3 ? 0 : 1;
}

int zixi_configure_credentials(const char *user, int user_length, const char *password, int password_length)
{
    char text[128];
    snprintf(text, sizeof text, "%.*s/%.*s", user_length, user, password_length, password);
    tell(text, NULL, 0);
    return 0;
}

int zixi_prepare_configuration(int first, int second, uintptr_t words[2])
{
    words[0] = UINTPTR_MAX - 1;
    words[1] = 77;
    return first | second;
}

int zixi_upload_file(uintptr_t word0, uintptr_t word1, const char *file, const char *host, struct block block,
                     void **stream)
{
    unsigned char bytes[72];
    char text[256];
    const char *directory;
    if (word0 != UINTPTR_MAX - 1 || word1 != 77)
        return -1;
    memcpy(bytes, &block, sizeof bytes);
    memcpy(&directory, bytes + 8, sizeof directory);
    snprintf(text, sizeof text, "%s to %s in %s", file, host, directory);
    tell(text, NULL, 0);
    tell("0-7", bytes, 8);
    tell("16-71", bytes + 16, 56);
    *stream = &asked;
    return 0;
}

int zixi_get_upload_progress(void *stream, uint64_t *sent, uint64_t *total, int *state)
{
    *total = UINT64_C(6000000000);
    *sent = asked == 0 ? UINT64_C(4500000000) : *total;
    *state = asked == 0 ? 2 : 0;
    asked++;
    return stream == &asked ? 0 : -1;
}

int zixi_close_stream(void *stream)
{
    tell("closed", NULL, 0);
    return stream == &asked ? 0 : -1;
}
