#include "strutil/strutil.h"

int hex1_to_num(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int hex2_to_num(const char *text)
{
    const int high = hex1_to_num(text[0]);
    // The text may end after a first character that is not a digit.
    const int low = high == -1 ? -1 : hex1_to_num(text[1]);
    return low == -1 ? -1 : high * 16 + low;
}

unsigned asc_to_num(const char *text, size_t n, int *error_count)
{
    unsigned value = 0;
    unsigned weight = 1;
    while (n-- > 0) {
        if (text[n] < '0' || text[n] > '9') {
            if (error_count != nullptr)
                ++*error_count;
            return 0;
        }
        value += weight * static_cast<unsigned>(text[n] - '0');
        weight *= 10;
    }
    return value;
}
