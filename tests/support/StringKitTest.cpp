#include "support/StringKit.h"

#include <gtest/gtest.h>

#include <string>

namespace vitrel {
namespace {

std::string hex(const MD5Digest& digest)
{
    std::string out;
    for (const auto byte : digest) {
        out += "0123456789abcdef"[byte >> 4];
        out += "0123456789abcdef"[byte & 15];
    }
    return out;
}

// The suite of RFC 1321, appendix A.5, and texts around the lengths at which the padding needs one more block; those
// by `head -c N /dev/zero | tr '\0' a | openssl dgst -md5`.
TEST(HashMD5Data, IsTheDigestOfTheStandard)
{
    const std::string digits = "1234567890";
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {digits + digits + digits + digits + digits + digits + digits + digits, "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
        {std::string(119, 'a'), "8a7bd0732ed6a28ce75f6dabc90e1613"},
        {std::string(120, 'a'), "5f61c0ccad4cac44c75ff505e1f1e537"},
        {std::string(1'000'000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
    };
    for (const auto& [text, digest] : cases)
        EXPECT_EQ(hex(hashMD5Data(text)), digest) << text.size() << " bytes";
}

} // namespace
} // namespace vitrel
