#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "quartzcomposer/Play.h"
#include "quartzcomposer/Trees.h"

#include <epoxy/gl.h>
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <set>

namespace vitrel::qc {

namespace {

// Compositions that people made, where they are at hand.
struct Samples : testing::Test {
    void SetUp() override
    {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(VITREL_SAMPLES "/compositions", error)) {
            if (entry.path().extension() != ".qtz")
                continue;
            auto file = readCompositionFile(entry.path());
            ASSERT_TRUE(file) << entry.path();
            files.push_back(std::move(*file));
        }
        if (files.empty())
            GTEST_SKIP();
    }
    std::vector<CompositionFile> files;
};

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

TEST_F(Samples, ComeBackFromTheirTextForm)
{
    for (const CompositionFile& file : files) {
        const auto back = compositionFromText(textForm(file), "");
        ASSERT_TRUE(back) << file.path << ": " << back.error().reason;
        EXPECT_EQ(difference(file.propertyList, *back), "") << file.path;
    }
}

// Every connection and publication leads somewhere, unless a stranger is at one of its ends; and the published inputs
// are those of the file, with its values.
// A patch that no seed holds is one that the fuzzer never meets.
TEST(FuzzSeeds, HoldEachClassOfPatches)
{
    std::set<std::string> missing;
    for (const std::string& name : registry().names())
        missing.insert(name);
    const std::function<void(const FileNode&)> cross = [&](const FileNode& node) {
        missing.erase(node.className);
        missing.erase(node.className + "/" + node.identifier);
        for (const FileNode& child : node.nodes)
            cross(child);
    };
    for (const auto& entry : std::filesystem::directory_iterator(VITREL_SEEDS)) {
        const auto file = readCompositionFile(entry.path());
        ASSERT_TRUE(file) << entry.path();
        cross(file->root);
    }
    EXPECT_THAT(missing, testing::IsEmpty());
}

TEST_F(Samples, ResolveWholly)
{
    for (const CompositionFile& file : files) {
        const CompositionGraph graph(file, registry());
        EXPECT_EQ(graph.dangling(), 0) << file.path;
        std::vector<std::string> keys, expected;
        for (const PublishedPort& port : graph.inputs()) {
            keys.push_back(port.key);
            const auto given = file.inputParameters.find(port.key);
            if (given == file.inputParameters.end())
                continue;
            if (given->second.number()) {
                EXPECT_EQ(graph.input(port.key).number(),
                    port.type == PortType::Boolean ? double(*given->second.number() != 0) : *given->second.number())
                    << file.path << " " << port.key;
            } else if (given->second.as<std::string>()) {
                EXPECT_EQ(graph.input(port.key), given->second) << file.path << " " << port.key;
            }
        }
        for (const FilePublishedPort& port : file.root.publishedInputs)
            expected.push_back(port.key);
        EXPECT_TRUE(!graph.unsupported().empty() || keys == expected) << file.path;
    }
}

TEST_F(Samples, PlayForThreeSeconds)
{
    if (!GLContext::current())
        GTEST_SKIP();
    auto canvas = GLCanvas::make(320, 180, true);
    ASSERT_TRUE(canvas);
    std::vector<std::uint32_t> pixels(320 * 180);
    for (const CompositionFile& file : files) {
        CompositionGraph graph(file, registry());
        Stage stage(*canvas);
        canvas->clear({0, 0, 0, 1}, true, true, 0xF);
        for (int frame = 0; frame < 30; ++frame) {
            graph.frame(stage, frame / 10.0, Date::fromReferenceDate(frame / 10.0));
            canvas->readInto(pixels.data(), 320);
            for (const PublishedPort& port : graph.outputs())
                EXPECT_TRUE(sound(graph.output(port.key, stage))) << file.path << " " << port.key;
        }
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR)) << file.path;
    }
}

} // namespace vitrel::qc
