#include "companion/token/Token.h"

#include <gtest/gtest.h>

#include <string>

namespace vitrel {
namespace {

constexpr const char* kDate = "2026-11-16 21.54.29.123";

// Both sides could agree on a slip, and no other program would. The texts are from this shell function:
//   token() {
//     m() { openssl dgst -md5 -binary | base64; }
//     a=$(printf %s "$1$first" | m); s=$(printf %s "$a$second" | m)
//     q="&s=$s&id=$1&d=$2"; h=$(printf %s "$q$first" | m); printf '%s\n' "$q&h=$h"
//   }
// with the salts in `first` and `second`.
TEST(Token, IsWhatAShellWorksOut)
{
    const std::pair<const char*, const char*> cases[] = {
        {"6F9619FF-8B86-D011-B42D-00C04FC964F1",
            "&s=kfPjHVwcYik1U3F1BI1x8A==&id=6F9619FF-8B86-D011-B42D-00C04FC964F1&d=2026-11-16 21.54.29.123"
            "&h=qxb+UHEVpzccpI0m9BKAyg=="},
        {"6F9619FF-8B86-D011-B42D-00C04FC964F2",
            "&s=iQXHRs7Ryk5Wjz2RoFLyvw==&id=6F9619FF-8B86-D011-B42D-00C04FC964F2&d=2026-11-16 21.54.29.123"
            "&h=ydooGtQltYjUlwY8Z3MWuQ=="},
        {"00000000-0000-4000-8000-000000000005",
            "&s=CdrslBiI5+/BZwKV1EYcvg==&id=00000000-0000-4000-8000-000000000005&d=2026-11-16 21.54.29.123"
            "&h=ACgmsdm05JoAEPJYBuLW1Q=="},
    };
    for (const auto& [id, query] : cases) {
        EXPECT_EQ(companionQuery(id, kDate), query);
        // A "+" that was escaped, or a "/", is another text to a server that compares what it got.
        std::string escaped = query;
        escaped.replace(escaped.find(' '), 1, "%20");
        EXPECT_EQ(escapedCompanionQuery(id, kDate), escaped);
    }
}

TEST(Token, TheCharactersOfAQueryStayAndAllOthersAreEscapedByteByByte)
{
    std::string kept, rest;
    for (int c = 0; c < 256; ++c) {
        const bool plain = c < 128
            && (isalnum(c) || std::string("!$&'()*+,-./:;=?@_~").find(char(c)) != std::string::npos) && c != 0;
        (plain ? kept : rest) += char(c);
    }
    EXPECT_EQ(kept.size(), 62u + 19u);
    EXPECT_EQ(escapedWithURLQueryAllowed(kept), kept);
    EXPECT_EQ(escapedWithURLQueryAllowed(rest).size(), 3 * rest.size());
    EXPECT_EQ(escapedWithURLQueryAllowed("a b#\n%20 \xC3\xA9"), "a%20b%23%0A%2520%20%C3%A9");
}

} // namespace
} // namespace vitrel
