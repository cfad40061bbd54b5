// The columns of a target_t, which the tables of entries and watches share.
#pragma once

#include "ftpspool/database.h"
#include "ftpspool/entry.h"

// Their names, in the order of the members, and their definitions for CREATE TABLE.
#define TARGET_COLUMNS "url, user, password_file, pin, proxy, proxy_password_file, active, profile, profiles"
#define TARGET_DEFINITIONS                                                                                   \
    "url TEXT NOT NULL, user TEXT NOT NULL, password_file TEXT NOT NULL, pin TEXT NOT NULL, "                \
    "proxy TEXT NOT NULL, proxy_password_file TEXT NOT NULL, active INTEGER NOT NULL, "                      \
    "profile TEXT NOT NULL DEFAULT '', profiles TEXT NOT NULL DEFAULT ''"

// Reads them from the current row, beginning at `column`, and sets `column` to the one after them.
inline target_t target_from(const statement_t &row, int &column)
{
    const auto text = [&] { return std::string(row.text(column++)); };
    return {text(), text(), text(), text(), text(), text(), row.number(column++) != 0, text(), text()};
}
