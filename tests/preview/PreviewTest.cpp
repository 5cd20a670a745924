#include "programs/preview/PreviewLink.h"
#include "programs/preview/PreviewMessages.h"
#include "programs/thumbnails/Thumbnails.h"
#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vitrel {
namespace {

// A loop whose time is in the test's hand while its children are real processes.
struct Children {
    ManualClock clock;
    RunLoop loop{clock};
    TemporaryFolder folder;

    // A program that is a few lines for the shell.
    std::string program(const std::string& lines) const
    {
        const std::string path = folder.write("program", "#!/bin/sh\n" + lines);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
    // Turns the loop until it holds, `step` of its time at each turn. False if it never comes to that.
    bool until(const std::function<bool()>& holds, Seconds step = Seconds(0))
    {
        return RealLoop().turnUntil(holds, 60, [&] {
            clock.time += step;
            loop.turn();
        });
    }
    // How many lines the programs have left in a file.
    std::size_t lines(const std::string& name) const
    {
        const std::string text = TemporaryFolder::read(folder / name);
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }
};

using State = PreviewLink::State;

// Three crashes in a row are enough; a wish of the user starts over. A child that came back for ever would cost a core.
TEST(PreviewLink, StartsACrashedChildAgainButNotForEver)
{
    Children in;
    PreviewLink link(in.loop, in.program("echo x >>" + in.folder.path() + "/starts; exit 1\n"));
    ASSERT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.05)));
    EXPECT_EQ(in.lines("starts"), 3u);
    EXPECT_EQ(link.frame().pixels, nullptr);
    for (int turn = 0; turn < 50; ++turn) {
        in.clock.time += Seconds(1);
        in.loop.turn();
    }
    EXPECT_EQ(in.lines("starts"), 3u);
    link.reload();
    EXPECT_NE(link.state(), State::failed);
    EXPECT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.05)));
    EXPECT_EQ(in.lines("starts"), 6u);

    PreviewLink lost(in.loop, in.folder / "nothing");
    lost.resize(100, 50);
    lost.setShown(false);
    EXPECT_TRUE(in.until([&] { return lost.state() == State::failed; }, Seconds(0.05)));
}

TEST(PreviewLink, EndsAChildThatDoesNotAnswer)
{
    Children in;
    int changes = 0;
    PreviewLink link(in.loop, in.program("echo x >>" + in.folder.path() + "/starts; exec sleep 600\n"));
    link.onChange = [&] { ++changes; };
    ASSERT_TRUE(in.until([&] { return in.lines("starts") == 1; }));
    EXPECT_TRUE(in.until([&] { return link.state() == State::failed; }, Seconds(0.5)));
    EXPECT_EQ(in.lines("starts"), 3u);
    EXPECT_GE(changes, 3) << "who shows it is told";
}

// The real child: a red square that becomes a picture of the size that was asked for.
TEST(PreviewLink, ShowsWhatTheSettingsChooseInTheSizeAskedFor)
{
    Children in;
    const std::string source = in.folder.write(
        "red.json", R"({"patches":{"c":{"class":"QCClear","inputs":{"inputColor":"#ff0000ff"}}},"connections":[]})");
    const std::string file = in.folder / "red.qtz";
    ASSERT_EQ(std::system((VITREL_PROGRAM " make " + source + " " + file).c_str()), 0);
    setenv("XDG_CONFIG_HOME", (in.folder / "config").c_str(), 1);
    ASSERT_EQ(std::system((VITREL_PROGRAM " compositions add " + file + " 2>/dev/null").c_str()), 0);
    RealLoop real;
    PreviewLink link(real.loop, VITREL_PROGRAM);
    const auto shows = [&](std::uint32_t color, int width, int height) {
        const auto frame = link.frame();
        return frame.pixels && frame.width == width && frame.height == height
            && (frame.pixels[std::size_t(height - 1) * frame.wordsPerRow + std::size_t(width - 1)] & 0xFFFFFF) == color;
    };
    EXPECT_TRUE(real.turnUntil([&] { return shows(0xFF0000, 480, 270); }, 60));
    EXPECT_EQ(link.state(), State::playing);
    link.resize(200, 100);
    EXPECT_TRUE(real.turnUntil([&] { return shows(0xFF0000, 200, 100); }, 60));
    in.folder.write(
        "red.json", R"({"patches":{"c":{"class":"QCClear","inputs":{"inputColor":"#0000ffff"}}},"connections":[]})");
    ASSERT_EQ(std::system((VITREL_PROGRAM " make " + source + " " + file).c_str()), 0);
    link.reload();
    EXPECT_TRUE(real.turnUntil([&] { return shows(0x0000FF, 200, 100); }, 60));
    unsetenv("XDG_CONFIG_HOME");
}

int openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return int(std::distance(begin(all), end(all)));
}

// Whoever could leave one open with each message would soon have the window without any.
TEST(PreviewMessages, LeaveNoDescriptorOpenWhateverComes)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const auto send = [&](std::size_t size, std::size_t count) {
        const PreviewMessage messages[2]{{PreviewMessage::memory, 1, 1}, {}};
        const std::vector<int> descriptors(count, 1);
        std::vector<char> control(CMSG_SPACE(count * sizeof(int)));
        iovec part{const_cast<PreviewMessage*>(messages), size};
        msghdr whole{nullptr, 0, &part, 1, count ? control.data() : nullptr, count ? control.size() : 0, 0};
        if (cmsghdr* header = CMSG_FIRSTHDR(&whole)) {
            *header = {CMSG_LEN(count * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
            std::memcpy(CMSG_DATA(header), descriptors.data(), count * sizeof(int));
        }
        ASSERT_EQ(sendmsg(ends[0], &whole, 0), ssize_t(size));
    };
    const int before = openDescriptors();
    constexpr std::size_t kWhole = sizeof(PreviewMessage);
    for (const auto& [size, count] : std::vector<std::pair<std::size_t, std::size_t>>{
             {kWhole, 2}, {kWhole, 3}, {kWhole, 253}, {kWhole - 1, 1}, {kWhole + 1, 1}, {1, 40}, {2 * kWhole, 0}}) {
        send(size, count);
        const auto received = receivePreviewMessage(ends[1]);
        EXPECT_FALSE(received.message) << size << " bytes with " << count;
        EXPECT_EQ(received.descriptor, -1);
        EXPECT_FALSE(received.closed);
        EXPECT_EQ(openDescriptors(), before) << size << " bytes with " << count;
    }
    // No room for all of them in this process: the kernel cuts the list.
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit few{rlim_t(ends[1]) + 3, usual.rlim_max};
    send(kWhole, 20);
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_FALSE(receivePreviewMessage(ends[1]).message);
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_EQ(openDescriptors(), before);

    send(kWhole, 1);
    const auto received = receivePreviewMessage(ends[1]);
    ASSERT_TRUE(received.message);
    EXPECT_EQ(received.message->kind, PreviewMessage::memory);
    EXPECT_GE(received.descriptor, 0);
    EXPECT_NE(fcntl(received.descriptor, F_GETFD) & FD_CLOEXEC, 0);
    for (const int descriptor : {received.descriptor, ends[0], ends[1]})
        ::close(descriptor);
}

// Texts come whole, or not at all where the memory isn't what it is said to be: a reader must not fail on one that
// shrinks.
TEST(PreviewMessages, WordsComeWholeOrNotAtAll)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const auto receive = [&] {
        const auto [message, descriptor, closed] = receivePreviewMessage(ends[1]);
        return message ? receivedPreviewWords(*message, descriptor) : "none";
    };
    const int before = openDescriptors();
    for (const std::string& words : {std::string(), std::string("a\0b", 3), std::string(3'000'000, 'x')}) {
        EXPECT_TRUE(sendPreviewWords(ends[0], words));
        EXPECT_EQ(receive(), words);
    }
    EXPECT_FALSE(sendPreviewWords(ends[0], std::string(kMostPreviewWords + 1, 'x')));
    const auto sendMemory = [&](std::uint32_t said, bool isSealed, std::uint32_t kind) {
        const int memory = memfd_create("words", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        EXPECT_EQ(write(memory, "four", 4), 4);
        if (isSealed)
            fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK);
        EXPECT_TRUE(sendPreviewMessage(ends[0], {kind, said, 0}, memory));
        ::close(memory);
        return receive();
    };
    EXPECT_EQ(sendMemory(4, true, PreviewMessage::words), "four");
    EXPECT_EQ(sendMemory(4, false, PreviewMessage::words), "");
    EXPECT_EQ(sendMemory(5, true, PreviewMessage::words), "");
    EXPECT_EQ(sendMemory(0xFFFFFFFF, true, PreviewMessage::words), "");
    EXPECT_EQ(sendMemory(4, true, PreviewMessage::memory), "");
    EXPECT_TRUE(sendPreviewMessage(ends[0], {PreviewMessage::words, 4, 0}));
    EXPECT_EQ(receive(), "");
    EXPECT_EQ(openDescriptors(), before);
    ::close(ends[0]);
    ::close(ends[1]);
}

// The real player tells of its inputs, plays what it is told, and what the saver feeds comes back.
TEST(PreviewLink, APlayerTalksOfItsInputs)
{
    RealLoop real;
    TemporaryFolder folder;
    setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    const std::string file = folder.write("talk.json",
        R"({"inputs": {"Tint": "C.inputColor", "Name": "T.inputString", "How": "How.input"}, "values": {"Tint": "#ff0000"},
        "patches": {"C": {"class": "QCClear"}, "T": {"class": "QCTextImage"}, "How": {"class": "QCSplitter",
        "settings": {"portClass": "QCIndexPort", "indexLabels": ["a", "-", "b"]}}}})");
    PreviewLink link(real.loop, VITREL_PROGRAM, {"--panel", "--demo", "--file", file});
    std::string said;
    link.onWords = [&](const std::string& words) { said += words + "\n"; };
    const auto shows = [&](std::uint32_t color) {
        return [&link, color] { return link.frame().pixels && (link.frame().pixels[0] & 0xFFFFFF) == color; };
    };
    ASSERT_TRUE(real.turnUntil(shows(0xFF0000), 60));
    EXPECT_NE(said.find(R"({"file":")" + file + R"(","inputs":[{"key":"Tint","type":"color")"), said.npos) << said;
    EXPECT_NE(said.find(R"("labels":["a","b"])"), said.npos) << said;
    EXPECT_NE(said.find(R"("value":"#ff0000ff")"), said.npos) << said;
    for (const char* words : {"nonsense", "{\"set\": 3}", R"({"set": {"None": 1, "Name": null, "Tint": "#0000ff"}})"})
        link.say(words);
    EXPECT_TRUE(real.turnUntil(shows(0x0000FF), 60));
    EXPECT_TRUE(real.turnUntil([&] { return said.find(R"("Name":"Harbour Lights")") != said.npos; }, 60)) << said;
}

// A red pixel as a PNG file, made with another program.
constexpr const char* kRed
    = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMBAQDJ/pLvAAAAAElFTkSuQmCC";

struct Pictures : Children {
    std::string cache = folder / "cache";
    std::string picture = folder.write("red.b64", kRed);
    std::vector<std::string> ready;

    // Renders as the real one is told to: its fifth word is the file to write.
    std::string rendering(const std::string& first = "")
    {
        return program("echo x >>" + folder.path() + "/renders\n" + first + "base64 -d " + picture + " >\"$4\"\n");
    }
    std::unique_ptr<Thumbnails> thumbnails(const std::string& by)
    {
        auto made = std::make_unique<Thumbnails>(loop, by, cache);
        made->onReady = [this](const std::string& path) { ready.push_back(path); };
        return made;
    }
};

TEST(Thumbnails, RenderOnceAndKeepForTheNextProcess)
{
    Pictures in;
    const std::string a = in.folder.write("a.qtz", "a"), b = in.folder.write("b.qtz", "b");
    {
        const auto thumbnails = in.thumbnails(in.rendering());
        EXPECT_EQ(thumbnails->thumbnail(a), nullptr);
        thumbnails->want({a, in.folder / "gone.qtz", b});
        ASSERT_TRUE(in.until([&] { return in.ready.size() == 2; }));
        const auto picture = thumbnails->thumbnail(a);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->pixels.front() & 0xFFFFFF, 0xFF0000u);
        EXPECT_TRUE(thumbnails->thumbnail(b));
        thumbnails->want({a, b});
        EXPECT_EQ(in.lines("renders"), 2u) << "a file that isn't there starts nothing";
    }
    const auto later = in.thumbnails(in.rendering());
    EXPECT_TRUE(later->thumbnail(b)) << "from the cache";
    in.folder.write("b.qtz", "another size");
    in.clock.time += Seconds(10);
    EXPECT_EQ(later->thumbnail(b), nullptr) << "the file has changed";
    later->want({b});
    EXPECT_TRUE(in.until([&] { return later->thumbnail(b) != nullptr; }));
    EXPECT_EQ(in.lines("renders"), 3u);
}

// A mark that comes back with each start of the window, or words that a stranger's process has made up.
TEST(Thumbnails, KeepWhatTheFileSaysOfItself)
{
    Pictures in;
    const std::string a = in.folder.write("a.qtz", "a"), odd = in.folder.write("odd.qtz", "o");
    const std::string said
        = in.folder.write("said.json", R"({"title": "T", "author": 3, "missing": ["X", 4, "Y"], "more": []})");
    const std::string by = in.rendering(
        "case \"${12}\" in */odd.qtz) printf '[[[[[[[[[[' >\"${10}\";; *) cp " + said + " \"${10}\";; esac\n");
    for (const bool again : {false, true}) {
        const auto thumbnails = in.thumbnails(again ? "/nowhere" : by);
        if (!again)
            thumbnails->want({a, odd});
        ASSERT_TRUE(again || in.until([&] { return in.ready.size() == 2; }));
        ASSERT_TRUE(thumbnails->thumbnail(a));
        ASSERT_TRUE(thumbnails->facts(a));
        EXPECT_EQ(*thumbnails->facts(a), (CompositionFacts{"T", "", "", {"X", "Y"}}));
        EXPECT_EQ(thumbnails->facts(odd), nullptr);
    }
}

// What comes along has its picture at once, or is rendered with what the demonstration plays and shows.
TEST(Thumbnails, OfWhatComesAlongAreThoseThatComeWithIt)
{
    Pictures in;
    const std::string vinyl = in.folder.write("Vinyl.qtz", "v"), tide = in.folder.write("Tide.qtz", "t"),
                      broken = in.folder.write("Broken.qtz", "b"), own = in.folder.write("own.qtz", "o");
    const std::string png = in.folder / "Vinyl.png";
    ASSERT_EQ(std::system(("base64 -d " + in.picture + " >" + png).c_str()), 0);
    const auto thumbnails = in.thumbnails(in.rendering("echo \"$2 ${12}\" >>" + in.folder.path() + "/told\n"));
    thumbnails->comesAlong(vinyl, png);
    thumbnails->comesAlong(tide, "");
    thumbnails->comesAlong(broken, in.folder.write("Broken.jpg", "no picture"));
    const auto picture = thumbnails->thumbnail(vinyl);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->pixels.front() & 0xFFFFFF, 0xFF0000u);
    thumbnails->want({vinyl, tide, broken, own});
    ASSERT_TRUE(in.until([&] { return in.ready.size() == 3; }));
    EXPECT_EQ(TemporaryFolder::read(in.folder / "told"),
        "--demo " + tide + "\n--demo " + broken + "\n--without-data " + own + "\n");
}

// A composition that crashes or hangs its renderer costs its own picture, once, and not those behind it.
TEST(Thumbnails, GiveUpOnWhatCrashesOrHangsAndGoOn)
{
    Pictures in;
    const std::string crash = in.folder.write("crash.qtz", "c"), hang = in.folder.write("hang.qtz", "h"),
                      good = in.folder.write("good.qtz", "g");
    const std::string by = in.rendering("case \"${12}\" in *crash*) kill -SEGV $$;; *hang*) exec sleep 600;; esac\n");
    const auto thumbnails = in.thumbnails(by);
    thumbnails->want({crash, hang, good});
    ASSERT_TRUE(in.until([&] { return in.ready.size() == 3; }, Seconds(0.05)));
    EXPECT_EQ(thumbnails->thumbnail(crash), nullptr);
    EXPECT_EQ(thumbnails->thumbnail(hang), nullptr);
    EXPECT_TRUE(thumbnails->thumbnail(good));
    in.clock.time += Seconds(10);
    in.thumbnails(by)->want({crash, hang});
    for (int turn = 0; turn < 20; ++turn)
        in.loop.turn();
    EXPECT_EQ(in.lines("renders"), 3u) << "nor is it tried again while the file is the same";
}

TEST(Thumbnails, LeaveNothingBehindWithoutACacheAndWhenTheyGoInTheMiddle)
{
    Pictures in;
    const std::string a = in.folder.write("a.qtz", "a");
    in.cache.clear();
    auto thumbnails = in.thumbnails(in.rendering("exec sleep 600\n"));
    thumbnails->want({a});
    ASSERT_TRUE(in.until([&] { return in.lines("renders") == 1; }));
    thumbnails.reset(); // must not wait for the child
    in.clock.time += Seconds(100);
    EXPECT_EQ(in.loop.turn(), 0u);
    EXPECT_TRUE(in.ready.empty());
}

} // namespace
} // namespace vitrel
