// The layouts of listing lines that the parser supports: a sample of each, which servers send it, and how it
// is recognised. Numbers are those of list_format_t without its flags. layouts.cpp has the table.
#pragma once

#include "listparse/values.h"

#include <span>

// The link count is a separate field, "-rw-r--r--  12", or attached to the permissions, "-rw-r--r--12", which
// moves every later field one to the left.
enum links_t : int8_t { ALONE, GLUED, EITHER };

// A layout of the `ls -l` family: permissions, link count, owner, group, size, date, name.
struct unix_layout_t {
    int8_t number; // the low byte of list_format_t
    int8_t shift;  // how many more fields precede the size, -2 to 2
    links_t links;
    date_order_t order;
    int8_t owner;        // the index of its field
    const char *sample;  // a line of this layout
    const char *sent_by; // which servers send it
};

// One condition of detection: the line has this field, and the field passes.
struct test_t {
    int8_t field;
    bool (*passes)(field_t text);
};

// Any other layout. A line has it when it has at least least_fields fields and passes all tests. A row
// without tests is never detected.
struct other_layout_t {
    int8_t number; // the low byte of list_format_t
    int8_t least_fields;
    test_t tests[4]; // unused ones have no function
    const char *sample;
    const char *sent_by;
};

// The two parts of the table, which is static: the first in the order of the numbers, the second in the order
// in which detection tries them.
std::span<const unix_layout_t> listparse_unix_layouts();
std::span<const other_layout_t> listparse_other_layouts();

// The number of a line of the `ls -l` family, or -1. links is ALONE or GLUED.
int listparse_unix_number(int shift, links_t links, date_order_t order);

// The row of a number; the row of 0 for an unknown number.
const unix_layout_t &listparse_unix_layout(int number);

// The number of the first matching layout of the second part, or -1.
int listparse_other_number(fields_t &fields);
