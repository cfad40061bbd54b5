#include "tests/standin/place.h"

#include "platform/zixiFeeder.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr int OPEN_DIRECTORY = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Opens directory `name` in `parent`, and closes `parent`.
int step_into(int parent, std::string_view name)
{
    char component[NAME_MAX + 1];
    int child = -1;
    if (name.size() < sizeof component) {
        memcpy(component, name.data(), name.size());
        component[name.size()] = '\0';
        if (mkdirat(parent, component, DIRECTORY_MODE) == 0 || errno == EEXIST)
            child = openat(parent, component, OPEN_DIRECTORY | O_NOFOLLOW);
    }
    close(parent);
    return child == -1 ? ZIXI_ERROR_FILE_REMOTE : child;
}

} // namespace

int place_open(const char *root, const char *directory)
{
    (void)mkdir(root, DIRECTORY_MODE); // it usually exists; open() reports errors
    int place = open(root, OPEN_DIRECTORY);
    if (place == -1)
        return ZIXI_ERROR_NOT_CONNECTED;
    std::string_view rest = directory;
    while (place >= 0 && !rest.empty()) {
        const size_t slash = rest.find('/');
        const std::string_view name = rest.substr(0, slash);
        rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
        if (name.empty() || name == ".")
            continue;
        if (name == "..") {
            close(place);
            return ZIXI_ERROR_BAD_URL;
        }
        place = step_into(place, name);
    }
    return place;
}
