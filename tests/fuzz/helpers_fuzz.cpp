// One line of any bytes, and each of its fields, through every helper of the listing parser. All must stay
// within bounds and agree with the model.
#include "exact_copy.h"
#include "listparse/listparse.h"
#include "model.h"
#include "reading.h"
#include "require.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

namespace
{

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
    exact_copy out(line); // exactly as long as the line
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
    const std::string line(line_of_input(data, size));
    check_field_readers(line);
    check_fields(line);
    check_unix_type(line);
    return 0;
}
