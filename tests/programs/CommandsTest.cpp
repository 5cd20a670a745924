#include "programs/Program.h"
#include "programs/vitrel/Arguments.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/resource.h>

#include <filesystem>

namespace vitrel {
namespace {

using Words = std::vector<std::string>;

constexpr const char* kSource = R"json({
  "inputs": {"A": "Twice.a", "Text": "Words.inputString", "Tint": "Clear.inputColor"},
  "outputs": {"Twice": "Twice.outputResult", "Time": "Time.outputTime", "Words": "Words.outputImage"},
  "patches": {
    "Clear": {"class": "QCClear"},
    "Time": {"class": "QCTime"},
    "Twice": {"class": "QCExpression", "settings": {"expression": "a * 2"}, "inputs": {"a": 1.5}},
    "Words": {"class": "QCTextImage"}
  }
})json";

class Commands : public testing::Test
{
protected:
    void SetUp() override { printed({"make", folder_.write("source.json", kSource), made_}); }
    std::string printed(Words words)
    {
        Program program(std::move(words));
        EXPECT_TRUE(program.endsWell()) << program.errors();
        return program.output();
    }
    TemporaryFolder folder_;
    const std::string made_ = folder_ / "made.qtz";
};

TEST_F(Commands, WrongUseIsTwoAndFailureIsOneEachWithOneLine)
{
    const std::string composition = made_, junk = folder_.write("junk.qtz", "no plist");
    const std::string lost = folder_ / "no-such-file";
    const std::pair<Words, int> cases[] = {
        {{"--no-such-option"}, 2},
        {{"inspect"}, 2},
        {{"inspect", lost}, 1},
        {{"inspect", junk}, 1},
        {{"inspect", "--graph", folder_ / "x.pdf", composition}, 2},
        {{"inspect", "--graph", folder_ / "x.svg", "--source", composition}, 2},
        {{"inspect", "--graph", folder_ / "x.svg", "--open", "None", composition}, 1},
        {{"inspect", "--graph", lost + "/x.svg", composition}, 1},
        {{"make", composition}, 2},
        {{"make", lost, folder_ / "x.qtz"}, 1},
        {{"make", junk, folder_ / "x.qtz"}, 1},
        {{"make", folder_ / "source.json", lost + "/x.qtz"}, 1},
        {{"evaluate", junk}, 1},
        {{"evaluate", composition, "--at", "soon"}, 2},
        {{"evaluate", composition, "--at", "-1"}, 2},
        {{"evaluate", composition, "--fps", "0"}, 2},
        {{"evaluate", composition, "--input", "A"}, 2},
        {{"evaluate", composition, "--input", "B=1"}, 1},
        {{"profile", junk}, 1},
        {{"profile", composition, "--size", "big"}, 2},
        {{"snapshot", composition}, 2},
        {{"snapshot", "--output", folder_ / "x.png", "--size", "big"}, 2},
        {{"snapshot", "--output", folder_ / "x.png", junk}, 1},
        {{"snapshot", "--output", folder_ / "x.png", "--system-version", "ten"}, 2},
        {{"play", "--window=0x0"}, 2},
        {{"--window", "640x480", "--root"}, 2},
        {{"--window-id", "0xZZ"}, 2},
        {{"--window-id"}, 2},
        {{"--watch"}, 2},
        {{"--input", "nothing", "--window"}, 2},
        {{"play", "--window", junk}, 1},
        {{"play", junk}, 1},
        {{"play", "one.qtz", "two.qtz"}, 2},
        {{}, 1}, // there is no display
        {{"-root"}, 1},
        {{"-window-id", "17"}, 1},
        {{"play", "--window", "--display", ":64999"}, 1},
        {{"configure"}, 1},
        {{"configure", "--nonsense"}, 2},
        {{"idle"}, 1},
        {{"idle", "--after", "0"}, 2},
        {{"idle", "--after", "soon"}, 2},
        {{"idle", "--nonsense"}, 2},
    };
    for (const auto& [words, code] : cases) {
        Program program(words);
        EXPECT_TRUE(program.fails(code)) << testing::PrintToString(words) << program.errors();
        EXPECT_EQ(program.output(), "") << testing::PrintToString(words);
    }
}

TEST_F(Commands, HelpAndVersionArePrintedByAll)
{
    EXPECT_TRUE(printed({"--version"}).starts_with("vitrel "));
    EXPECT_NE(printed({"--help"}).find("Usage:"), std::string::npos);
    EXPECT_NE(printed({"play", "--help"}).find("Usage:"), std::string::npos);
}

TEST_F(Commands, InspectTellsInputsOutputsAndPatches)
{
    const std::string text = printed({"inspect", made_});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
    EXPECT_EQ(text.find(R"({"inputs":[)"), 0u) << text;
    EXPECT_NE(text.find(R"({"key":"A","type":"number","value":1.5})"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("QCExpression":1)"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("unsupported":{})"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("stoodIn":{})"), std::string::npos) << text;
    // The text form gives the same composition again.
    const std::string again = folder_ / "again.qtz";
    printed({"make", folder_.write("again.json", printed({"inspect", "--source", made_})), again});
    EXPECT_EQ(printed({"inspect", again}), text);
}

// The place and the nearest name, as compilers tell them; what is made of it, and which code is given.
TEST_F(Commands, ATextIsJudgedByAllThatReadIt)
{
    const auto source = [&](const std::string& port, const std::string& patch) {
        return folder_.write("judged.json",
            R"({"patches": {"C": {"class": "QCClear", "inputs": {")" + port + R"(": "#ff0000"}})" + patch + "}}");
    };
    const std::string out = folder_ / "judged.qtz", picture = folder_ / "judged.png",
                      unused = R"(, "L": {"class": "QCLFO"})";
    const std::tuple<std::string, std::string, Words, int, const char*> cases[] = {
        {"inputColor", "", {"make", "--strict"}, 0, ""},
        {"inputColor", unused, {"make"}, 0, ":1:78: warning: nothing shows \"L\""},
        {"inputColor", unused, {"make", "--strict"}, 1, ":1:78: warning: nothing shows \"L\""},
        {"inputColour", "", {"make"}, 1,
            ":1:51: error: \"C\" (QCClear) has no input \"inputColour\"; \"inputColor\" is near\n"},
        {"inputColour", "", {"inspect"}, 0, ":1:51: error: "},
        {"inputColour", "", {"snapshot", "--size", "8x8", "--after", "0.1", "--output", picture}, 0, ":1:51: error: "},
        {"inputColor", "]", {"inspect"}, 1, ":1:76: error: unexpected ',' or ']'; expected ',' or '}'\n"},
    };
    for (const auto& [port, patch, words, code, told] : cases) {
        Words all = words;
        const std::string path = source(port, patch);
        all.push_back(path);
        if (words[0] == "make")
            all.push_back(out);
        std::filesystem::remove(out);
        Program program(all);
        EXPECT_EQ(program.wait(10), code) << testing::PrintToString(all) << program.errors();
        const std::string errors = program.errors();
        EXPECT_TRUE(errors.starts_with(*told ? path + told : "")) << errors;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), *told ? 1 : 0) << errors;
        EXPECT_EQ(std::filesystem::exists(out), words[0] == "make" && code == 0) << testing::PrintToString(all);
    }
}

TEST_F(Commands, ProfileTellsCostsAndWishes)
{
    Program program({"profile", "--seconds", "0.2", "--size", "64x36", "--json", made_});
    if (program.wait() == 1 && program.errors().find("OpenGL") != std::string::npos)
        GTEST_SKIP() << "no OpenGL here";
    const auto told = nlohmann::json::parse(program.output());
    EXPECT_GT(told["fps"], 1);
    EXPECT_GT(told["frames"], 1);
    EXPECT_EQ(told["size"], nlohmann::json::array({64, 36}));
    std::map<std::string, nlohmann::json> patches;
    for (const auto& patch : told["patches"])
        patches[patch["patch"]] = patch;
    EXPECT_EQ(patches["Clear"]["class"], "QCClear");
    EXPECT_EQ(patches["Clear"]["calls"], 1);
    EXPECT_GT(patches["Clear"]["drawing"], 0);
    EXPECT_EQ(told["wishes"].size(), 0u) << "nobody asks for the time";
    const std::string moves = folder_.write("moves.json",
        R"({"patches":{"L":{"class":"QCLFO"},"S":{"class":"QCSprite"}},"connections":["L.outputValue > S.inputX"]})");
    const std::string table = printed({"profile", "--seconds", "0.2", "--size", "64x36", moves});
    EXPECT_NE(table.find("It doesn't rest: L (QCLFO) asks for the next frame at once."), std::string::npos) << table;
}

TEST_F(Commands, InspectDrawsTheGraphConfined)
{
    for (const auto& [name, head] : {std::pair("x.svg", "<?xml"), {"x.png", "\x89PNG"}}) {
        EXPECT_EQ(printed({"inspect", "--graph", folder_ / name, made_}), "");
        EXPECT_TRUE(TemporaryFolder::read(folder_ / name).starts_with(head)) << name;
    }
}

TEST_F(Commands, EvaluatePrintsTheTimesInOrderAndTheSameEachTime)
{
    const Words words = {"evaluate", made_, "--at", "2", "--at", "0.5", "--input", "A=21"};
    const std::string text = printed(words);
    EXPECT_EQ(printed(words), text);
    const auto first = text.find(R"({"t":0.5,"outputs":{)"), second = text.find(R"({"t":2.0,"outputs":{)");
    EXPECT_EQ(first, 0u) << text;
    EXPECT_NE(second, std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
    EXPECT_NE(text.find(R"("Time":0.5)"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("Twice":42.0)"), std::string::npos) << text;
}

TEST_F(Commands, AnInputFromTheCommandLineIsConvertedAsAnyOther)
{
    const std::tuple<const char*, const char*, const char*> cases[]
        = {{"A=4", R"("Twice":8.0)", "a number"}, {"A=\"4.5 apples\"", R"("Twice":9.0)", "a text's leading number"},
            {"A=true", R"("Twice":2.0)", "a boolean is 0 or 1"},
            {"A=no number", R"("Twice":0.0)", "what is no JSON is a text"}};
    for (const auto& [input, member, why] : cases)
        EXPECT_NE(printed({"evaluate", made_, "--input", input}).find(member), std::string::npos) << why;
    for (const char* input : {"Text=", "Text=3.5", "Tint=#ff000080", "Tint=[1,0,0,0.5]"})
        printed({"evaluate", made_, "--input", input});
}

TEST_F(Commands, ASnapshotIsAPictureOfTheSizeAskedFor)
{
    const std::string out = folder_ / "out.png";
    // size: in the header
    const std::tuple<Words, std::string, const char*> cases[] = {
        {{"--size", "96x54"}, {"\0\0\0\x60\0\0\0\x36", 8}, "as it was said"},
        {{"--size", "96x96", "--thumbnail"}, {"\0\0\0\x60\0\0\0\x36", 8}, "a screen's shape in a square box"},
        {{"--size", "640x27", "--thumbnail"}, {"\0\0\0\x30\0\0\0\x1b", 8}, "in a wide one"},
        {{"--size", "1x1", "--thumbnail"}, {"\0\0\0\1\0\0\0\1", 8}, "in the least one"},
    };
    for (const auto& [more, size, why] : cases) {
        Words words{"snapshot", "-o", out, "--after", "0.3", made_};
        words.insert(words.end(), more.begin(), more.end());
        std::filesystem::remove(out);
        Program program(words);
        if (program.wait() == 1 && program.errors().find("OpenGL") != std::string::npos)
            GTEST_SKIP() << "no OpenGL here";
        const std::string png = TemporaryFolder::read(out);
        ASSERT_GT(png.size(), 33u) << why << ": " << program.errors();
        EXPECT_EQ(png.substr(1, 3), "PNG");
        EXPECT_EQ(png.substr(16, 8), size) << why;
    }
}

// A script, a text in the fonts that are here, a filter over a picture: what is missed within the confinement gives
// another picture and no error.
TEST_F(Commands, AConfinedPictureIsTheSameToThePixel)
{
    printed({"code", "hello", folder_ / "code.png"});
    const std::string source = folder_.write("all.json", R"json({"patches": {
  "c": {"class": "QCClear", "inputs": {"inputColor": "#204060ff"}},
  "i": {"class": "QCImageLoader", "settings": {"imageData": {"image": "code.png"}}},
  "p": {"class": "QCImageFilter", "identifier": "CIGaussianBlur", "inputs": {"inputRadius": 2}},
  "b": {"class": "QCBillboard", "settings": {"sizeMode": "custom"}, "inputs": {"inputWidth": 0.8, "inputX": -0.4}},
  "s": {"class": "QCJavaScript", "settings": {"newMode": 1, "script": "function (__string t) main (__number n) { var r = new Object(); r.t = 'Ärger, 音楽 ' + 6 * 7; return r; }"}},
  "w": {"class": "QCTextImage", "inputs": {"inputGlyphSize": 0.2}},
  "t": {"class": "QCBillboard", "settings": {"sizeMode": "custom"}, "inputs": {"inputWidth": 0.8, "inputX": 0.4}}},
 "connections": ["i.outputImage > p.inputImage", "p.outputImage > b.inputImage", "s.t > w.inputString", "w.outputImage > t.inputImage"]})json");
    printed({"make", source, folder_ / "all.qtz"});
    std::string pictures[2];
    for (const bool isFree : {true, false}) {
        const std::string out = folder_ / "all.png";
        Program program({"snapshot", "--without-data", "-o", out, "--after", "0.5", "--size", "320x180",
                            isFree ? folder_ / "all.qtz" : source},
            {{"VITREL_NO_SANDBOX", isFree ? "1" : "0"}});
        if (program.wait() == 1 && program.errors().find("OpenGL") != std::string::npos)
            GTEST_SKIP() << "no OpenGL here";
        pictures[isFree] = TemporaryFolder::read(out);
    }
    EXPECT_GT(pictures[0].size(), 5000u);
    EXPECT_TRUE(pictures[0] == pictures[1]);
    printed({"snapshot", "--demo", "-o", folder_ / "all.png", "--after", "0.1"}); // it would say that it isn't confined
}

// The renderer's compiler would end it by a signal, and an exception would tear what is written in C.
TEST(Memory, ThatIsTooLittleEndsInOneLine)
{
    for (const rlim_t mebibytes : {400, 512, 800}) {
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
        const rlimit little{mebibytes << 20, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
        Program program({"snapshot", "--demo", "-o", "/dev/null", "--after", "0.3"});
        setrlimit(RLIMIT_AS, &before);
        EXPECT_TRUE(program.fails(1)) << mebibytes << ": " << program.errors();
    }
}

TEST(Arguments, PlayIsMeantWhereNoCommandStandsAndDaemonsAreUnderstood)
{
    const std::tuple<Words, Words, const char*> cases[] = {
        {{}, {"play"}, "nothing at all"},
        {{"a.qtz"}, {"play", "a.qtz"}, "a file"},
        {{"--demo", "--fps"}, {"play", "--demo", "--fps"}, "options"},
        {{"--version"}, {"--version"}, "of the program"},
        {{"-h"}, {"-h"}, "of the program"},
        {{"inspect", "-root"}, {"inspect", "-root"}, "other commands are left alone"},
        {{"-root"}, {"play", "--root"}, "of old daemons"},
        {{"play", "-root", "-window-id", "0x1f"}, {"play", "--root", "--window-id", "0x1f"}, "both at once"},
        {{"-window-id=7", "-visual", "x"}, {"play", "--window-id=7", "--visual", "x"}, "joined"},
        {{"-x", "-rooted", "-"}, {"play", "-x", "-rooted", "-"}, "others keep their dash"},
        {{"--", "-root"}, {"play", "--", "-root"}, "no options any more"},
        {{"--window"}, {"play", "--window=1280x720"}, "at the end"},
        {{"-window", "a.qtz"}, {"play", "--window=1280x720", "a.qtz"}, "a file is no size"},
        {{"--window", "640x480", "a.qtz"}, {"play", "--window=640x480", "a.qtz"}, "a size"},
        {{"--window", "9x"}, {"play", "--window=9x"}, "meant as one"},
        {{"--window=1x2"}, {"play", "--window=1x2"}, "joined"},
    };
    for (const auto& [given, mended, why] : cases)
        EXPECT_EQ(mendedArguments(given, {"play", "inspect"}), mended) << why;
}

TEST(Arguments, AWindowsNumberIsDecimalOrHexadecimal)
{
    const std::pair<const char*, unsigned long> cases[] = {{"0x60000E", 0x60000E}, {"0X1f", 31}, {"12", 12},
        {"012", 12}, {"", 0}, {"0x", 0}, {"12 ", 0}, {"-1", 0}, {"0x100000000", 0}, {"1f", 0}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(parseWindowNumber(text), number) << text;
}

} // namespace
} // namespace vitrel
