// The rules of listing lines, written as plainly as possible and therefore slow. The fast parser is compared
// with them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace model
{

// Set when no rule covers a line, for example a number too large for an int. Then nothing is compared.
extern bool unsettled;

struct entry_t {
    int type = -1;
    std::string name;
    int64_t size = -1;
    uint16_t year = 0;
    uint16_t month = 0;
    uint16_t day = 0;
    uint16_t hour = 0;
    uint16_t minute = 0;
    uint32_t attributes = 0;
    std::string owner;
    uint32_t is_link = 0;
    uint32_t valid = 0;
    bool date_open = false; // no rule covers this date
    bool time_open = false;
};

// All fields of a line: field i exists if fields.size() > i.
std::vector<std::string> split(const std::string &line);
// Field `index`, or an empty one if it does not exist.
std::string at(const std::vector<std::string> &fields, int index);
// The rest of the line from field `index` on; false if the line has fewer fields.
bool rest_from(const std::string &line, size_t index, std::string *rest);

bool is_digit(char byte);
int number(const std::string &text); // as atoi reads it
int64_t whole_number(const std::string &text);
uint32_t permissions(const std::string &text);
int full_year(int year); // below 60: in this century
int date_shape(const std::string &field, unsigned char sym, bool allow9);
void read_month(std::string *field, uint16_t *month, uint16_t *day);
bool read_time(const std::string &field, uint16_t *hour, uint16_t *minute);
int unix_number(const std::string &line, int base, int shift, int day);

int detect(std::string *line);
entry_t resolve(const std::string &line, int format);       // a format that detect returned for this line
entry_t resolve_table(const std::string &line, int format); // 26 to 39

} // namespace model
