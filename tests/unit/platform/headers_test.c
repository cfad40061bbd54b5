/* Compiled as C11 to show that both headers are plain C. */
#include "platform/secure.h"
#include "platform/zixiFeeder.h"

/* Every call fails because of its arguments; returns the sum of the results. */
int platform_headers_in_c(void);

int platform_headers_in_c(void)
{
    int differs;
    return zixi_version(NULL, NULL, NULL, NULL) + zixi_prepare_configuration(0, 0, NULL) +
           x509_cert_save(NULL, NULL) + x509_cert_digest_sha1_compare(NULL, NULL, &differs) +
           ssh_public_key_save(NULL, 0, NULL, 0) + ssh_key_digest_md5_compare(NULL, 0, NULL, &differs);
}
