// Preloaded into the daemon: sets the upload buffer to UPLOAD_BUFFER_BYTES instead of the daemon's value. For
// machines that pass every such argument as one 64-bit word.
#include <cstdarg>
#include <cstdlib>
#include <curl/curl.h>
#include <dlfcn.h>
#undef curl_easy_setopt

extern "C" CURLcode curl_easy_setopt(CURL *curl, CURLoption option, ...)
{
    static const auto given =
        reinterpret_cast<CURLcode (*)(CURL *, CURLoption, ...)>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
    static const long bytes = atol(getenv("UPLOAD_BUFFER_BYTES"));
    if (option == CURLOPT_UPLOAD_BUFFERSIZE)
        return given(curl, option, bytes);
    va_list arguments;
    va_start(arguments, option);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    return given(curl, option, argument);
}
