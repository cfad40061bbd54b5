#include "libftpclient/sight.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

/* One line of mountinfo. */
typedef struct ftpc_mount {
    int id;
    int parent; /* id of the mount that it is mounted on */
    const char *device;
    const char *root; /* the mounted part of the file system */
    const char *point;
    int is_read_only;
} ftpc_mount_t;

typedef struct ftpc_mounts {
    ftpc_mount_t *all;
    size_t count;
} ftpc_mounts_t;

/* ---- The table ---- */

/* Decodes escapes such as \040 for a blank, in place. */
static void unescape(char *text)
{
    char *to = text;
    for (const char *from = text; *from != '\0'; to++) {
        if (from[0] == '\\' && from[1] >= '0' && from[1] <= '3' && from[2] >= '0' && from[2] <= '7' &&
            from[3] >= '0' && from[3] <= '7') {
            *to = (char)((from[1] - '0') * 64 + (from[2] - '0') * 8 + (from[3] - '0'));
            from += 4;
        } else {
            *to = *from++;
        }
    }
    *to = '\0';
}

/* "36 35 98:0 /root /point rw,noatime shared:1 - ext4 /dev/root rw,errors=continue": 1 when it is such. */
static int read_mount(char *line, ftpc_mount_t *mount)
{
    enum { ID, PARENT, DEVICE, ROOT, POINT, OPTIONS, FIELDS };
    char *fields[FIELDS];
    const char *super = strstr(line, " - "); /* options of the file system, after its type and source */
    for (int skipped = 0; super && skipped < 3; skipped++)
        super = strchr(super + 1, ' ');
    char *rest = line;
    for (int i = 0; i < FIELDS; i++) {
        fields[i] = strsep(&rest, " ");
        if (!fields[i] || !rest)
            return 0;
    }
    unescape(fields[ROOT]);
    unescape(fields[POINT]);
    mount->id = atoi(fields[ID]);
    mount->parent = atoi(fields[PARENT]);
    mount->device = fields[DEVICE];
    mount->root = fields[ROOT];
    mount->point = fields[POINT];
    mount->is_read_only = strncmp(fields[OPTIONS], "ro", 2) == 0 || (super && strncmp(super, " ro", 3) == 0);
    return 1;
}

/* Reads all lines of `table`. 1 when there are any; the caller frees `all`. */
static int read_mounts(char *table, ftpc_mounts_t *mounts)
{
    size_t lines = 1;
    for (const char *at = table; *at != '\0'; at++)
        lines += *at == '\n';
    mounts->count = 0;
    mounts->all = (ftpc_mount_t *)calloc(lines, sizeof *mounts->all);
    char *rest = table;
    for (char *line = strsep(&rest, "\n"); mounts->all && line; line = strsep(&rest, "\n"))
        mounts->count += (size_t)read_mount(line, &mounts->all[mounts->count]);
    return mounts->count > 0;
}

/* ---- Where a path leads ---- */

/* The part of `path` after the mount point; NULL when the path is not below it. */
static const char *behind(const char *point, const char *path)
{
    const size_t length = strcmp(point, "/") == 0 ? 0 : strlen(point);
    const int lies_there = strncmp(point, path, length) == 0 && (path[length] == '/' || path[length] == '\0');
    return lies_there ? path + length : NULL;
}

static const ftpc_mount_t *first_mount(const ftpc_mounts_t *mounts)
{
    for (size_t i = 0; i < mounts->count; i++) {
        const ftpc_mount_t *mount = &mounts->all[i];
        int lies_on_another = 0;
        for (size_t k = 0; k < mounts->count; k++)
            lies_on_another |= k != i && mounts->all[k].id == mount->parent;
        if (!lies_on_another && strcmp(mount->point, "/") == 0)
            return mount;
    }
    return NULL;
}

/* Follows the mounts as the kernel does: of the mounts on the current one it enters the first on the path,
 * which hides those further down. */
static const ftpc_mount_t *mount_of(const ftpc_mounts_t *mounts, const char *path)
{
    const ftpc_mount_t *present = NULL;
    const ftpc_mount_t *next = first_mount(mounts);
    for (size_t steps = 0; next && steps <= mounts->count; steps++) {
        present = next;
        next = NULL;
        for (size_t i = 0; i < mounts->count; i++) {
            const ftpc_mount_t *mount = &mounts->all[i];
            if (mount != present && mount->parent == present->id && behind(mount->point, path) &&
                (!next || strlen(mount->point) < strlen(next->point)))
                next = mount;
        }
    }
    return present;
}

/* 1 when both lead to the same place in the same file system. */
static int leads_alike(const ftpc_mount_t *a, const ftpc_mount_t *b, const char *path)
{
    char at_a[2 * PATH_MAX];
    char at_b[2 * PATH_MAX];
    const char *root_a = strcmp(a->root, "/") == 0 ? "" : a->root;
    const char *root_b = strcmp(b->root, "/") == 0 ? "" : b->root;
    snprintf(at_a, sizeof at_a, "%s%s", root_a, behind(a->point, path));
    snprintf(at_b, sizeof at_b, "%s%s", root_b, behind(b->point, path));
    return strcmp(a->device, b->device) == 0 && strcmp(at_a, at_b) == 0;
}

static int compare_at(const ftpc_mounts_t *own, const ftpc_mounts_t *daemons, const char *path, int writes)
{
    const ftpc_mount_t *here = mount_of(own, path);
    const ftpc_mount_t *there = mount_of(daemons, path);
    if (!here || !there)
        return FTPCLIENT_OK;
    if (!leads_alike(here, there, path))
        return FTPCLIENT_ERR_OUT_OF_SIGHT;
    return writes && there->is_read_only ? FTPCLIENT_ERR_READ_ONLY : FTPCLIENT_OK;
}

/* Resolves all links; for a file that does not exist yet, gives its folder. 1 on success. */
static int resolve(const char *path, char resolved[PATH_MAX])
{
    if (realpath(path, resolved))
        return 1;
    char folder[PATH_MAX];
    const char *slash = strrchr(path, '/');
    if (errno != ENOENT || !slash || (size_t)(slash - path) >= sizeof folder)
        return 0;
    snprintf(folder, sizeof folder, "%.*s", (int)(slash - path), path);
    return realpath(slash == path ? "/" : folder, resolved) != NULL;
}

FTPC int ftpc_sight_compare(char *own_table, char *daemons_table, const char *path, int writes)
{
    char resolved[PATH_MAX];
    ftpc_mounts_t own = {NULL, 0};
    ftpc_mounts_t daemons = {NULL, 0};
    int sight = FTPCLIENT_OK;
    if (resolve(path, resolved) && read_mounts(own_table, &own) && read_mounts(daemons_table, &daemons)) {
        /* The daemon may see the target of a link but not the link itself. */
        if (!strstr(path, "/../"))
            sight = compare_at(&own, &daemons, path, 0);
        if (sight == FTPCLIENT_OK)
            sight = compare_at(&own, &daemons, resolved, writes);
    }
    free(own.all);
    free(daemons.all);
    return sight;
}

/* ---- The files of proc ---- */

/* The whole file, to be freed; NULL when it cannot be read. */
static char *read_file(const char *path)
{
    char *text = NULL;
    size_t size = 0;
    FILE *file = fopen(path, "re");
    const ssize_t length = file ? getdelim(&text, &size, '\0', file) : -1;
    if (file)
        fclose(file);
    if (length > 0)
        return text;
    free(text);
    return NULL;
}

FTPC int ftpc_sight_of(pid_t daemon, const char *path, int writes)
{
    char daemons_file[64];
    snprintf(daemons_file, sizeof daemons_file, "/proc/%ld/mountinfo", (long)daemon);
    struct stat status;
    const int is_special = stat(path, &status) == 0 && !S_ISREG(status.st_mode);
    char *own = daemon > 0 ? read_file("/proc/self/mountinfo") : NULL;
    char *daemons = own ? read_file(daemons_file) : NULL;
    const int sight =
        own && daemons ? ftpc_sight_compare(own, daemons, path, writes && !is_special) : FTPCLIENT_OK;
    free(own);
    free(daemons);
    return sight;
}
