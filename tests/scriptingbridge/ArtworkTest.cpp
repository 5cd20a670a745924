#include "platform/scriptingbridge/Artwork.h"

#include "base/Text.h"
#include "support/FakePlayer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

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
    const struct {
        std::string address;
        bool reads;
        const char* why;
    } cases[] = {
        {"file://" + escaped, true, "an escaped path"},
        {"file://localhost" + escaped, true, "this machine by name"},
        {"FILE:" + escaped, true, "the short form"},
        {"file://other" + escaped, false, "another machine"},
        {"file://" + fifo, false, "a pipe, without waiting for its writer"},
        {"file:///dev/zero", false, "a device"},
        {"file://" + folder.path(), false, "a folder"},
        {"file://" + (folder / "none"), false, "no file"},
        {"file://" + (folder / "huge"), false, "above 16 MiB"},
        {"file://" + (folder / "large"), true, "just within"},
        {"file:///a%00b", false, "a path that ends early"},
        {"file:relative", false, "a relative path"},
        {path, true, "a bare path"},
        {escaped, true, "a bare path, escaped"},
        {"file://" + path, true, "not escaped"},
        {"file://" + (folder / "q#1?.jpg"), true, "with what would end a path elsewhere"},
        {"file://" + (folder / "100%2525.jpg"), true, "a name that looks escaped, escaped"},
        {"file://" + (folder / "100%25.jpg"), true, "the same, not escaped"},
        {"a b%.jpg", false, "no scheme and no path"},
        {"ftp://h/x", false, "another scheme"},
        {"", false, "nothing"},
    };
    for (const auto& [address, reads, why] : cases)
        EXPECT_EQ(fetched(address).has_value(), reads) << why;
    EXPECT_EQ(fetched("file://" + escaped), "bytes");
}

TEST(Artwork, IsReadFromItsAddressItself)
{
    const struct {
        const char* address;
        std::optional<std::string> bytes;
        const char* why;
    } cases[] = {
        {"data:image/png;base64,Zm9v", "foo", "base64"},
        {"data:;base64,Zm9vYg", "foob", "without padding"},
        {"data:;base64,Zm9v%0AYg%3D%3D", "foob", "escaped, in lines"},
        {"data:text/plain,a%20b", "a b", "escaped bytes"},
        {"data:;base64,!!!!", std::nullopt, "no base64"},
        {"data:image/png", std::nullopt, "no comma"},
        {"data:,", std::nullopt, "no bytes"},
    };
    for (const auto& [address, bytes, why] : cases)
        EXPECT_EQ(fetched(address), bytes) << why;
}

TEST(Artwork, KnowsHowManyPixelsItHas)
{
    const std::atomic<bool> stop{false};
    EXPECT_EQ(fetchArtwork("data:;base64," + encodeBase64(pngOf(20, 30)), stop).pixels(), 600);
    EXPECT_EQ(fetchArtwork("data:,text", stop).pixels(), 0);
}

// Answers one connection after the other with the given bytes, on a port of the loopback.
class Server
{
public:
    // At an empty answer it sets `silent` and says nothing for as long as it is listened to.
    explicit Server(std::vector<std::string> answers, std::atomic<bool>* silent = nullptr)
        : answers_(std::move(answers))
        , silent_(silent)
        , listening_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(listening_, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(listening_, 8), 0);
        ::getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~Server()
    {
        ::shutdown(listening_, SHUT_RDWR);
        thread_.join();
        ::close(listening_);
    }
    std::string address(const std::string& path = "/") const
    {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }

private:
    void serve()
    {
        for (const std::string& answer : answers_) {
            const int fd = ::accept(listening_, nullptr, nullptr);
            if (fd < 0)
                return;
            char request[4096];
            [[maybe_unused]] const auto got = ::recv(fd, request, sizeof request, 0);
            if (answer.empty()) {
                *silent_ = true;
                while (::recv(fd, request, sizeof request, 0) > 0) { }
            }
            std::string_view left = answer;
            while (!left.empty()) {
                const ssize_t sent = ::send(fd, left.data(), left.size(), MSG_NOSIGNAL);
                if (sent <= 0)
                    break;
                left.remove_prefix(static_cast<std::size_t>(sent));
            }
            ::close(fd);
        }
    }
    const std::vector<std::string> answers_;
    std::atomic<bool>* const silent_;
    int listening_, port_ = 0;
    std::thread thread_;
};

TEST(Artwork, IsFetchedWithinLimits)
{
    const std::string ok = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n";
    const std::string away = "HTTP/1.1 302 Found\r\nConnection: close\r\nLocation: ";
    {
        const Server server({ok + "bytes"});
        EXPECT_EQ(fetched(server.address()), "bytes");
    }
    {
        const Server server({away + "/there\r\n\r\n", ok + "moved"});
        EXPECT_EQ(fetched(server.address()), "moved");
    }
    {
        const Server server({away + "file:///etc/hostname\r\n\r\n"});
        EXPECT_EQ(fetched(server.address()), std::nullopt) << "a redirect to a file";
    }
    {
        const Server server(std::vector<std::string>(8, away + "/again\r\n\r\n"));
        EXPECT_EQ(fetched(server.address()), std::nullopt) << "a redirect without end";
    }
    {
        const Server server({"HTTP/1.1 404 Not Found\r\nConnection: close\r\n\r\nno cover"});
        EXPECT_EQ(fetched(server.address()), std::nullopt) << "a page that says so is no cover";
    }
    {
        const Server server({ok + std::string((16 << 20) + 1, 'x')});
        EXPECT_EQ(fetched(server.address()), std::nullopt) << "more than 16 MiB, unannounced";
    }
    {
        const Server server({ok + "bytes"});
        const std::atomic<bool> stop{true};
        EXPECT_EQ(fetchArtwork(server.address(), stop).bytes, nullptr) << "the program ends";
    }
    {
        std::atomic<bool> stop{false};
        const Server server({""}, &stop);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(fetchArtwork(server.address(), stop).bytes, nullptr) << "another track, while the server is silent";
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    }
}

} // namespace
} // namespace vitrel
