// sway, through its socket: https://manpages.debian.org/bookworm/sway/sway-ipc.7.en.html
#include "programs/muralis/wallpaper/Desktops.h"

#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <set>
#include <sstream>

namespace vitrel {
namespace {

using Json = nlohmann::json;

enum class Message : std::uint32_t { RunCommand = 0, GetOutputs = 3, GetConfig = 9 };
constexpr std::string_view kMagic = "i3-ipc";
constexpr std::size_t kMostAnswer = 8 << 20; // bytes

class Connection
{
public:
    explicit Connection(const std::string& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path)
            return;
        path.copy(address.sun_path, path.size());
        socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval patience{.tv_sec = kDesktopPatience / std::chrono::seconds(1), .tv_usec = 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        isOpen_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Connection()
    {
        if (socket_ >= 0)
            ::close(socket_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool send(const std::string& bytes)
    {
        return isOpen_ && ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == ssize_t(bytes.size());
    }
    bool receive(char* bytes, std::size_t size)
    {
        return isOpen_ && ::recv(socket_, bytes, size, MSG_WAITALL) == ssize_t(size);
    }

private:
    int socket_ = -1;
    bool isOpen_ = false;
};

// Ahead of each message: the magic, then its length and its type in the machine's order of bytes.
struct Header {
    std::uint32_t length, type;
};

// The answer, JSON; discarded without one.
Json ask(const std::string& socket, Message message, const std::string& payload = {})
{
    const Header header{std::uint32_t(payload.size()), std::uint32_t(message)};
    std::string bytes(kMagic);
    bytes.append(reinterpret_cast<const char*>(&header), sizeof header).append(payload);
    const Json none(Json::value_t::discarded);
    Connection connection(socket);
    std::array<char, kMagic.size() + sizeof(Header)> head{};
    if (!connection.send(bytes) || !connection.receive(head.data(), head.size())
        || std::string_view(head.data(), kMagic.size()) != kMagic)
        return none;
    Header answered{};
    std::memcpy(&answered, head.data() + kMagic.size(), sizeof answered);
    if (answered.length == 0 || answered.length > kMostAnswer)
        return none;
    std::string text(answered.length, '\0');
    return connection.receive(text.data(), text.size()) ? Json::parse(text, nullptr, false) : none;
}

// As a word of sway's own command language.
std::string quoted(const std::string& word)
{
    std::string out = "\"";
    for (const char c : word) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

// What the configuration says behind "output NAME bg", the last that holds for the output.
std::string background(const std::string& socket, const std::string& name)
{
    std::string found = "#000000 solid_color";
    const auto answer = ask(socket, Message::GetConfig);
    std::istringstream text(
        answer.is_object() && answer.value("config", Json()).is_string() ? answer["config"].get<std::string>() : "");
    static const std::set<std::string> modes{"stretch", "fill", "fit", "center", "tile", "solid_color"};
    bool inBlock = false; // in braces that follow our output's name
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        std::string word, said;
        words >> word;
        bool isOurs = inBlock;
        if (word == "output") {
            words >> word;
            isOurs = word == "*" || word == name || word == "\"" + name + "\"";
            inBlock = isOurs && line.find('{') != line.npos;
            words >> word;
        } else if (word == "}") {
            inBlock = isOurs = false;
        }
        if (!isOurs)
            continue;
        while (word != "bg" && word != "background" && words >> word) { }
        while (words >> word && !modes.contains(word))
            said += word + " ";
        // What the configuration's variables stand for isn't told.
        if (modes.contains(word) && !said.empty() && said.find('$') == said.npos)
            found = said + word;
    }
    return found;
}

} // namespace

std::vector<WallpaperSetting> swaySettings(const std::string& socket)
{
    std::vector<WallpaperSetting> settings;
    const auto outputs = ask(socket, Message::GetOutputs);
    for (const auto& entry : outputs.is_array() ? outputs : Json::array()) {
        const Json mode = entry.is_object() ? entry.value("current_mode", Json()) : Json();
        if (!mode.is_object() || !entry.value("name", Json()).is_string() || !mode.value("width", Json()).is_number()
            || !mode.value("height", Json()).is_number())
            continue; // switched off
        const std::string name = entry["name"];
        const NSSize size{mode["width"].get<double>(), mode["height"].get<double>()};
        if (!(size.width >= 1 && size.height >= 1))
            continue;
        settings.push_back(
            {name, pictureSize(size), false, [socket, name] { return std::optional(background(socket, name)); },
                [socket, name](const std::string& value) {
                    ask(socket, Message::RunCommand, "output " + quoted(name) + " bg " + value);
                },
                [](const std::string& file) { return quoted(file) + " fill"; }});
    }
    return settings;
}

} // namespace vitrel
