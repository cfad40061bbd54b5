// One line of any bytes through the listing parser: detection, resolution by the detected layout and by every
// other number, and each helper.
#include "listparse/listparse.h"
#include "require.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>

namespace
{

constexpr size_t CANARY_BYTES = 64;
constexpr uint32_t MOST_ATTRIBUTES = 0x7777;

// A copy that ends with its heap block, so that reading on is an error.
std::unique_ptr<char[]> exact_copy(std::string_view line)
{
    auto copy = std::make_unique<char[]>(line.size() + 1);
    std::copy(line.begin(), line.end(), copy.get());
    return copy;
}

bool is_unix_number(int number) { return (number >= 0 && number <= 20) || (number >= 42 && number <= 47); }

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
        auto copy = exact_copy(line);
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

// Twice into different rubbish: equal results show that nothing is left unset or remembered.
void check_resolution(std::string_view line, list_format_t format)
{
    resolved_t entry(line, format, 0x5A);
    check_entry(entry, format);
    require(entry == resolved_t(line, format, static_cast<char>(0xA5)), "the same line gives the same entry");
}

void check_detection(std::string_view line)
{
    auto copy = exact_copy(line);
    auto again = exact_copy(line);
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
    if (format != LIST_FMT_UNKNOWN)
        check_resolution(left, format);
}

// A number is trusted: with one that the line does not fit, what is read may be nonsense, but from within the
// line. Each line goes through a few numbers that its bytes choose.
void check_other_numbers(std::string_view line)
{
    constexpr unsigned NUMBERS = 50;
    constexpr unsigned TRIED = 4;
    constexpr list_format_t FLAGS[] = {0, LIST_FMT_FLAG_NAME14, LIST_FMT_FLAG_LNK,
                                       LIST_FMT_FLAG_NAME14 | LIST_FMT_FLAG_LNK};
    unsigned sum = std::accumulate(line.begin(), line.end(), 0u, [](unsigned before, char byte) {
        return before * 31 + static_cast<uint8_t>(byte);
    });
    for (unsigned i = 0; i < TRIED; i++) {
        list_format_t format = static_cast<list_format_t>((sum + i * 13) % NUMBERS) | FLAGS[i];
        check_entry(resolved_t(line, format, 0x5A), format);
    }
}

void check_field_readers(std::string_view field)
{
    uint16_t first = 99;
    uint16_t second = 99;
    auto copy = exact_copy(field);
    GetMonth(copy.get(), &first, &second);
    require(first <= 12 && second <= 31 && (first != 0 || second == 0),
            "a month is 1 to 12, its day 1 to 31, or 0");
    copy = exact_copy(field);
    int read = GetHourAndMinute(copy.get(), &first, &second);
    require(read == 0 || read == 1, "GetHourAndMinute returns 0 or 1");
    require(first <= 24 && second <= 59 && (read == 1 || (first == 0 && second == 0)),
            "an hour is at most 24, a minute at most 59");
    require(AttrString2Value(copy.get()) <= MOST_ATTRIBUTES,
            "attributes have the bits of the nine characters");
    constexpr unsigned char SYMBOLS[] = {0, '*'};
    for (unsigned char sym : SYMBOLS)
        for (int allow9 : {0, 1}) {
            int shape = CheckYYMMDDformat(copy.get(), sym, allow9);
            require(shape == 0 || shape == 1 || (shape == 2 && allow9 == 1), "a date has shape 0, 1 or 2");
        }
    errno = ERANGE;
    require(_atoi64(copy.get()) == 0, "a stale range error makes every number 0");
}

void check_helpers(std::string_view line)
{
    auto copy = exact_copy(line);
    auto out = exact_copy(line); // as long as the line, no longer
    constexpr int FIELDS = 11;
    for (int index = -1; index < FIELDS; index++) {
        int found = FindField(copy.get(), out.get(), index, 1);
        require(found == 1 || (found == 0 && out[0] == '\0'), "FindField returns 1, or 0 and nothing");
        require(FindField(copy.get(), out.get(), index, 0) == found,
                "a field that runs to the end is there as well");
        if (found == 1)
            check_field_readers(out.get());
    }
    check_field_readers(line);
    for (int base : {0, -1})
        for (int shift : {2, 1, 0, -1, -2})
            for (int day : {0, 15}) {
                int number = CheckUnixType(copy.get(), out.get(), base, shift, day);
                require(number == -1 || is_unix_number(number),
                        "CheckUnixType returns a number of its table");
            }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // No line holds a line end or a NUL.
    std::string_view line(reinterpret_cast<const char *>(data), size);
    line = line.substr(0, line.find_first_of(std::string_view("\0\n\r", 3)));
    check_detection(line);
    check_other_numbers(line);
    check_helpers(line);
    return 0;
}
