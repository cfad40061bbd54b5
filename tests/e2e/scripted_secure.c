/* A libsecure.so with the results in the file $SCRIPTED_SECURE, three numbers: that of a save, that of a
 * comparison, and whether it differs. It saves nothing. Built without this project's headers. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

struct script {
    int save;
    int compare;
    int differs;
};

static struct script read_script(void)
{
    struct script script = {1, 1, 1};
    const char *path = getenv("SCRIPTED_SECURE");
    FILE *file = path == NULL ? NULL : fopen(path, "r");
    if (file == NULL)
        return script;
    if (fscanf(file, "%d %d %d", &script.save, &script.compare, &script.differs) != 3)
        script.save = 1;
    fclose(file);
    return script;
}

int x509_cert_save(const char *path, void *certificate);
int x509_cert_digest_sha1_compare(void *certificate, const uint8_t *expected, int *differs);
int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length);
int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs);

int x509_cert_save(const char *path, void *certificate)
{
    return path == NULL || certificate == NULL ? 3 : read_script().save;
}

int x509_cert_digest_sha1_compare(void *certificate, const uint8_t *expected, int *differs)
{
    const struct script script = read_script();
    *differs = script.differs;
    return certificate == NULL || expected == NULL ? 3 : script.compare;
}

int ssh_public_key_save(const char *path, int reserved, const void *key, size_t key_length)
{
    return path == NULL || reserved != 0 || key == NULL || key_length == 0 ? 3 : read_script().save;
}

int ssh_key_digest_md5_compare(const void *key, size_t key_length, const uint8_t *expected, int *differs)
{
    const struct script script = read_script();
    *differs = script.differs;
    return key == NULL || key_length == 0 || expected == NULL ? 3 : script.compare;
}
