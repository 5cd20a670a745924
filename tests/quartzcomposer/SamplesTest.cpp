#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "quartzcomposer/Play.h"
#include "quartzcomposer/Trees.h"

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace vitrel::qc {

namespace {

// Compositions that people made, where they are at hand.
std::vector<std::string> samples()
{
    std::vector<std::string> paths;
    const char* const folder = std::getenv("VITREL_SHARED_SAMPLES");
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(folder ? folder : "/nowhere") / "compositions", error)) {
        if (entry.path().extension() == ".qtz")
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool sound(const PortValue& value, int depth = 0)
{
    if (const auto* number = value.as<double>())
        return !std::isnan(*number);
    const auto* structure = value.as<StructureRef>();
    if (!structure || !*structure || depth > 8)
        return true;
    return std::all_of((*structure)->members.begin(), (*structure)->members.end(),
        [&](const auto& m) { return sound(m.value, depth + 1); });
}

} // namespace

TEST(Samples, ComeBackFromTheirTextForm)
{
    const auto paths = samples();
    if (paths.empty())
        GTEST_SKIP();
    for (const std::string& path : paths) {
        const auto file = readCompositionFile(path);
        ASSERT_TRUE(file) << path;
        const auto back = compositionFromText(textForm(*file), "");
        ASSERT_TRUE(back) << path << ": " << back.error().reason;
        EXPECT_EQ(difference(comparable(file->propertyList), comparable(*back)), "") << path;
    }
}

// Every connection and publication leads somewhere, unless a stranger is at one of its ends; and the published inputs
// are those of the file, with its values.
TEST(Samples, ResolveWholly)
{
    const auto paths = samples();
    if (paths.empty())
        GTEST_SKIP();
    for (const std::string& path : paths) {
        const auto file = readCompositionFile(path);
        ASSERT_TRUE(file) << path;
        const CompositionGraph graph(*file, registry());
        EXPECT_EQ(graph.dangling(), 0) << path;
        std::vector<std::string> keys, expected;
        for (const PublishedPort& port : graph.inputs()) {
            keys.push_back(port.key);
            const auto given = file->inputParameters.find(port.key);
            if (given == file->inputParameters.end())
                continue;
            if (given->second.number()) {
                EXPECT_EQ(graph.input(port.key).number(),
                    port.type == PortType::Boolean ? double(*given->second.number() != 0) : *given->second.number())
                    << path << " " << port.key;
            } else if (given->second.as<std::string>()) {
                EXPECT_EQ(graph.input(port.key), given->second) << path << " " << port.key;
            }
        }
        for (const FilePublishedPort& port : file->root.publishedInputs)
            expected.push_back(port.key);
        EXPECT_TRUE(!graph.unsupported().empty() || keys == expected) << path;
    }
}

TEST(Samples, PlayForThreeSeconds)
{
    const auto paths = samples();
    if (paths.empty() || !GLContext::current())
        GTEST_SKIP();
    auto canvas = GLCanvas::make(320, 180, true);
    ASSERT_TRUE(canvas);
    std::vector<std::uint32_t> pixels(320 * 180);
    for (const std::string& path : paths) {
        const auto file = readCompositionFile(path);
        ASSERT_TRUE(file) << path;
        CompositionGraph graph(*file, registry());
        Stage stage(*canvas);
        canvas->clear({0, 0, 0, 1}, true, true, 0xF);
        for (int frame = 0; frame < 30; ++frame) {
            graph.frame(stage, frame / 10.0, Date::fromReferenceDate(frame / 10.0));
            canvas->readInto(pixels.data(), 320);
            for (const PublishedPort& port : graph.outputs())
                EXPECT_TRUE(sound(graph.output(port.key, stage))) << path << " " << port.key;
        }
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR)) << path;
    }
}

} // namespace vitrel::qc
