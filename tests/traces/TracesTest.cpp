#include "platform/appkit/NSImage.h"
#include "support/TemporaryFolder.h"
#include "traces/Replay.h"
#include "traces/TracePictures.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty, testing::Pair;

std::shared_ptr<const NSImage> picture(int width, int height, std::uint32_t pixel)
{
    Bitmap bitmap{width, height, std::vector<std::uint32_t>(std::size_t(width * height), pixel)};
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)));
}

struct Playing {
    Replay replay;
    explicit Playing(const std::string& text, std::optional<int> view = {}, const std::string& pictures = {})
        : replay(traceOfText(text, view, pictures))
    { }
    std::vector<std::pair<std::string, Value>> to(double time)
    {
        std::vector<std::pair<std::string, Value>> writes;
        replay.advance(time, [&](const Value& value, const std::string& key) { writes.emplace_back(key, value); });
        return writes;
    }
};

TEST(Replay, GivesEachLineOutOnceItsTimeHasCome)
{
    Playing in(R"({"t":0,"view":3,"key":"N","value":1,"date":1000}
{"t":0.5,"view":4,"key":"N","value":"another view's"}
{"t":0.5,"view":3,"key":"S","value":{"a":[true,2.5,"x",null],"image":1}}
{"t":0.25,"view":3,"key":"N","value":null}
{"t":2,"view":3,"key":"N","value":9223372036854775808}
{"t":0,"view":3,"key":"N","value":"of a second run","date":2000}
)");
    EXPECT_THAT(in.to(0), ElementsAre(Pair("N", Value(1))));
    EXPECT_EQ(in.replay.next(), 0.5);
    EXPECT_THAT(in.to(0.49), IsEmpty());
    const Value structure(Dictionary{{"a", Value(Array{true, 2.5, "x", Value()})}, {"image", 1}});
    EXPECT_THAT(in.to(0.5), ElementsAre(Pair("S", structure), Pair("N", Value()))) << "a time never goes back";
    EXPECT_EQ(in.replay.date().secondsSince1970, 1000.5);
    EXPECT_THAT(in.to(3), ElementsAre(Pair("N", Value(9223372036854775808.0))));
    EXPECT_EQ(in.replay.next(), std::nullopt);

    Playing other(R"({"t":1,"view":3,"key":"N","value":1}
{"t":2,"view":4,"key":"N","value":2})",
        4);
    EXPECT_THAT(other.to(9), ElementsAre(Pair("N", Value(2))));
    EXPECT_EQ(other.replay.dateAt(5).timeIntervalSinceReferenceDate(), 5) << "without a date";
}

TEST(Replay, LetsEachFrameSeeABooleanThatRoseAndFell)
{
    Playing in(R"({"t":1.00,"view":0,"key":"B","value":true}
{"t":1.01,"view":0,"key":"B","value":true}
{"t":1.01,"view":0,"key":"N","value":1}
{"t":1.02,"view":0,"key":"B","value":false}
{"t":1.03,"view":0,"key":"B","value":"text"}
{"t":1.04,"view":0,"key":"N","value":2})");
    EXPECT_THAT(in.to(2),
        ElementsAre(Pair("B", Value(true)), Pair("B", Value(true)), Pair("N", Value(1)), Pair("N", Value(2))));
    EXPECT_EQ(in.replay.next(), 2) << "at once";
    EXPECT_THAT(in.to(2.1), ElementsAre(Pair("B", Value(false)), Pair("B", Value("text"))));
    EXPECT_THAT(in.to(2.2), IsEmpty());
}

TEST(Replay, HearsWhatWasHeard)
{
    Playing in(R"({"t":1,"view":0,"sound":{"peak":0.5,"spectrum":[0.25,7,"x"],"beats":2}}
{"t":3,"view":0,"sound":{"peak":0,"spectrum":[0.1]}}
{"t":4,"view":0,"sound":{}})");
    ReplayedSound sound(in.replay);
    int told = 0;
    auto listening = sound.listen([&] { ++told; });
    in.to(0);
    sound.tell();
    EXPECT_TRUE(sound.rests());
    EXPECT_EQ(told, 0);
    EXPECT_GT(in.replay.heard().sinceBeat, 1e9);
    in.to(1);
    sound.tell();
    in.to(1.5);
    const SoundHeard heard = sound.hear();
    EXPECT_EQ(heard.peak, 0.5);
    EXPECT_THAT(std::vector<double>(heard.spectrum.begin(), heard.spectrum.begin() + 3), ElementsAre(0.25, 1, 0));
    EXPECT_EQ(heard.beats, 2u);
    EXPECT_EQ(heard.sinceBeat, 0.5);
    in.to(3);
    EXPECT_FALSE(sound.rests());
    listening.reset();
    sound.tell();
    EXPECT_EQ(told, 1);
    in.to(4);
    EXPECT_TRUE(sound.rests());
}

TEST(Trace, KeepsPicturesByWhatIsInThemAndReadsThemAgain)
{
    const TemporaryFolder folder;
    const std::string trace = folder.write("t.jsonl", "");
    EXPECT_EQ(pictureFolderOf(trace), std::filesystem::canonical(trace).string() + ".images");
    std::filesystem::create_symlink(trace, folder / "link");
    EXPECT_EQ(pictureFolderOf(folder / "link"), pictureFolderOf(trace));
    const auto red = picture(3, 2, 0xFFFF0000);
    std::string name;
    {
        TracePictures pictures(pictureFolderOf(trace));
        name = pictures.keep(red);
        EXPECT_EQ(pictures.keep(red), name);
        EXPECT_EQ(pictures.keep(picture(3, 2, 0xFFFF0000)), name);
        EXPECT_NE(pictures.keep(picture(2, 3, 0xFFFF0000)), name);
        EXPECT_NE(pictures.keep(picture(3, 2, 0xFFFF0001)), name);
        EXPECT_EQ(pictures.keep(std::make_shared<const NSImage>(NSSize{5, 5}, std::vector<NSBitmapImageRep>{})), "");
    }
    const auto line = [&](const std::string& image) {
        Playing in(R"({"t":0,"view":0,"key":"I","value":)" + image + "}\n"
                + R"({"t":0,"view":0,"key":"D","value":{"a":)" + image + "}}",
            {}, pictureFolderOf(trace));
        return in.to(0);
    };
    const auto read = line(R"({"image":[3,2],"hash":")" + name + "\"}");
    ASSERT_EQ(read.size(), 2u);
    ASSERT_TRUE(read[0].second.image());
    EXPECT_EQ(read[0].second.image()->representations().front().bitmap()->pixels,
        red->representations().front().bitmap()->pixels);
    EXPECT_EQ(read[1].second.dictionary()->at("a").image(), read[0].second.image()) << "one image";

    folder.write("up.png", TemporaryFolder::read(pictureFolderOf(trace) + "/" + name + ".png"));
    std::filesystem::create_symlink(folder / "up.png", pictureFolderOf(trace) + "/" + std::string(32, 'a') + ".png");
    for (const std::string& hash : {std::string("../up"), std::string(32, 'b'), std::string(32, 'a'), std::string()})
        EXPECT_EQ(line(R"({"image":[3,2],"hash":")" + hash + "\"}")[0].second, Value()) << hash;
    EXPECT_EQ(line(R"({"image":[3,2]})")[0].second, Value());
    EXPECT_TRUE(line(R"({"image":[3,2],"more":1})")[0].second.dictionary());
}

TEST(Trace, HostileLinesAreLeftOut)
{
    const std::string good = "{\"t\":1,\"view\":0,\"key\":\"K\",\"value\":1}";
    const std::string cases[] = {"", "x", "{", "[]", "{}", "null", std::string(100'000, '['),
        R"({"t":-1,"view":0,"key":"K","value":2})", R"({"t":"1","view":0,"key":"K","value":2})",
        R"({"t":1e999,"view":0,"key":"K","value":2})", R"({"t":1,"key":"K","value":2})",
        R"({"t":1,"view":0,"key":7,"value":2})", R"({"t":1,"view":0,"key":"K"})", R"({"t":1,"view":0,"sound":3})",
        R"({"t":1,"view":0,"key":"K","value":)" + std::string(65, '[') + std::string(65, ']') + "}"};
    for (const auto& bad : cases) {
        Playing in(bad + "\n" + good + "\r\n" + bad);
        EXPECT_THAT(in.to(1e7), ElementsAre(Pair("K", Value(1)))) << bad.substr(0, 60);
    }
    const TemporaryFolder folder;
    const std::string line = R"({"t":1,"view":0,"key":"K","value":")" + std::string(Trace::kMostOfLine, 'x') + "\"}\n";
    const auto large = readTrace(folder.write("large", line + good));
    ASSERT_TRUE(large);
    EXPECT_EQ(large->lines.size(), 1u);
    EXPECT_FALSE(readTrace(folder.write("text", "no trace")));
    EXPECT_FALSE(readTrace(folder / "none"));
    EXPECT_FALSE(readTrace(folder.path()));
    EXPECT_TRUE(readTrace(folder.write("empty", "\n"))) << "nothing was written to any input";
}

} // namespace
} // namespace vitrel
