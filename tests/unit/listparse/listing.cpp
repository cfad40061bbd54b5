#include "listing.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>

namespace
{

constexpr char RUBBISH = 0x5A;
constexpr size_t CANARY_BYTES = 64;

// A NUL-terminated copy whose terminator is the last byte of a heap block of its own.
std::unique_ptr<char[]> exact_copy(std::string_view line)
{
    auto copy = std::make_unique<char[]>(line.size() + 1);
    std::copy(line.begin(), line.end(), copy.get());
    return copy;
}

template <size_t Size> struct guarded_buffer {
    std::array<char, Size + CANARY_BYTES> bytes;
    guarded_buffer() { bytes.fill(RUBBISH); }
    bool untouched_behind() const
    {
        return std::all_of(bytes.begin() + Size, bytes.end(), [](char byte) { return byte == RUBBISH; });
    }
};

} // namespace

entry_t resolve(std::string_view line, list_format_t format, int stale_errno)
{
    auto copy = exact_copy(line);
    guarded_buffer<FILE_INFO_NAME_SIZE> name;
    guarded_buffer<FILE_INFO_OWNER_SIZE> owner;
    int64_t size = 12345678;
    file_time_t time;
    memset(&time, RUBBISH, sizeof time);
    uint32_t attributes = 0x5A5A;
    uint32_t is_link = 0x5A5A;
    uint32_t valid = 0x5A5A;

    errno = stale_errno;
    int type = ResolvFileInfo(copy.get(), format, name.bytes.data(), &size, &time, &attributes,
                              owner.bytes.data(), &is_link, &valid);

    EXPECT_TRUE(name.untouched_behind()) << "writes past the name: " << line;
    EXPECT_TRUE(owner.untouched_behind()) << "writes past the owner: " << line;
    EXPECT_EQ(line, copy.get()) << "changes the line";
    EXPECT_EQ(time.day_of_week, 0);
    EXPECT_EQ(time.second, 0);
    EXPECT_EQ(time.milliseconds, 0);
    std::string owner_read(owner.bytes.data(), strnlen(owner.bytes.data(), FILE_INFO_OWNER_SIZE));
    EXPECT_LT(owner_read.size(), FILE_INFO_OWNER_SIZE);
    EXPECT_TRUE(std::all_of(owner.bytes.begin() + static_cast<ptrdiff_t>(owner_read.size()),
                            owner.bytes.begin() + FILE_INFO_OWNER_SIZE, [](char byte) { return byte == 0; }))
        << "leaves rubbish after the owner: " << line;
    std::string name_read(name.bytes.data(), strnlen(name.bytes.data(), FILE_INFO_NAME_SIZE));
    EXPECT_LT(name_read.size(), FILE_INFO_NAME_SIZE);

    return {type,
            std::move(name_read),
            size,
            {time.year, time.month, time.day},
            {time.hour, time.minute},
            attributes,
            std::move(owner_read),
            is_link,
            valid};
}

list_format_t detect(std::string_view line, std::string *left)
{
    auto copy = exact_copy(line);
    errno = 0;
    list_format_t format = AnalizeFileInfo(copy.get());
    if (left != nullptr)
        *left = copy.get();
    return format;
}

void expect_entries(entry_rows rows)
{
    for (const entry_row &row : rows)
        EXPECT_EQ(resolve(row.line, row.format), row.entry) << row.name << ": " << row.line;
}

void expect_read(entry_rows rows)
{
    for (const entry_row &row : rows) {
        std::string left;
        EXPECT_EQ(detect(row.line, &left), row.format) << row.name << ": " << row.line;
        EXPECT_EQ(resolve(left, row.format), row.entry) << row.name << ": " << row.line;
    }
}

void expect_format(list_format_t format, text_list lines)
{
    for (const char *line : lines) {
        std::string left;
        EXPECT_EQ(detect(line, &left), format) << testing::PrintToString(line);
        EXPECT_EQ(left, line) << "the line was changed";
    }
}

void PrintTo(const entry_t &entry, std::ostream *out)
{
    *out << "type " << entry.type << " name " << testing::PrintToString(entry.name) << " size " << entry.size
         << " date " << testing::PrintToString(entry.date) << " time " << testing::PrintToString(entry.time)
         << " attributes 0x" << std::hex << entry.attributes << std::dec << " owner "
         << testing::PrintToString(entry.owner) << " is_link " << entry.is_link << " valid " << entry.valid;
}
