#include "wire/job_init.h"

#include <array>
#include <cstring>
#include <gmock/gmock.h>

namespace
{

constexpr unsigned char LEFT = 0xEE;

// The bytes of a record, all LEFT before, after its initialiser has run.
template <typename Record> auto bytes_after(void (*init)(Record *))
{
    Record record;
    memset(&record, LEFT, sizeof record);
    init(&record);
    std::array<unsigned char, sizeof record> bytes;
    memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

} // namespace

TEST(ModuleInfoInit, SetsAllFourWordsToZero)
{
    EXPECT_THAT(bytes_after(ftp_clientd_if_module_info_init), testing::Each(0));
}

TEST(ExecInfoInit, ZeroesAllButTheZixiErrorAndTheTail)
{
    const auto bytes = bytes_after(ftp_clientd_if_exec_info_init);
    for (size_t at = 0; at < bytes.size(); at++) {
        const bool untouched = (at >= 28 && at <= 31) || at >= 44;
        EXPECT_EQ(bytes[at], untouched ? LEFT : 0) << "byte " << at;
    }
}
