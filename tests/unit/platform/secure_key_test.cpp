#include "platform/secure_key.h"

#include "identities.h"
#include "platform/secure.h"
#include "support/failing_heap.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <vector>

namespace
{

struct line_t {
    int result;
    std::string text;
};

line_t line_of(const std::string &blob)
{
    heap_string line;
    size_t length = 0;
    const int result = secure_key_line(blob.data(), blob.size(), &line, &length);
    return {result, line ? std::string(line.get(), length) : ""};
}

} // namespace

// 0,0,0,7 "ssh-foo" 0,0,0,1 "x" is AAAAB3NzaC1mb28AAAABeA== in base64.
TEST(SecureKey, LineIsTypeBlankBase64AndNewline)
{
    const line_t line = line_of(ssh_string("ssh-foo") + ssh_string("x"));
    EXPECT_EQ(line.result, LIBSECURE_DONE);
    EXPECT_EQ(line.text, "ssh-foo AAAAB3NzaC1mb28AAAABeA==\n");
}

TEST(SecureKey, EveryKindOfKeyIsAccepted)
{
    for (const identity_t &identity : IDENTITIES)
        EXPECT_EQ(line_of(ssh_blob(identity)).result, LIBSECURE_DONE) << identity.kind;
}

TEST(SecureKey, ABlobCutWithinAPartIsBadData)
{
    const std::string one_part = ssh_string("ssh-foo") + ssh_string("abc");
    const std::string blob = one_part + ssh_string("de");
    for (size_t length = 0; length < blob.size(); length++) {
        const int expected = length == one_part.size() ? LIBSECURE_DONE : LIBSECURE_BAD_DATA;
        EXPECT_EQ(line_of(blob.substr(0, length)).result, expected) << "cut to " << length;
    }
}

TEST(SecureKey, ATypeMayHave64Characters)
{
    EXPECT_EQ(line_of(ssh_string(std::string(64, 'a')) + ssh_string("x")).result, LIBSECURE_DONE);
}

TEST(SecureKey, AnInvalidKeyIsBadData)
{
    const std::vector<std::string> blobs = {
        "",
        "garbage",
        std::string(4, '\0'),                                        // empty type, no parts
        ssh_string("") + ssh_string("x"),                            // empty type
        ssh_string("ssh-foo"),                                       // nothing but the type
        ssh_string("ssh foo") + ssh_string("x"),                     // a blank would split the line
        ssh_string("ssh\nfoo") + ssh_string("x"),                    // a newline would make two
        ssh_string("ssh-\xe4") + ssh_string("x"),                    // not ASCII
        ssh_string(std::string("ssh\0x", 5)) + ssh_string("x"),      // a terminator inside
        ssh_string(std::string(65, 'a')) + ssh_string("x"),          // too long a type
        ssh_string("ssh-foo") + ssh_string("x") + "y",               // a byte too many
        ssh_string("ssh-foo") + "\xff\xff\xff\xff" + "x",            // a length beyond the end
        ssh_string("ssh-foo") + ssh_string(std::string(65536, 'x')), // too long a key
    };
    for (const std::string &blob : blobs)
        EXPECT_EQ(line_of(blob).result, LIBSECURE_BAD_DATA) << testing::PrintToString(blob.substr(0, 40));
}

TEST(SecureKey, NoMemoryIsReported)
{
    const std::string blob = ssh_string("ssh-foo") + ssh_string("x");
    heap_string line;
    size_t length = 0;
    const failing_heap heap(1);
    EXPECT_EQ(secure_key_line(blob.data(), blob.size(), &line, &length), LIBSECURE_NO_MEMORY);
    EXPECT_EQ(line, nullptr);
}
