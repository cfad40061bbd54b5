#include "reading.h"
#include "exact_copy.h"
#include "listparse/listparse.h"
#include "model.h"
#include "require.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace
{

constexpr size_t CANARY_BYTES = 64;
constexpr uint32_t MOST_ATTRIBUTES = 0x7777;

bool is_detectable(list_format_t format)
{
    constexpr std::array<int, 13> OTHER = {21, 22, 23, 24, 26, 27, 28, 29, 32, 33, 37, 38, 39};
    constexpr list_format_t FLAGS = LIST_FMT_FLAG_NAME14 | LIST_FMT_FLAG_LNK;
    if (format == LIST_FMT_UNKNOWN || std::find(OTHER.begin(), OTHER.end(), format) != OTHER.end())
        return true;
    return is_unix_number(format & 0xFF) && (format & LIST_FMT_FLAG_LNK) != 0 &&
           (format & ~(0xFF | FLAGS)) == 0;
}

template <size_t Size> struct guarded_buffer {
    char bytes[Size + CANARY_BYTES];
    char filling;

    explicit guarded_buffer(char filling_of_all) : filling(filling_of_all)
    {
        memset(bytes, filling, sizeof bytes);
    }
    bool sound() const
    {
        return memchr(bytes, 0, Size) != nullptr &&
               std::all_of(bytes + Size, bytes + sizeof bytes, [this](char byte) { return byte == filling; });
    }
};

struct resolved_t {
    int type;
    guarded_buffer<FILE_INFO_NAME_SIZE> name;
    int64_t size = 12345;
    file_time_t time;
    uint32_t attributes = 12345;
    guarded_buffer<FILE_INFO_OWNER_SIZE> owner;
    uint32_t is_link = 12345;
    uint32_t valid = 12345;

    // Resolves into outputs filled with `rubbish`.
    resolved_t(std::string_view line, list_format_t format, char rubbish) : name(rubbish), owner(rubbish)
    {
        exact_copy copy(line);
        memset(&time, rubbish, sizeof time);
        errno = 0;
        type = ResolvFileInfo(copy.get(), format, name.bytes, &size, &time, &attributes, owner.bytes,
                              &is_link, &valid);
        require(line == copy.get(), "resolution leaves the line as it is");
    }

    bool operator==(const resolved_t &other) const
    {
        return type == other.type && strcmp(name.bytes, other.name.bytes) == 0 && size == other.size &&
               memcmp(&time, &other.time, sizeof time) == 0 && attributes == other.attributes &&
               memcmp(owner.bytes, other.owner.bytes, FILE_INFO_OWNER_SIZE) == 0 &&
               is_link == other.is_link && valid == other.valid;
    }
};

void check_entry(const resolved_t &entry, list_format_t format)
{
    require(entry.name.sound(), "the name ends within 1025 bytes and nothing is written behind");
    require(entry.owner.sound(), "the owner ends within 41 bytes and nothing is written behind");
    size_t owner_length = strlen(entry.owner.bytes);
    require(std::all_of(entry.owner.bytes + owner_length, entry.owner.bytes + FILE_INFO_OWNER_SIZE,
                        [](char byte) { return byte == 0; }),
            "the owner is filled up with zeros");
    require(entry.type >= -1 && entry.type <= 1, "the result is -1, 0 or 1");
    require(entry.valid <= 15, "valid has four bits");
    require((entry.valid & FILE_INFO_SIZE) != 0 || entry.size == -1, "a size not given is -1");
    require((entry.valid & FILE_INFO_ATTR) != 0 || entry.attributes == 0, "attributes not given are 0");
    require(entry.attributes <= MOST_ATTRIBUTES, "attributes have the bits of the nine characters");
    require((entry.valid & FILE_INFO_DATE) != 0 ||
                (entry.time.year == 0 && entry.time.month == 0 && entry.time.day == 0),
            "a date not given is 0");
    require((entry.valid & FILE_INFO_TIME) != 0 || (entry.time.hour == 0 && entry.time.minute == 0),
            "a time not given is 00:00");
    require(entry.is_link <= 1, "is_link is 0 or 1");
    require(entry.time.day_of_week == 0 && entry.time.second == 0 && entry.time.milliseconds == 0,
            "the members that no line gives are 0");
    require(entry.type == -1 || (strcmp(entry.name.bytes, ".") != 0 && strcmp(entry.name.bytes, "..") != 0),
            "\".\" and \"..\" are no entries");
    int number = format & 0xFF;
    if (number >= 21 && number <= 41)
        require(entry.is_link == 0, "only lines of the Unix family are links");
}

void check_against_model(const resolved_t &entry, const std::string &line, list_format_t format)
{
    // The rules do not say at which step a long name is cut.
    if (line.size() >= FILE_INFO_NAME_SIZE)
        return;
    errno = 0;
    model::unsettled = false;
    model::entry_t expected = model::resolve(line, format);
    if (model::unsettled)
        return;
    require(entry.type == expected.type, "the type is the model's");
    require(entry.name.bytes == expected.name, "the name is the model's");
    require(entry.size == expected.size, "the size is the model's");
    require(expected.date_open || (entry.time.year == expected.year && entry.time.month == expected.month &&
                                   entry.time.day == expected.day),
            "the date is the model's");
    require(expected.time_open || (entry.time.hour == expected.hour && entry.time.minute == expected.minute),
            "the time is the model's");
    require(entry.attributes == expected.attributes, "the attributes are the model's");
    require(entry.owner.bytes == expected.owner, "the owner is the model's");
    require(entry.is_link == expected.is_link, "is_link is the model's");
    uint32_t open = (expected.date_open ? FILE_INFO_DATE : 0) | (expected.time_open ? FILE_INFO_TIME : 0);
    require((entry.valid | open) == (expected.valid | open), "valid is the model's");
}

// Twice into different rubbish: equal results show that everything is set and nothing remembered.
void check_resolution(std::string_view line, list_format_t format)
{
    resolved_t entry(line, format, 0x5A);
    check_entry(entry, format);
    require(entry == resolved_t(line, format, static_cast<char>(0xA5)), "the same line gives the same entry");
}

} // namespace

void check_resolution_by(std::string_view line, int format)
{
    check_entry(resolved_t(line, format, 0x5A), format);
}

int check_reading(std::string_view line)
{
    exact_copy copy(line);
    exact_copy again(line);
    list_format_t format = AnalizeFileInfo(copy.get());
    require(is_detectable(format), "detection returns a number it may return");
    require(AnalizeFileInfo(again.get()) == format && strcmp(copy.get(), again.get()) == 0,
            "the same line is detected the same");
    std::string_view left = copy.get();
    std::string joined(line);
    if (line.size() >= 2)
        joined.erase(1, 1);
    require(left == line || left == joined, "detection takes out the byte at position 1 or nothing");
    require((format & LIST_FMT_FLAG_NAME14) == 0 || format == LIST_FMT_UNKNOWN || left != line,
            "the flag of 14 characters comes with a joined type character");
    std::string modelled(line);
    model::unsettled = false;
    int expected = model::detect(&modelled);
    require(model::unsettled || (expected == format && left == modelled), "the format is the model's");
    if (format == LIST_FMT_UNKNOWN)
        return format;
    check_resolution(left, format);
    check_against_model(resolved_t(left, format, 0x5A), std::string(left), format);
    return format;
}
