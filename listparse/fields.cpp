#include "listparse/fields.h"
#include "listparse/listparse.h"

#include <cstring>

void listparse_find(fields_t *fields, int last)
{
    const char *at = fields->next;
    int begun = fields->begun;
    for (int index = fields->found; index <= last; ++index) {
        fields->begins[index] = at;
        char byte;
        while (byte = *at, byte != ' ' && byte != '\0')
            ++at;
        fields->ends[index] = at;
        if (byte == '\0')
            continue; // the line ends here: all further fields are empty
        ++begun;
        do
            ++at;
        while (*at == ' ');
    }
    fields->found = last + 1;
    fields->begun = begun;
    fields->next = at;
}

int FindField(const char *line, char *out, int index, int to_end)
{
    *out = '\0';
    if (line == nullptr)
        return 0;
    if (index >= 0)
        line += strspn(line, " ");
    for (; index > 0; --index) {
        line = strchr(line, ' ');
        if (line == nullptr)
            return 0;
        line += strspn(line, " ");
    }
    const size_t length = to_end == 1 ? strlen(line) : strcspn(line, " ");
    memcpy(out, line, length);
    out[length] = '\0';
    return 1;
}
