#include "setter.h"

#include "wire/result_codes.h"

#include <gtest/gtest.h>

static lines calls_of(const setter_t &setter, size_t count)
{
    lines calls;
    for (size_t i = 0; i < count; ++i)
        calls.push_back(setter.settings[i].option + " " + setter.settings[i].value);
    return calls;
}

void check_setter(const setter_t &setter, const std::function<void(fake_curl &)> &prepare)
{
    SCOPED_TRACE(setter.settings.front().option + " " + setter.settings.front().value);
    constexpr CURLcode REFUSAL = CURLE_BAD_FUNCTION_ARGUMENT;
    for (size_t refused = 0; refused <= setter.settings.size(); ++refused) {
        const bool all_taken = refused == setter.settings.size();
        record_t rec;
        if (prepare)
            prepare(rec.fake);
        rec.curl_code = CURLE_COULDNT_CONNECT; // of an earlier call
        if (!all_taken)
            rec.fake.refuse(static_cast<int>(refused) + 1, REFUSAL);
        setter.call(&rec);
        EXPECT_EQ(rec.fake.calls(), calls_of(setter, all_taken ? refused : refused + 1));
        EXPECT_EQ(rec.curl_code, all_taken ? CURLE_OK : REFUSAL);
        EXPECT_EQ(rec.error, all_taken ? FTPCD_ERR_NONE : FTPCD_ERR_INTERNAL);
        if (all_taken) {
            EXPECT_EQ(logged(), lines{});
            continue;
        }
        const setting_t &setting = setter.settings[refused];
        const std::string told = setting.told.empty() ? std::to_string(REFUSAL) : setting.told;
        EXPECT_EQ(logged(),
                  lines{"error: curl_wrapper(" + std::to_string(setting.line) +
                        "): curl_easy_setopt(CURLOPT_" + setting.option + "): Failed(" + told + ")\n"});
    }
}
