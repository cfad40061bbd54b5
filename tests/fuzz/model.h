// The rules of listing lines once more, as plainly as they can be put and as slowly as that makes them. The
// parser is held against them: what it gains in speed must not cost it a rule.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace model
{

// Set when a line asks for what no rule settles: a number that does not fit an int, say. Nothing is compared
// then.
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
    bool date_open = false; // the rules do not settle what becomes of such a date
    bool time_open = false;
};

// All fields of a line: field i is there when fields.size() > i.
std::vector<std::string> split(const std::string &line);
// Field `index`, empty when there is none.
std::string at(const std::vector<std::string> &fields, int index);
// What is left of the line from the beginning of field `index`; false when the line has fewer fields.
bool rest_from(const std::string &line, size_t index, std::string *rest);

bool is_digit(char byte);
int number(const std::string &text); // as atoi reads it
int64_t whole_number(const std::string &text);
uint32_t permissions(const std::string &text);
int full_year(int year); // below 60 of this century
int date_shape(const std::string &field, unsigned char sym, bool allow9);
void read_month(std::string *field, uint16_t *month, uint16_t *day);
bool read_time(const std::string &field, uint16_t *hour, uint16_t *minute);
int unix_number(const std::string &line, int base, int shift, int day);

int detect(std::string *line);
entry_t resolve(const std::string &line, int format);       // a format that detect gave for this line
entry_t resolve_table(const std::string &line, int format); // 26 to 39

} // namespace model
