#include "listparse/resolve.h"

#include <algorithm>
#include <cstring>

constexpr int FIRST_OTHER_FORMAT = 21;
constexpr int LAST_OTHER_FORMAT = 41;

// A line that is nothing but a name.
static int resolve_name_only(const char *line, line_entry_t *entry)
{
    fields_t fields;
    listparse_begin_line(&fields, line);
    find_fields(&fields, 1);
    entry->name = cut_name(field(fields, 0));
    return FILE_TYPE_FILE;
}

static int resolve(const char *line, list_format_t format, line_entry_t *entry)
{
    const int number = format_number(format);
    if (number < FIRST_OTHER_FORMAT || number > LAST_OTHER_FORMAT)
        return listparse_resolve_unix(line, format, entry);
    switch (number) {
    case 21:
    case 22:
    case 23:
        return listparse_resolve_dos(line, number, entry);
    case 24:
        return listparse_resolve_dos24(line, entry);
    case 25:
    case 35:
        return resolve_name_only(line, entry);
    default:
        return listparse_resolve_other(line, number, entry);
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
    memset(owner, 0, FILE_INFO_OWNER_SIZE);
    line_entry_t entry = {size, time, attributes, is_link, valid, "", ""};
    const int type = resolve(line, format, &entry);
    memcpy(owner, entry.owner.data(), std::min(entry.owner.size(), FILE_INFO_OWNER_SIZE - 1));
    memcpy(name, entry.name.data(), entry.name.size());
    name[entry.name.size()] = '\0';
    return entry.name == "." || entry.name == ".." ? FILE_TYPE_NONE : type;
}
