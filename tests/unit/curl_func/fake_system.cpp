#include "fake_system.h"

#include "fake_wrapper.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <openssl/ssl.h>
#include <sys/types.h>
#include <unistd.h>

// NULL outside a test: calls go to the real functions.
fake_system *system_;

static int taken(std::atomic<int> fake_system::*fault)
{
    return system_ == nullptr ? 0 : (system_->*fault).exchange(0);
}

// Returns -1 with errno set if the call is to fail.
static int failing(std::atomic<int> fake_system::*fault)
{
    const int error = taken(fault);
    if (error != 0)
        errno = error;
    return error != 0 ? -1 : 0;
}

extern "C" {

int __real_usleep(useconds_t us);
FILE *__real_fdopen(int fd, const char *mode);
int __real_fclose(FILE *file);
int __real_fflush(FILE *file);
int __real_fseeko64(FILE *file, off64_t offset, int whence);
int __real_remove(const char *path);

int __wrap_usleep(useconds_t us)
{
    if (system_ == nullptr)
        return __real_usleep(us);
    system_->naps++;
    system_->slept_us += us;
    if (us > system_->longest_nap_us)
        system_->longest_nap_us = us;
    if (system_->while_asleep)
        system_->while_asleep();
    return 0;
}

FILE *__wrap_fdopen(int fd, const char *mode)
{
    return failing(&fake_system::fdopen) != 0 ? nullptr : __real_fdopen(fd, mode);
}

int __wrap_fclose(FILE *file)
{
    const int rc = __real_fclose(file);
    return failing(&fake_system::fclose) != 0 ? EOF : rc;
}

int __wrap_fflush(FILE *file) { return failing(&fake_system::fflush) != 0 ? EOF : __real_fflush(file); }

int __wrap_fseeko64(FILE *file, off64_t offset, int whence)
{
    return failing(&fake_system::fseeko) != 0 ? -1 : __real_fseeko64(file, offset, whence);
}

int __wrap_remove(const char *path) { return failing(&fake_system::remove) != 0 ? -1 : __real_remove(path); }

CURLcode __wrap_curl_global_init(long flags)
{
    wrapper_.asked.push_back("global_init(" + std::to_string(flags) + ')');
    return static_cast<CURLcode>(taken(&fake_system::global_init));
}

void __wrap_curl_global_cleanup() { wrapper_.asked.push_back("global_cleanup()"); }

curl_version_info_data *__wrap_curl_version_info(CURLversion)
{
    static curl_version_info_data data{};
    data.version = system_->curl_version_text;
    data.version_num = system_->curl_version_num;
    data.protocols = system_->curl_protocols.data();
    data.ssl_version = system_->curl_tls;
    data.libssh_version = system_->curl_ssh;
    data.features = system_->curl_features;
    return &data;
}

#ifdef SSL_OP_IGNORE_UNEXPECTED_EOF
uint64_t __wrap_SSL_CTX_set_options(SSL_CTX *, uint64_t options) { return system_->tls_options |= options; }
#endif

void __wrap_SSL_CTX_set_verify(SSL_CTX *, int mode, SSL_verify_cb) { system_->tls_verify_mode = mode; }

void __wrap_SSL_CTX_set_cert_verify_callback(SSL_CTX *ctx, int (*verify)(X509_STORE_CTX *, void *),
                                             void *argument)
{
    system_->verified = ctx;
    system_->verify = verify;
    system_->verify_argument = argument;
}
}
