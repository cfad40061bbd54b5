// What must hold for detection and resolution of any line. A violation ends the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Without line ends and NULs, which no line has.
inline std::string_view line_of_input(const uint8_t *data, size_t size)
{
    const std::string_view line(reinterpret_cast<const char *>(data), size);
    return line.substr(0, line.find_first_of(std::string_view("\0\n\r", 3)));
}

inline bool is_unix_number(int number)
{
    return (number >= 0 && number <= 20) || (number >= 42 && number <= 47);
}

// Detects the line's layout and resolves the line by it; checks bounds, what every entry promises, and the
// model. Returns the layout.
int check_reading(std::string_view line);

// Resolves by a number that may be wrong for the line; checks bounds and what every entry promises.
void check_resolution_by(std::string_view line, int format);
