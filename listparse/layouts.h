// The layouts of listing lines that the parser knows: how a line of each looks, who sends such lines, and how
// they are told apart. Numbers are those of list_format_t without its flags. layouts.cpp is the table.
#pragma once

#include "listparse/values.h"

#include <span>

// The link count stands alone, "-rw-r--r--  12", or is glued to the permissions, "-rw-r--r--12": then every
// field behind it stands one to the left.
enum links_t : int8_t { ALONE, GLUED, EITHER };

// A number of the `ls -l` family: permissions, link count, owner, group, size, date, name.
struct unix_layout_t {
    int8_t number;
    int8_t shift; // how many fields more stand in front of the size, -2 to 2
    links_t links;
    date_order_t order;
    int8_t owner; // its field
    const char *sample;
    const char *sent_by;
};

// One condition of detection: the line has this field, and it passes.
struct test_t {
    int8_t field;
    bool (*passes)(field_t text);
};

// Every other number. A line has the layout when it has least_fields fields and passes all tests. A row
// without tests is never found.
struct other_layout_t {
    int8_t number;
    int8_t least_fields;
    test_t tests[4]; // those behind the last one have no function
    const char *sample;
    const char *sent_by;
};

// The two parts of the table, static: the first in order of the numbers, the other in order of trial.
std::span<const unix_layout_t> listparse_unix_layouts();
std::span<const other_layout_t> listparse_other_layouts();

// The number of a line of the `ls -l` family, or -1. links is ALONE or GLUED.
int listparse_unix_number(int shift, links_t links, date_order_t order);

// The row of a number; that of 0 for a number without one.
const unix_layout_t &listparse_unix_layout(int number);

// The number of the first other layout that the line has, or -1.
int listparse_other_number(fields_t &fields);
