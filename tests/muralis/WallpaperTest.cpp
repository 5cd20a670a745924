#include "programs/muralis/wallpaper/Wallpaper.h"
#include "platform/messagebus/BusTypes.h"

#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"
#include "programs/Program.h"
#include "support/BusDaemon.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <regex>

namespace vitrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// What a desktop was told, in order, by whatever thread stands in for it.
class Told
{
public:
    void add(const std::string& line)
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
        changed_.notify_all();
    }
    // Waits for as many.
    std::vector<std::string> lines(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

// Plasma's shell and Xfce's store on a bus of the test's own.
class BusDesktops
{
public:
    BusDesktops(const std::string& address, Told& told)
        : connection_(sdbus::createSessionBusConnectionWithAddress(address))
        , plasma_(sdbus::createObject(*connection_, sdbus::ObjectPath("/PlasmaShell")))
        , xfce_(sdbus::createObject(*connection_, sdbus::ObjectPath("/org/xfce/Xfconf")))
    {
        const auto plasma = [this, &told](const std::string& script) -> std::string {
            static const std::regex change(
                R"(d\.id != (\d+)\).*writeConfig\('Image', ("[^"]*")\); d\.wallpaperPlugin = ("[^"]*");)");
            std::smatch said;
            if (!std::regex_search(script, said, change))
                return R"([{"id":7,"image":)" + first_ + R"(},7,{"id":"x"},{"id":9,"image":)" + second_ + "}]\n";
            told.add(said.str(1) + " " + said.str(2) + " " + said.str(3));
            (said.str(1) == "7" ? first_ : second_) = said.str(2) + ", \"plugin\":" + said.str(3);
            return "";
        };
        offerMethod(*plasma_, "org.kde.PlasmaShell", "evaluateScript", plasma);
        finish(*plasma_);
        constexpr const char* interface = "org.xfce.Xfconf";
        using Properties = std::map<std::string, sdbus::Variant>;
        offerMethod(*xfce_, interface, "GetAllProperties", [this](const std::string& channel, const std::string& base) {
            if (channel != "xfce4-desktop" || base != "/backdrop")
                throw sdbus::Error(BusErrorName("org.xfce.Error"), channel);
            return Properties{{"/backdrop/single", sdbus::Variant(true)}, {kProperty, sdbus::Variant(image_)}};
        });
        offerMethod(*xfce_, interface, "GetProperty",
            [this](const std::string&, const std::string&) { return sdbus::Variant(image_); });
        offerMethod(*xfce_, interface, "SetProperty",
            [this, &told](const std::string&, const std::string& key, const sdbus::Variant& value) {
                image_ = value.get<std::string>();
                told.add(key + " " + image_);
            });
        finish(*xfce_);
        connection_->requestName(BusName("org.kde.plasmashell"));
        connection_->requestName(BusName(interface));
        connection_->enterEventLoopAsync();
    }
    ~BusDesktops() { connection_->leaveEventLoop(); }
    void choose(const std::string& image) { image_ = image; }

    static constexpr const char* kProperty = "/backdrop/screen0/monitorA B/workspace0/last-image";

private:
    std::string image_ = "/own.png";
    std::string first_ = R"("file:///own it's \u00e9.png", "plugin":"org.kde.slideshow")";
    std::string second_ = R"("file:///second.png", "plugin":"org.kde.image")";
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> plasma_, xfce_;
};

// sway's socket: a message a connection.
class Sway
{
public:
    Sway(const std::string& path, Told& told)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        ::listen(socket_, 8);
        thread_ = std::thread([this, &told] {
            for (int caller; (caller = ::accept(socket_, nullptr, nullptr)) >= 0; ::close(caller))
                answer(caller, told);
        });
    }
    ~Sway()
    {
        ::shutdown(socket_, SHUT_RDWR);
        thread_.join();
        ::close(socket_);
    }

private:
    static void answer(int caller, Told& told)
    {
        char head[14];
        std::uint32_t size, type;
        if (::recv(caller, head, sizeof head, MSG_WAITALL) != sizeof head || std::string(head, 6) != "i3-ipc")
            return;
        std::memcpy(&size, head + 6, 4);
        std::memcpy(&type, head + 10, 4);
        std::string text(size, 0);
        if (size > 0)
            ::recv(caller, text.data(), size, MSG_WAITALL);
        if (type == 0)
            told.add(text);
        text = type == 3 ? kOutputs : type == 9 ? kConfiguration : R"([{"success":true}])";
        size = std::uint32_t(text.size());
        std::memcpy(head + 6, &size, 4);
        text.insert(0, head, sizeof head);
        ::send(caller, text.data(), text.size(), MSG_NOSIGNAL);
    }
    static constexpr const char* kOutputs = R"([{"name":"eDP-1","current_mode":{"width":640,"height":360}},
        {"name":"DP \"2","current_mode":{"width":300,"height":400}},{"name":"off"},7,
        {"name":"x","current_mode":{"width":"9","height":0}}])";
    static constexpr const char* kConfiguration
        = R"({"config":"set $w ~/w.png\noutput * pos 0 0 bg /first.png fit res 1x1\noutput \"eDP-1\" {\n)"
          R"(  background ~/my.png tile\n}\noutput * pos 0 0\noutput eDP-1 bg $w fill\n"})";

    int socket_;
    std::thread thread_;
};

class MuralisWallpaper : public testing::Test
{
protected:
    // Muralis with the demonstration's player.
    void start(Program::Environment environment)
    {
        environment.insert({{"XDG_CACHE_HOME", cache_}, {"SWAYSOCK", ""}, {"XDG_CURRENT_DESKTOP", ""},
            {"DBUS_SESSION_BUS_ADDRESS", address_}});
        program_ = std::make_unique<Program>(
            std::vector<std::string>{"--demo", "--wallpaper", "--port", std::to_string(20000 + ::getpid() % 20000)},
            environment);
    }
    // What was told from `lines` on, once it has ended.
    std::vector<std::string> toldAtTheEnd(std::size_t lines)
    {
        program_->signal(SIGTERM);
        EXPECT_EQ(program_->wait(), 0);
        auto all = told_.lines(lines);
        all.erase(all.begin(), all.begin() + std::ptrdiff_t(std::min(lines, all.size())));
        return all;
    }

    TemporaryFolder folder_;
    const std::string cache_ = folder_ / "it's a cache", address_ = "unix:path=" + (folder_ / "bus");
    const std::string pictures_ = cache_ + "/vitrel/wallpapers/";
    Told told_;
    std::unique_ptr<Program> program_;
};

// Against the real library, with its store in a file.
TEST_F(MuralisWallpaper, IsSetAndPutBackOnGnome)
{
    folder_.write("schemas/background.gschema.xml", R"(<schemalist>
        <schema id="org.gnome.desktop.background" path="/org/gnome/desktop/background/">
        <key name="picture-uri" type="s"><default>''</default></key>
        <key name="picture-uri-dark" type="s"><default>''</default></key></schema></schemalist>)");
    ASSERT_EQ(std::system(("glib-compile-schemas " + (folder_ / "schemas")).c_str()), 0);
    const std::string store = "glib-2.0/settings/keyfile", own = "picture-uri='file:///home/a%20b/own.png'",
                      dark = "picture-uri-dark='file:///dark \"$(touch x)`.png'";
    folder_.write(store, "[org/gnome/desktop/background]\n" + own + "\n" + dark + "\n");
    start({{"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}, {"GSETTINGS_SCHEMA_DIR", folder_ / "schemas"},
        {"GSETTINGS_BACKEND", "keyfile"}, {"XDG_CONFIG_HOME", folder_.path()}});
    const std::string address = "\"file://" + (folder_ / "it's%20a%20cache/vitrel/wallpapers/");
    const auto both = testing::AllOf(HasSubstr("picture-uri=" + address), HasSubstr("picture-uri-dark=" + address));
    for (int k = 0; k < 4000 && !testing::Matches(both)(TemporaryFolder::read(folder_ / store)); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_THAT(TemporaryFolder::read(folder_ / store), both);
    int pictures = 0;
    for (const auto& entry : fs::directory_iterator(pictures_)) {
        if (entry.path().extension() != ".jpg")
            continue;
        ++pictures;
        const std::string bytes = TemporaryFolder::read(entry.path());
        const auto image
            = NSImage::imageWithData(ByteView(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
        ASSERT_TRUE(image);
        EXPECT_EQ(image->size(), (NSSize{1920, 1080})) << "no display tells its size";
    }
    EXPECT_EQ(pictures, 1);
    program_->signal(SIGTERM);
    EXPECT_EQ(program_->wait(), 0);
    EXPECT_THAT(TemporaryFolder::read(folder_ / store), testing::AllOf(HasSubstr(own), HasSubstr(dark)));
}

// A run that was killed leaves its picture; the next one still knows the user's. What the user chose meanwhile stays.
TEST_F(MuralisWallpaper, OutlivesAKillAndRespectsAnotherChoice)
{
    const BusDaemon bus(address_);
    BusDesktops desktops(address_, told_);
    const std::string key = std::string(BusDesktops::kProperty) + " ";
    start({{"XDG_CURRENT_DESKTOP", "XFCE"}});
    EXPECT_THAT(told_.lines(1), ElementsAre(StartsWith(key + pictures_)));
    program_->signal(SIGKILL);
    program_->wait();
    start({{"XDG_CURRENT_DESKTOP", "XFCE"}});
    ASSERT_EQ(told_.lines(2).size(), 2u);
    EXPECT_THAT(toldAtTheEnd(2), ElementsAre(key + "/own.png"));
    start({{"XDG_CURRENT_DESKTOP", "XFCE"}});
    ASSERT_EQ(told_.lines(4).size(), 4u);
    desktops.choose("/chosen.png");
    EXPECT_THAT(toldAtTheEnd(4), ElementsAre());
}

// Each of Plasma's desktops gets its own back, and what showed it.
TEST_F(MuralisWallpaper, IsSetAndPutBackOnPlasma)
{
    const BusDaemon bus(address_);
    BusDesktops desktops(address_, told_);
    start({{"XDG_CURRENT_DESKTOP", "KDE"}});
    const std::string picture = " \"file://" + (folder_ / "it's%20a%20cache/vitrel/wallpapers/");
    EXPECT_THAT(told_.lines(2),
        ElementsAre(
            testing::AllOf(StartsWith("7" + picture), EndsWith("\"org.kde.image\"")), StartsWith("9" + picture)));
    EXPECT_THAT(toldAtTheEnd(2),
        ElementsAre(
            R"(7 "file:///own it's \u00e9.png" "org.kde.slideshow")", R"(9 "file:///second.png" "org.kde.image")"));
}

TEST_F(MuralisWallpaper, IsSetAndPutBackOnSway)
{
    Sway sway(folder_ / "sway", told_);
    start({{"SWAYSOCK", folder_ / "sway"}});
    const auto set = told_.lines(2);
    ASSERT_EQ(set.size(), 2u);
    EXPECT_THAT(
        set[0], testing::AllOf(StartsWith("output \"eDP-1\" bg \"" + pictures_), HasSubstr("-640x360.jpg\" fill")));
    EXPECT_THAT(set[1], testing::AllOf(StartsWith("output \"DP \\\"2\" bg \""), HasSubstr("-300x400.jpg\" fill")));
    EXPECT_THAT(
        toldAtTheEnd(2), ElementsAre("output \"eDP-1\" bg ~/my.png tile", "output \"DP \\\"2\" bg /first.png fit"));
}

TEST_F(MuralisWallpaper, SaysOnceThatADesktopOffersNoWay)
{
    start({{"XDG_CURRENT_DESKTOP", "KDE"}}); // and no bus
    for (int k = 0; k < 2000 && !program_->errors().ends_with('\n'); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(program_->saidOneError()) << program_->errors();
    program_->signal(SIGTERM);
    EXPECT_EQ(program_->wait(), 0) << "it serves all the same";
}

TEST_F(MuralisWallpaper, SaysOnceThatItsFolderCantBeWritten)
{
    Sway sway(folder_ / "sway", told_);
    start({{"SWAYSOCK", folder_ / "sway"}, {"XDG_CACHE_HOME", folder_.write("file", "")}});
    for (int k = 0; k < 2000 && !program_->errors().ends_with('\n'); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_THAT(program_->errors(), HasSubstr("There will be no wallpaper: " + (folder_ / "file/vitrel/wallpapers")));
    program_->signal(SIGTERM);
    EXPECT_EQ(program_->wait(), 0) << "it serves all the same";
}

// Of tracks in a row the last counts, a late cover isn't awaited with the former wallpaper, and few pictures are kept.
TEST(WallpaperPictures, FollowTheTracksAndAreFew)
{
    TestSurroundings test;
    TemporaryFolder folder;
    std::vector<std::string> values;
    std::string current = "own";
    WallpaperSetting setting{"key", {64, 36}, true, [&] { return std::optional(current); },
        [&](const std::string& value) { values.push_back(current = value); },
        [](const std::string& file) { return file; }};
    Wallpaper wallpaper(test.surroundings, folder.path(), {setting});
    const auto cover = [](std::uint32_t colour) {
        Bitmap bitmap{2, 2, std::vector<std::uint32_t>(4, 0xFF000000 + colour)};
        return std::make_shared<const Bytes>(*pngRepresentation(bitmap));
    };
    for (std::uint32_t k = 0; k < Wallpaper::kMostFiles + 4; ++k) {
        wallpaper.show(cover(k * 16));
        wallpaper.show(std::make_shared<const Bytes>(Bytes{1, 2, 3})); // no image: nothing changes
        wallpaper.show(cover(k * 16));
        wallpaper.flush();
        EXPECT_EQ(values.size(), k + 1);
    }
    EXPECT_EQ(folder.count(), Wallpaper::kMostFiles + 1) << "and the former one's file";
    wallpaper.show(nullptr);
    test.loop.turn();
    wallpaper.flush();
    EXPECT_NE(current, "own");
    test.clock.time += Wallpaper::kPatience;
    test.loop.turn();
    wallpaper.flush();
    EXPECT_EQ(current, "own");
    wallpaper.show(cover(1));
    wallpaper.flush();
    EXPECT_NE(current, "own");
    wallpaper.putBack();
    EXPECT_EQ(current, "own");
    wallpaper.show(cover(2));
    wallpaper.flush();
    EXPECT_EQ(current, "own");
}

} // namespace
} // namespace vitrel
