#include "platform/scriptingbridge/Artwork.h"

#include "base/Text.h"
#include "support/FakePlayer.h"
#include "support/LocalServer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace vitrel {
namespace {

std::optional<std::string> fetched(const std::string& address)
{
    const std::atomic<bool> stop{false};
    const auto artwork = fetchArtwork(address, stop);
    return artwork.bytes ? std::optional(std::string(textOf(*artwork.bytes))) : std::nullopt;
}

TEST(Artwork, IsReadFromRegularFilesOfThisMachine)
{
    TemporaryFolder folder;
    const std::string path = folder.write("a b%.jpg", "bytes"), fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    folder.write("q#1?.jpg", "x");
    folder.write("100%25.jpg", "x");
    std::filesystem::resize_file(folder.write("huge", ""), (16 << 20) + 1);
    std::filesystem::resize_file(folder.write("large", "x"), 16 << 20);
    const std::string escaped = folder / "a%20b%25.jpg";
    const std::tuple<std::string, bool, const char*> cases[] = {{"file://" + escaped, true, "an escaped path"},
        {"file://localhost" + escaped, true, "this machine by name"}, {"FILE:" + escaped, true, "the short form"},
        {"file://other" + escaped, false, "another machine"},
        {"file://" + fifo, false, "a pipe, without waiting for its writer"}, {"file:///dev/zero", false, "a device"},
        {"file://" + folder.path(), false, "a folder"}, {"file://" + (folder / "none"), false, "no file"},
        {"file://" + (folder / "huge"), false, "above 16 MiB"}, {"file://" + (folder / "large"), true, "just within"},
        {"file:///a%00b", false, "a path that ends early"}, {"file:relative", false, "a relative path"},
        {path, true, "a bare path"}, {escaped, true, "a bare path, escaped"}, {"file://" + path, true, "not escaped"},
        {"file://" + (folder / "q#1?.jpg"), true, "with what would end a path elsewhere"},
        {"file://" + (folder / "100%2525.jpg"), true, "a name that looks escaped, escaped"},
        {"file://" + (folder / "100%25.jpg"), true, "the same, not escaped"},
        {"a b%.jpg", false, "no scheme and no path"}, {"ftp://h/x", false, "another scheme"}, {"", false, "nothing"}};
    for (const auto& [address, reads, why] : cases)
        EXPECT_EQ(fetched(address).has_value(), reads) << why;
    EXPECT_EQ(fetched("file://" + escaped), "bytes");
}

TEST(Artwork, IsReadFromItsAddressItselfAndKnowsItsPixels)
{
    const std::tuple<const char*, std::optional<std::string>, const char*> cases[]
        = {{"data:image/png;base64,Zm9v", "foo", "base64"}, {"data:;base64,Zm9vYg", "foob", "without padding"},
            {"data:;base64,Zm9v%0AYg%3D%3D", "foob", "escaped, in lines"},
            {"data:text/plain,a%20b", "a b", "escaped bytes"}, {"data:;base64,!!!!", std::nullopt, "no base64"},
            {"data:image/png", std::nullopt, "no comma"}, {"data:,", std::nullopt, "no bytes"}};
    for (const auto& [address, bytes, why] : cases)
        EXPECT_EQ(fetched(address), bytes) << why;
    const std::atomic<bool> stop{false};
    EXPECT_EQ(fetchArtwork("data:;base64," + encodeBase64(pngOf(20, 30)), stop).pixels(), 600);
    EXPECT_EQ(fetchArtwork("data:,text", stop).pixels(), 0);
}

TEST(Artwork, IsFetchedWithinLimits)
{
    const std::tuple<const char*, std::string, std::optional<std::string>> cases[] = {
        {"a picture", LocalServer::answer("bytes"), "bytes"},
        {"a redirect", LocalServer::redirect("/there"), "moved"},
        {"a redirect to a file", LocalServer::redirect("file:///etc/hostname"), std::nullopt},
        {"a redirect without end", LocalServer::redirect("/again"), std::nullopt},
        {"a page that says so is no cover", LocalServer::answer("no cover", "", "404 Not Found"), std::nullopt},
        {"more than 16 MiB, unannounced", LocalServer::head() + std::string((16 << 20) + 1, 'x'), std::nullopt},
    };
    for (const auto& [why, answer, bytes] : cases) {
        const LocalServer server([answer = answer](const auto& request, const auto& to) {
            to.send(request.target == "/there" ? LocalServer::answer("moved") : answer);
        });
        EXPECT_EQ(fetched(server.url()), bytes) << why;
    }
    const LocalServer good(LocalServer::answer("bytes"));
    std::atomic<bool> stop{true};
    EXPECT_EQ(fetchArtwork(good.url(), stop).bytes, nullptr) << "the program ends";
    stop = false;
    const LocalServer silent([&](const auto&, const auto& to) {
        stop = true;
        to.stall();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(fetchArtwork(silent.url(), stop).bytes, nullptr) << "another track, while the server is silent";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

} // namespace
} // namespace vitrel
