// libcurl's easy interface without a network: every call is kept as a line of text, and does as the test has
// said. Escaping and unescaping are libcurl's own. Link the target fake_curl: it brings the --wrap options
// along.
#pragma once

#include "support/logged.h"

#include <curl/curl.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// One lives at a time; without one every call fails the test.
class fake_curl
{
public:
    fake_curl();
    ~fake_curl();
    fake_curl(const fake_curl &) = delete;
    fake_curl &operator=(const fake_curl &) = delete;

    // What curl_easy_init gives; no memory stands behind it.
    CURL *handle();
    void have_no_handle(); // from now on it gives NULL

    // The calls that change something, in order, since the last question: "init", "PORT 21" (a setopt),
    // "URL 'ftp://h/'", "WRITEFUNCTION cb_write", "WRITEDATA NULL", "perform", "reset", "cleanup".
    lines calls();
    // The infos asked for, in order, since the last question: "RESPONSE_CODE".
    lines asked();

    // How `pointer` reads in calls(); one without a name is "pointer".
    template <typename Pointer> void name(Pointer pointer, const char *text)
    {
        names_[reinterpret_cast<void *>(pointer)] = text;
    }

    // Refuses the nth setting, of all or of this option, counted from now.
    void refuse(int nth, CURLcode code);
    void refuse(CURLoption option, CURLcode code, int nth = 1);

    // What an info gives from now on. Others are 0, "" for the URL until one is set, NULL for the entry path.
    void tell(CURLINFO info, long value);
    void tell(CURLINFO info, double value);
    void tell(CURLINFO info, const char *value); // may be NULL
    void tell_socket(curl_socket_t value);       // CURLINFO_ACTIVESOCKET; CURL_SOCKET_BAD until then
    // Fails the nth question for this info, counted from now.
    void withhold(CURLINFO info, CURLcode code, int nth = 1);

    // Appends what one perform does; without any left it does nothing and returns CURLE_OK.
    void will_perform(std::function<CURLcode()> act);
    void will_perform(CURLcode code);

    // The nth escaping or unescaping from now fails.
    void fail_escape(int nth = 1);
    void fail_unescape(int nth = 1);

    // The callbacks and contexts last set.
    template <typename Function> Function *function(CURLoption option)
    {
        return reinterpret_cast<Function *>(pointers_[option]);
    }
    void *data(CURLoption option) { return pointers_[option]; }
    // The value last set, for options that take a number.
    curl_off_t number(CURLoption option) { return numbers_[option]; }

    // Hands text to the write callback as a transfer does; its result.
    size_t deliver(std::string text);

    // What the replaced entry points do.
    CURL *init();
    void note(std::string call) { calls_.push_back(std::move(call)); }
    CURLcode set(CURLoption option, long value);
    CURLcode set(CURLoption option, curl_off_t value, int);
    CURLcode set(CURLoption option, void *value);
    CURLcode get(CURLINFO info, void *value);
    CURLcode perform();
    bool escape_fails() { return counts_down(escape_); }
    bool unescape_fails() { return counts_down(unescape_); }

private:
    struct failure_t {
        int which; // option or info; ANY
        int left;
        CURLcode code;
    };
    static constexpr int ANY = -1;

    static bool counts_down(int &left) { return left > 0 && --left == 0; }
    static CURLcode outcome(std::vector<failure_t> &failures, int which);
    std::string text_of(CURLoption option, void *value);
    const char *told_text(CURLINFO info);

    bool no_handle_ = false;
    lines calls_;
    lines asked_;
    std::map<void *, std::string> names_;
    std::vector<failure_t> refusals_;
    std::vector<failure_t> withheld_;
    std::map<int, long> longs_;
    std::map<int, double> doubles_;
    std::map<int, std::optional<std::string>> texts_;
    std::vector<std::function<CURLcode()>> performs_;
    std::map<int, void *> pointers_;
    std::map<int, curl_off_t> numbers_;
    curl_socket_t socket_ = CURL_SOCKET_BAD;
    int escape_ = 0;
    int unescape_ = 0;
};
