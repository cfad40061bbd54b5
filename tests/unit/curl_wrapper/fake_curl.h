// libcurl's easy interface without a network: every call is recorded as a line of text and does what the test
// has arranged. Escaping and unescaping are libcurl's own.
#pragma once

#include "support/logged.h"
#include "support/not_copied.h"

#include <curl/curl.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// One may exist at a time; without one every call fails the test.
class fake_curl : not_copied
{
public:
    fake_curl();
    ~fake_curl();

    // The result of curl_easy_init; not a real handle.
    CURL *handle() { return &handle_; }
    void have_no_handle() { no_handle_ = true; } // curl_easy_init fails from now on

    // The calls that change something, in order, since the last calls(): "init", "PORT 21" (a setopt),
    // "URL 'ftp://h/'", "WRITEFUNCTION cb_write", "WRITEDATA NULL", "perform", "reset", "cleanup".
    lines calls() { return std::exchange(calls_, {}); }

    // Names `pointer` for calls(); one without a name is "pointer".
    template <typename Pointer> void name(Pointer pointer, const char *text)
    {
        names_[reinterpret_cast<void *>(pointer)] = text;
    }

    // Refuses the nth setting from now: of any option, or of this one.
    void refuse(int nth, CURLcode code) { refusals_.push_back({ANY, nth, code}); }
    void refuse(CURLoption option, CURLcode code, int nth = 1) { refusals_.push_back({option, nth, code}); }

    // The value of an info from now on. Others are 0, "" (URL, until it is set), NULL (entry path).
    void tell(CURLINFO info, long value) { longs_[info] = value; }
    void tell(CURLINFO info, double value) { doubles_[info] = value; }
    void tell(CURLINFO info, const char *value); // may be NULL
    void tell_socket(curl_socket_t value)
    {
        socket_ = value;
    } // CURLINFO_ACTIVESOCKET; CURL_SOCKET_BAD until then
    // Fails the nth getinfo for this info from now.
    void withhold(CURLINFO info, CURLcode code, int nth = 1) { withheld_.push_back({info, nth, code}); }

    // Queues the action of one perform. With none left, perform does nothing and returns CURLE_OK.
    void will_perform(std::function<CURLcode()> act) { performs_.push_back(std::move(act)); }
    void will_perform(CURLcode code)
    {
        will_perform([code] { return code; });
    }

    // The nth escaping or unescaping from now fails.
    void fail_escape(int nth = 1) { escape_ = nth; }
    void fail_unescape(int nth = 1) { unescape_ = nth; }

    // The callback or context last set.
    void *data(CURLoption option) { return pointers_[option]; }

    // Passes text to the write callback as a transfer does; returns its result.
    size_t deliver(std::string text);

    // Called by the replaced entry points.
    CURL *init();
    void note(std::string call) { calls_.push_back(std::move(call)); }
    CURLcode set(CURLoption option, curl_off_t value);
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

    char handle_ = 0;
    bool no_handle_ = false;
    lines calls_;
    std::map<void *, std::string> names_;
    std::vector<failure_t> refusals_;
    std::vector<failure_t> withheld_;
    std::map<int, long> longs_;
    std::map<int, double> doubles_;
    std::map<int, std::optional<std::string>> texts_;
    std::vector<std::function<CURLcode()>> performs_;
    std::map<int, void *> pointers_;
    curl_socket_t socket_ = CURL_SOCKET_BAD;
    int escape_ = 0;
    int unescape_ = 0;
};
