// One line of any bytes through the listing parser: detection, resolution by the detected layout and by some
// other numbers, and each helper. All must keep within their bounds and agree with the model.
#include "listparse/listparse.h"
#include "model.h"
#include "require.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr size_t CANARY_BYTES = 64;
constexpr uint32_t MOST_ATTRIBUTES = 0x7777;

// A copy that ends with its heap block, so that reading on is an error, at an address of any alignment.
class exact_copy
{
public:
    explicit exact_copy(std::string_view line)
    {
        constexpr size_t ALIGNMENTS = 16;
        size_t front = line.empty() ? 0 : static_cast<uint8_t>(line.back()) % ALIGNMENTS;
        block_ = std::make_unique<char[]>(front + line.size() + 1);
        text_ = block_.get() + front;
        std::copy(line.begin(), line.end(), text_);
    }
    char *get() const { return text_; }

private:
    std::unique_ptr<char[]> block_;
    char *text_;
};

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
    // Where a long name is cut in the course of its rules is not settled.
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

// Twice into different rubbish: equal results show that nothing is left unset or remembered.
void check_resolution(std::string_view line, list_format_t format)
{
    resolved_t entry(line, format, 0x5A);
    check_entry(entry, format);
    require(entry == resolved_t(line, format, static_cast<char>(0xA5)), "the same line gives the same entry");
}

void check_detection(std::string_view line)
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
        return;
    check_resolution(left, format);
    check_against_model(resolved_t(left, format, 0x5A), std::string(left), format);
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

void check_month(const std::string &field)
{
    uint16_t month = 99;
    uint16_t day = 99;
    exact_copy copy(field);
    GetMonth(copy.get(), &month, &day);
    require(month <= 12 && day <= 31 && (month != 0 || day == 0),
            "a month is 1 to 12, its day 1 to 31, or 0");
    std::string left = field;
    uint16_t expected_month;
    uint16_t expected_day;
    model::unsettled = false;
    model::read_month(&left, &expected_month, &expected_day);
    require(left == copy.get(), "a month's field is folded as the model folds it");
    require(model::unsettled || (month == expected_month && day == expected_day), "the month is the model's");
}

void check_time(const std::string &field)
{
    uint16_t hour = 99;
    uint16_t minute = 99;
    exact_copy copy(field);
    int read = GetHourAndMinute(copy.get(), &hour, &minute);
    require(read == 0 || read == 1, "GetHourAndMinute returns 0 or 1");
    require(hour <= 24 && minute <= 59, "an hour is at most 24, a minute at most 59");
    require(read == 1 || (hour == 0 && minute == 0), "a time that is refused is 00:00");
    uint16_t expected_hour;
    uint16_t expected_minute;
    model::unsettled = false;
    bool expected = model::read_time(field, &expected_hour, &expected_minute);
    require(model::unsettled || (read == expected && hour == expected_hour && minute == expected_minute),
            "the time is the model's");
}

void check_number(const std::string &field)
{
    exact_copy copy(field);
    errno = 0;
    int64_t number = _atoi64(copy.get());
    int left = errno;
    errno = 0;
    require(number == model::whole_number(field), "the number is the model's");
    require((left == ERANGE) == (errno == ERANGE), "a number out of range leaves its error, any other none");
    errno = ERANGE;
    require(_atoi64(copy.get()) == 0, "a stale range error makes every number 0");
}

void check_field_readers(const std::string &field)
{
    check_month(field);
    check_time(field);
    check_number(field);
    exact_copy copy(field);
    require(AttrString2Value(copy.get()) == model::permissions(field), "the permissions are the model's");
    constexpr unsigned char SYMBOLS[] = {0, '*', 0xD4};
    for (unsigned char sym : SYMBOLS)
        for (int allow9 : {0, 1})
            require(CheckYYMMDDformat(copy.get(), sym, allow9) == model::date_shape(field, sym, allow9 == 1),
                    "the shape of a date is the model's");
}

void check_fields(const std::string &line)
{
    exact_copy copy(line);
    exact_copy out(line); // as long as the line, no longer
    std::vector<std::string> fields = model::split(line);
    int count = static_cast<int>(std::min<size_t>(fields.size(), 12));
    for (int index = 0; index < count; index++) {
        const std::string &field = fields[static_cast<size_t>(index)];
        require(FindField(copy.get(), out.get(), index, 0) == 1 && out.get() == field,
                "a field is the model's");
        check_field_readers(field);
        std::string rest;
        model::rest_from(line, static_cast<size_t>(index), &rest);
        require(FindField(copy.get(), out.get(), index, 1) == 1 && out.get() == rest,
                "the rest is the model's");
    }
    int behind = static_cast<int>(fields.size());
    for (int to_end : {0, 1})
        require(FindField(copy.get(), out.get(), behind, to_end) == 0 && *out.get() == '\0',
                "a missing field is empty");
    require(FindField(copy.get(), out.get(), -1, 1) == 1 && out.get() == line,
            "a negative index gives the whole line");
}

void check_unix_type(const std::string &line)
{
    exact_copy copy(line);
    exact_copy buf(line);
    for (int base : {0, -1})
        for (int shift : {2, 1, 0, -1, -2})
            for (int day : {0, 15}) {
                int number = CheckUnixType(copy.get(), buf.get(), base, shift, day);
                require(number == -1 || is_unix_number(number),
                        "CheckUnixType returns a number of its table");
                model::unsettled = false;
                int expected = model::unix_number(line, base, shift, day);
                require(model::unsettled || number == expected,
                        "the number of the Unix family is the model's");
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
    check_field_readers(std::string(line));
    check_fields(std::string(line));
    check_unix_type(std::string(line));
    return 0;
}
