#include "listparse/resolve.h"

#include <algorithm>
#include <cstring>

constexpr int FIRST_OTHER_NUMBER = 21;
constexpr int LAST_OTHER_NUMBER = 41;

static int resolve(const char *line, list_format_t format, line_entry_t *entry)
{
    fields_t fields;
    begin_line(&fields, line);
    const int number = format & 0xff;
    if (number < FIRST_OTHER_NUMBER || number > LAST_OTHER_NUMBER)
        return listparse_resolve_unix(fields, format, *line, entry);
    switch (number) {
    case 21:
    case 22:
    case 23:
        return listparse_resolve_dos(fields, number, entry);
    case 24:
        return listparse_resolve_dos24(fields, entry);
    case 25:
    case 35: // nothing but a name
        take_name(fields, 0, ONE_FIELD, entry);
        return FILE_TYPE_FILE;
    default:
        return listparse_resolve_other(fields, number, entry);
    }
}

int ResolvFileInfo(const char *line, list_format_t format, char *name, int64_t *size, file_time_t *time,
                   uint32_t *attributes, char *owner, uint32_t *is_link, uint32_t *valid)
{
    *size = -1;
    *time = {};
    *attributes = 0;
    *is_link = 0;
    *valid = 0;
    line_entry_t entry = {size, time, attributes, is_link, valid, "", ""};
    const int type = resolve(line, format, &entry);
    memset(owner, 0, FILE_INFO_OWNER_SIZE);
    memcpy(owner, entry.owner.data(), std::min(entry.owner.size(), FILE_INFO_OWNER_SIZE - 1));
    memcpy(name, entry.name.data(), entry.name.size());
    name[entry.name.size()] = '\0';
    return entry.name == "." || entry.name == ".." ? FILE_TYPE_NONE : type;
}
