#include "fake_parser.h"

#include <cstring>

static fake_parser *fake_;

fake_parser::fake_parser() { fake_ = this; }

fake_parser::~fake_parser() { fake_ = nullptr; }

list_format_t AnalizeFileInfo(char *line)
{
    if (fake_->takes_blank_out && line[0] != '\0' && line[1] == ' ')
        memmove(line + 1, line + 2, strlen(line + 2) + 1);
    return line[0] == '?' ? LIST_FMT_UNKNOWN : fake_->format;
}

int ResolvFileInfo(const char *line, list_format_t format, char *name, int64_t *size, file_time_t *time,
                   uint32_t *attributes, char *owner, uint32_t *is_link, uint32_t *valid)
{
    fake_->resolved.push_back(format);
    name[0] = '\0';
    if (line[0] != '!')
        strncat(name, line, FILE_INFO_NAME_SIZE - 1);
    *size = fake_->size;
    *time = fake_->time;
    *attributes = fake_->attributes;
    owner[0] = '\0';
    strncat(owner, fake_->owner.c_str(), FILE_INFO_OWNER_SIZE - 1);
    *is_link = fake_->is_link;
    *valid = fake_->valid;
    return fake_->type;
}
