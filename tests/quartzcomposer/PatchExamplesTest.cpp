#include "base/Text.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/drawing/FilterShaders.h"
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "quartzcomposer/Play.h"

#include <epoxy/gl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace vitrel::qc {

namespace {

namespace fs = std::filesystem;

// The examples of docs/patches: each says in the lines `//@` of its head what it must show. Several times in a line are
// frames in turn, and an output then has a value for each. "sound FROM PEAK [beat]": from then on this is heard, the
// lowest band as loud as the peak and each other a sixteenth of it less.
class Example
{
public:
    explicit Example(const fs::path& path)
        : file_(readCompositionFile(path))
        , lines_(path)
    { }

    void play()
    {
        ASSERT_TRUE(file_) << file_.error().reason;
        graph_ = std::make_unique<CompositionGraph>(*file_, registry());
        EXPECT_EQ(graph_->dangling(), 0);
        EXPECT_THAT(graph_->unsupported(), testing::IsEmpty());
        int expectations = 0;
        for (std::string line; std::getline(lines_, line) && line.starts_with("//");) {
            if (!line.starts_with("//@ "))
                continue;
            SCOPED_TRACE(line);
            std::istringstream words(line.substr(4));
            std::string verb;
            words >> verb;
            if (verb == "size")
                words >> width_ >> height_;
            else if (verb == "time")
                play(words);
            else if (verb == "sound")
                listen(words);
            else if (verb == "pixel")
                expectPixel(words);
            else if (verb == "out")
                expectOutput(words);
            else
                ADD_FAILURE() << "no such word";
            expectations += verb == "pixel" || verb == "out";
        }
        EXPECT_GT(expectations, 0);
    }
    // As a screen shows it at the end; nothing if nobody looks at its pixels.
    void paint(const fs::path& path) const
    {
        Bitmap opaque{width_, height_, pixels_};
        for (std::uint32_t& pixel : opaque.pixels)
            pixel |= 0xFF000000u;
        const auto png = looked_ ? pngRepresentation(opaque) : std::nullopt;
        if (png) {
            EXPECT_EQ(writeFile(path, *png), 0) << path;
        }
    }

private:
    void play(std::istringstream& times)
    {
        history_.clear();
        double time = 0;
        while (times >> time) {
            show(time);
            for (const PublishedPort& port : graph_->outputs())
                history_[port.key]
                    += (history_[port.key].empty() ? "" : " ") + shown(graph_->output(port.key, *stage_));
        }
        EXPECT_FALSE(history_.empty() && !graph_->outputs().empty()) << "no number";
    }
    void listen(std::istringstream& words)
    {
        Sound sound;
        std::string beat;
        ASSERT_TRUE(words >> sound.from >> sound.peak);
        sound.isBeat = static_cast<bool>(words >> beat);
        sounds_.push_back(sound);
    }
    Hearing heardAt(double time) const
    {
        Hearing hearing;
        for (const Sound& sound : sounds_) {
            if (sound.from > time)
                break;
            hearing.heard.peak = sound.peak;
            for (std::size_t k = 0; k < 16; ++k)
                hearing.heard.spectrum[k] = sound.peak * double(16 - k) / 16;
            hearing.heard.beats += sound.isBeat;
            hearing.rests = sound.peak == 0;
        }
        return hearing;
    }
    void start()
    {
        std::istringstream zero("0");
        if (!canvas_)
            play(zero);
    }
    void show(double time)
    {
        if (!canvas_) {
            canvas_ = GLCanvas::make(width_, height_, graph_->needsDepth());
            ASSERT_TRUE(canvas_);
            stage_ = std::make_unique<Stage>(*canvas_);
            canvas_->clear({0, 0, 0, 1}, true, true, 0xF);
        }
        graph_->hear(heardAt(time));
        graph_->frame(*stage_, time, Date::fromReferenceDate(time));
        pixels_.resize(static_cast<std::size_t>(width_ * height_));
        canvas_->readInto(pixels_.data(), static_cast<std::size_t>(width_));
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    void expectPixel(std::istringstream& words)
    {
        start();
        looked_ = true;
        int x = -1, y = -1, tolerance = 2;
        std::string color, within;
        words >> x >> y >> color >> within;
        if (within.starts_with('~'))
            tolerance = std::stoi(within.substr(1));
        ASSERT_TRUE(x >= 0 && y >= 0 && x < width_ && y < height_ && color.size() == 7);
        const auto expected = static_cast<std::uint32_t>(std::stoul(color.substr(1), nullptr, 16));
        const std::uint32_t shown = pixels_[static_cast<std::size_t>(y * width_ + x)];
        for (const int shift : {16, 8, 0})
            EXPECT_NEAR(int(shown >> shift & 255), int(expected >> shift & 255), tolerance) << std::hex << shown;
    }
    void expectOutput(std::istringstream& words)
    {
        start();
        std::string key, value;
        words >> key >> std::ws;
        std::getline(words, value);
        value.erase(std::min(value.find("  // "), value.size()));
        EXPECT_EQ(history_[key], value);
    }

    struct Sound {
        double from = 0, peak = 0;
        bool isBeat = false;
    };

    CompositionResult file_;
    std::ifstream lines_;
    std::vector<Sound> sounds_;
    std::unique_ptr<CompositionGraph> graph_;
    std::unique_ptr<GLCanvas> canvas_;
    std::unique_ptr<Stage> stage_;
    int width_ = 200, height_ = 100;
    bool looked_ = false;
    std::vector<std::uint32_t> pixels_;
    std::map<std::string, std::string> history_; // of each output, since the last line of times
};

std::vector<fs::path> examples()
{
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(VITREL_EXAMPLES))
        if (entry.path().extension() == ".json")
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace

TEST(PatchExamples, ShowWhatTheySay)
{
    if (!GLContext::current())
        GTEST_SKIP();
    const char* const pictures = std::getenv("VITREL_PICTURES");
    for (const fs::path& path : examples()) {
        SCOPED_TRACE(path.filename());
        Example example(path);
        example.play();
        if (pictures) // script/patches asks for them
            example.paint(fs::path(pictures) / path.filename().replace_extension(".png"));
    }
}

// CLASS/IDENTIFIER is in CLASS.IDENTIFIER.json; a class or filter is in NAME.json, or in NAME.WORD.json for a matter of
// it.
TEST(PatchExamples, AreThereForEachClassAndFilter)
{
    std::set<std::string> shown{"QCImageFilter"}; // whose filters are below
    for (const fs::path& path : examples()) {
        const std::string name = path.stem();
        shown.insert({name, name.substr(0, name.find('.'))});
    }
    std::vector<std::string> names = registry().names(), missing;
    for (const std::string& filter : registry().kinds("QCImageFilter"))
        names.push_back(filter);
    for (std::string name : names) {
        std::replace(name.begin(), name.end(), '/', '.');
        if (!shown.count(name))
            missing.push_back(name);
    }
    EXPECT_THAT(missing, testing::IsEmpty());
}

// A shader that a driver refuses, or a filter without one, would hand the image on, and nobody would know.
TEST(Filters, AllHaveAShaderThatCompiles)
{
    if (!GLContext::current())
        GTEST_SKIP();
    const std::set<std::string> copies{"CICrop"}, blurs{"CIGaussianBlur", "CIDiscBlur", "CIBoxBlur"};
    for (const std::string& filter : registry().kinds("QCImageFilter")) {
        const std::string shader = filterFragmentShader(filter);
        EXPECT_TRUE(Program(filterVertexShader(), shader).valid()) << filter;
        EXPECT_EQ(shader == filterFragmentShader("copy"), copies.count(filter) + blurs.count(filter) > 0) << filter;
    }
}

} // namespace vitrel::qc
