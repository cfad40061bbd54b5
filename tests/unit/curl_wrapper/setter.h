// Checks what every setter promises: the options it sets, their order, and that it ends at a refusal, which
// has its own line in the log.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "record.h"

struct setting_t {
    std::string option;    // without CURLOPT_
    std::string value;     // as fake_curl prints it
    int line;              // number in the log when it is refused
    std::string told = ""; // text in that line instead of the code; "" = the code
};

struct setter_t {
    std::function<void(curl_e_handle_t *)> call;
    std::vector<setting_t> settings;
};

void check_setter(const setter_t &setter, const std::function<void(fake_curl &)> &prepare = {});
