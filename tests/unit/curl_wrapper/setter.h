// What every setter promises, checked for one of them: which options it sets, in which order, and that each
// refusal ends it, with its own line in the log.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "record.h"

struct setting_t {
    std::string option;    // without CURLOPT_
    std::string value;     // as fake_curl writes it
    int line;              // of the log, when it is refused
    std::string told = ""; // by that line in place of the code; "" = the code
};

struct setter_t {
    std::function<void(curl_e_handle_t *)> call;
    std::vector<setting_t> settings;
};

void check_setter(const setter_t &setter, const std::function<void(fake_curl &)> &prepare = {});
