// Entries and answers as text and as JSON, without a newline. Invalid UTF-8 is replaced by U+FFFD in JSON.
#pragma once

#include "ftpspool/entry.h"

#include <string>
#include <vector>

// Replaces control characters, which file names may contain, by '?', so that the text is one line.
std::string on_one_line(std::string text);

// One line of `list`.
std::string entry_line(const entry_t &entry);

// The lines of `show`, one for each fact that applies.
std::string entry_facts(const entry_t &entry);

// All that is known; null for what does not apply. Times are seconds since 1970.
std::string entry_json(const entry_t &entry);

// The answer of a command that prints no entries: "command", "status", "error" (a name of ftpctl's exit
// statuses, null on success), "message", "ids".
std::string answer_json(const std::string &command, int status, const std::string &message,
                        const std::vector<int64_t> &ids);
