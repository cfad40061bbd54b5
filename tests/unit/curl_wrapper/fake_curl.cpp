#include "fake_curl.h"

#include <cstdarg>
#include <gtest/gtest.h>

static fake_curl *fake_;

fake_curl::fake_curl()
{
    EXPECT_EQ(fake_, nullptr) << "one fake_curl at a time";
    fake_ = this;
}

fake_curl::~fake_curl() { fake_ = nullptr; }

void fake_curl::tell(CURLINFO info, const char *value)
{
    texts_[info] = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

size_t fake_curl::deliver(std::string text)
{
    const auto write = reinterpret_cast<curl_write_callback>(data(CURLOPT_WRITEFUNCTION));
    return write(text.data(), 1, text.size(), data(CURLOPT_WRITEDATA));
}

CURL *fake_curl::init()
{
    note("init");
    return no_handle_ ? nullptr : handle();
}

CURLcode fake_curl::outcome(std::vector<failure_t> &failures, int which)
{
    CURLcode code = CURLE_OK;
    for (failure_t &failure : failures) {
        if ((failure.which == ANY || failure.which == which) && counts_down(failure.left))
            code = failure.code;
    }
    return code;
}

static std::string name_of(CURLoption option)
{
    if (option == CURLOPT_PROGRESSDATA) // renamed in newer releases
        return "PROGRESSDATA";
    if (option == CURLOPT_SERVER_RESPONSE_TIMEOUT) // has an older name before 7.86
        return "SERVER_RESPONSE_TIMEOUT";
    const curl_easyoption *known = curl_easy_option_by_id(option);
    return known != nullptr ? known->name : "option " + std::to_string(option);
}

std::string fake_curl::text_of(CURLoption option, void *value)
{
    const curl_easyoption *known = curl_easy_option_by_id(option);
    if (value == nullptr)
        return "NULL";
    if (known != nullptr && known->type == CURLOT_STRING)
        return std::string("'").append(static_cast<const char *>(value)).append("'");
    return names_.contains(value) ? names_[value] : "pointer";
}

CURLcode fake_curl::set(CURLoption option, curl_off_t value)
{
    note(name_of(option) + " " + std::to_string(value));
    return outcome(refusals_, option);
}

CURLcode fake_curl::set(CURLoption option, void *value)
{
    note(name_of(option) + " " + text_of(option, value));
    const CURLcode code = outcome(refusals_, option);
    if (code != CURLE_OK)
        return code;
    pointers_[option] = value;
    if (option == CURLOPT_URL)
        tell(CURLINFO_EFFECTIVE_URL, value != nullptr ? static_cast<const char *>(value) : "");
    return code;
}

const char *fake_curl::told_text(CURLINFO info)
{
    const auto found = texts_.find(info);
    if (found == texts_.end())
        return info == CURLINFO_EFFECTIVE_URL ? "" : nullptr;
    return found->second ? found->second->c_str() : nullptr;
}

CURLcode fake_curl::get(CURLINFO info, void *value)
{
    const CURLcode code = outcome(withheld_, info);
    if (code != CURLE_OK)
        return code;
    switch (info & CURLINFO_TYPEMASK) {
    case CURLINFO_STRING:
        *static_cast<const char **>(value) = told_text(info);
        break;
    case CURLINFO_LONG:
        *static_cast<long *>(value) = longs_[info];
        break;
    case CURLINFO_DOUBLE:
        *static_cast<double *>(value) = doubles_[info];
        break;
    case CURLINFO_SOCKET:
        *static_cast<curl_socket_t *>(value) = socket_;
        break;
    default:
        return CURLE_UNKNOWN_OPTION;
    }
    return CURLE_OK;
}

CURLcode fake_curl::perform()
{
    note("perform");
    if (performs_.empty())
        return CURLE_OK;
    const auto act = std::move(performs_.front());
    performs_.erase(performs_.begin());
    return act();
}

static fake_curl &expected(CURL *curl)
{
    EXPECT_NE(fake_, nullptr) << "the code calls libcurl, but the test has no fake_curl";
    EXPECT_EQ(curl, fake_->handle());
    return *fake_;
}

extern "C" {
char *__real_curl_easy_escape(CURL *curl, const char *text, int length);
char *__real_curl_easy_unescape(CURL *curl, const char *text, int length, int *plain_length);

CURL *__wrap_curl_easy_init() { return fake_->init(); }

CURLcode __wrap_curl_easy_setopt(CURL *curl, int number, ...)
{
    fake_curl &fake = expected(curl);
    const auto option = static_cast<CURLoption>(number);
    CURLcode code;
    va_list arguments;
    va_start(arguments, number);
    switch (number / 10000) {
    case 0:
        code = fake.set(option, curl_off_t{va_arg(arguments, long)});
        break;
    case 3:
        code = fake.set(option, va_arg(arguments, curl_off_t));
        break;
    default:
        code = fake.set(option, va_arg(arguments, void *));
    }
    va_end(arguments);
    return code;
}

CURLcode __wrap_curl_easy_getinfo(CURL *curl, int info, ...)
{
    va_list arguments;
    va_start(arguments, info);
    const CURLcode code = expected(curl).get(static_cast<CURLINFO>(info), va_arg(arguments, void *));
    va_end(arguments);
    return code;
}

CURLcode __wrap_curl_easy_perform(CURL *curl) { return expected(curl).perform(); }

void __wrap_curl_easy_reset(CURL *curl) { expected(curl).note("reset"); }

void __wrap_curl_easy_cleanup(CURL *curl) { expected(curl).note("cleanup"); }

char *__wrap_curl_easy_escape(CURL *curl, const char *text, int length)
{
    return expected(curl).escape_fails() ? nullptr : __real_curl_easy_escape(nullptr, text, length);
}

char *__wrap_curl_easy_unescape(CURL *curl, const char *text, int length, int *plain_length)
{
    return expected(curl).unescape_fails() ? nullptr
                                           : __real_curl_easy_unescape(nullptr, text, length, plain_length);
}
}
