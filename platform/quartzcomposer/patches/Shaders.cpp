// Programs of authors, and the grid that they bend.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Drawing.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr const char* kAxes[] = {"_X", "_Y", "_Z", "_W"};

// Draws its nodes with an author's program; without one that can be had, as ever.
class ShaderPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"GLSL Shader",
            "Draws what is inside with shaders of GLSL 1.20. One that doesn't work leaves the usual drawing.",
            {{"*", "The uniform of this name; of a vector, its part _X, _Y, _Z or _W"}},
            {{"vertexShader", DescribedSetting::Text, "What is done with each corner; empty: the usual", {}, {},
                 R"("uniform float height; void main() { gl_Position = gl_ModelViewProjectionMatrix * (gl_Vertex + vec4(0, 0, height, 0)); gl_FrontColor = gl_Color; gl_TexCoord[0] = gl_MultiTexCoord0; }")"},
                {"fragmentShader", DescribedSetting::Text, "What is done for each pixel; empty: the usual", {}, {},
                    R"("uniform sampler2D image; uniform vec4 tint; void main() { gl_FragColor = tint * texture2D(image, gl_TexCoord[0].xy); }")"}}};
    }

private:
    void configure(const Settings& settings) override
    {
        auto translated = translatedShader(settings.text("vertexShader"), settings.text("fragmentShader"));
        isBroken_ = !translated;
        if (isBroken_)
            return;
        shader_ = std::make_shared<const Shader>(*std::move(translated));
        for (const ShaderUniform& uniform : shader_->uniforms) {
            std::vector<InputPort*> ports;
            if (uniform.type == ShaderUniform::Image) {
                ports.push_back(&addInput(uniform.name, PortType::Image, ImageRef()));
            } else if (uniform.type == ShaderUniform::Bool) {
                ports.push_back(&addInput(uniform.name, PortType::Boolean, uniform.usual[0] != 0));
            } else if (uniform.type == ShaderUniform::Int) {
                const auto usual = static_cast<std::uint32_t>(std::clamp(uniform.usual[0], 0.0, 1e9));
                ports.push_back(&addInput(uniform.name, PortType::Index, usual));
            } else if (uniform.type == ShaderUniform::Float) {
                ports.push_back(&addInput(uniform.name, PortType::Number, uniform.usual[0]));
            } else {
                for (int k = 0; k <= uniform.type - ShaderUniform::Float; ++k)
                    ports.push_back(&addInput(uniform.name + kAxes[k], PortType::Number, uniform.usual[k]));
            }
            ports_.push_back(std::move(ports));
        }
    }
    bool alwaysConsumer() const override { return true; }
    std::string unsupported() const override { return isBroken_ ? "QCGLSLShader" : std::string(); }
    std::vector<SourceFault> sourceFaults(const Settings& settings) const override
    {
        const auto translated = translatedShader(settings.text("vertexShader"), settings.text("fragmentShader"));
        if (translated)
            return {};
        const ShadingError& error = translated.error();
        return {{error.isOfVertexShader ? "vertexShader" : "fragmentShader", error.line, error.column, error.reason}};
    }

    void runNodes(Evaluation& e) override
    {
        // By copy: a stage inside one of the nodes may have made room for others.
        const Environment outer = e.stage.environment();
        if (shader_) {
            auto use = std::make_shared<ShaderUse>();
            use->shader = shader_;
            for (const auto& ports : ports_)
                use->values.push_back(valueOf(ports));
            e.stage.environment().shader = use;
        }
        executeNodes(e);
        e.stage.environment() = outer;
    }
    static ShaderUse::Value valueOf(const std::vector<InputPort*>& ports)
    {
        constexpr double kMost = 1e9; // and a program may still square it
        ShaderUse::Value value;
        for (std::size_t k = 0; k < ports.size(); ++k) {
            const PortValue& given = ports[k]->value();
            if (const auto* image = given.as<ImageRef>())
                value.image = *image;
            else if (const auto* flag = given.as<bool>())
                value.numbers[k] = *flag;
            else if (const auto* index = given.as<std::uint32_t>())
                value.numbers[k] = std::min(double(*index), kMost);
            else if (const auto* number = given.as<double>())
                value.numbers[k] = std::isnan(*number) ? 0 : std::clamp(*number, -kMost, kMost);
        }
        return value;
    }

    std::shared_ptr<const Shader> shader_;
    std::vector<std::vector<InputPort*>> ports_;
    bool isBroken_ = false;
};

// A rectangle of so many cells that a program has corners to move. Counter-clockwise.
std::vector<SolidVertex> grid(
    double width, double height, std::uint32_t columns, std::uint32_t rows, const NSColor& color)
{
    // Finer than pixels on most screens; a node's corners are made anew for each frame.
    constexpr std::uint32_t kMost = 256;
    columns = std::clamp<std::uint32_t>(columns, 1, kMost);
    rows = std::clamp<std::uint32_t>(rows, 1, kMost);
    const auto corner = [&](std::uint32_t x, std::uint32_t y) {
        const double u = double(x) / columns, v = double(y) / rows;
        return SolidVertex{{(u - 0.5) * width, (v - 0.5) * height, 0}, {0, 0, 1}, u, v, color};
    };
    std::vector<SolidVertex> corners;
    corners.reserve(std::size_t(columns) * rows * 6);
    for (std::uint32_t y = 0; y < rows; ++y) {
        for (std::uint32_t x = 0; x < columns; ++x) {
            const SolidVertex a = corner(x, y), c = corner(x + 1, y + 1);
            corners.insert(corners.end(), {a, corner(x + 1, y), c, a, c, corner(x, y + 1)});
        }
    }
    return corners;
}

class GridPatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"GLSL Grid", "A rectangle of cells, for shaders that move corners.",
            {{"inputWidth", "How wide it is", kUnits}, {"inputHeight", "How high it is", kUnits},
                {"inputWidthResolution", "How many cells beside each other", {"", 1, 256}},
                {"inputHeightResolution", "How many cells upon each other", {"", 1, 256}}}}
            .with(placePorts())
            .with(Modes::ports());
    }

private:
    Input<double> width{*this, "inputWidth", 1}, height{*this, "inputHeight", 1};
    Input<std::uint32_t> columns{*this, "inputWidthResolution", 32}, rows{*this, "inputHeightResolution", 32};
    Modes modes{*this, 1, 1, 0};

    void draw(Evaluation& e) override
    {
        e.stage.draw(
            Primitive::Triangles, grid(width(), height(), columns(), rows(), {1, 1, 1, 1}), place(), modes.paint());
    }
};

// A uniform's value as a member of a structure: a number, a colour or a list of numbers.
void read(const PortValue& given, std::array<double, 4>& numbers)
{
    const auto sound = [](double n) { return std::isfinite(n) ? n : 0; };
    if (const auto* c = given.as<NSColor>()) {
        numbers = {c->red, c->green, c->blue, c->alpha};
    } else if (const auto* list = given.as<StructureRef>()) {
        for (std::size_t k = 0; *list && k < std::min<std::size_t>((*list)->members.size(), 4); ++k)
            numbers[k] = sound(*converted((*list)->members[k].value, PortType::Number).as<double>());
    } else if (const auto number = convertedIfPossible(given, PortType::Number)) {
        numbers[0] = sound(*number->as<double>());
    }
}

// The same as a plug-in has it, whose ports have names of their own. A structure says what the shader's uniforms have
// for this grid alone.
class SuperGridPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"GLSL Grid (GL Tools)",
            "A grid for shaders, with a colour, an image and values for their uniforms that hold for it alone.",
            {{"inputXPosition", "Where its middle is, to the right", kUnits},
                {"inputYPosition", "Where it is, upwards", kUnits},
                {"inputZPosition", "Where it is, towards the viewer", kUnits},
                {"inputXRotation|inputYRotation|inputZRotation", "Its turn about this axis", kDegrees},
                {"inputWidth", "How wide it is", kUnits}, {"inputHeight", "How high it is", kUnits},
                {"inputHResolution", "How many cells beside each other", {"", 1, 256}},
                {"inputVResolution", "How many cells upon each other", {"", 1, 256}},
                {"inputBlending", kBlendingMeaning, blendings()}, {"inputDepthTest", kDepthMeaning, depthTests()},
                {"inputCulling", kCullingMeaning, cullings()}, {"inputColor", kColorMeaning},
                {"inputImage", "What is shown"},
                {"inputParameters",
                    "What uniforms have, by their names: a number, a colour, an image or a list of numbers"}}};
    }

private:
    Input<double> x{*this, "inputXPosition"}, y{*this, "inputYPosition"}, z{*this, "inputZPosition"},
        turnX{*this, "inputXRotation"}, turnY{*this, "inputYRotation"}, turnZ{*this, "inputZRotation"},
        width{*this, "inputWidth", 1}, height{*this, "inputHeight", 1};
    Input<std::uint32_t> columns{*this, "inputHResolution", 8}, rows{*this, "inputVResolution", 8},
        blending{*this, "inputBlending"}, depth{*this, "inputDepthTest"}, culling{*this, "inputCulling"};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Input<StructureRef> parameters{*this, "inputParameters"};

    void draw(Evaluation& e) override
    {
        const auto shader = e.stage.environment().shader;
        if (shader && parameters())
            e.stage.environment().shader = changed(*shader);
        drawGrid(e);
        e.stage.environment().shader = shader;
    }
    std::shared_ptr<const ShaderUse> changed(const ShaderUse& usual) const
    {
        auto use = std::make_shared<ShaderUse>(usual);
        for (std::size_t k = 0; k < use->values.size(); ++k) {
            const PortValue* given = parameters()->atKey(use->shader->uniforms[k].name);
            const auto* picture = given ? given->as<ImageRef>() : nullptr;
            if (picture)
                use->values[k].image = *picture;
            else if (given)
                read(*given, use->values[k].numbers);
        }
        return use;
    }
    void drawGrid(Evaluation& e)
    {
        Paint paint;
        paint.blending = blendingOf(blending());
        paint.depth = depthOf(depth());
        paint.culling = cullingOf(culling());
        paint.image = image();
        const Matrix place = Matrix::translation(x(), y(), z()) * Matrix::rotations(turnX(), turnY(), turnZ());
        e.stage.draw(Primitive::Triangles, grid(width(), height(), columns(), rows(), color()), place, paint);
    }
};

} // namespace

void registerShadersPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<ShaderPatch>("QCGLSLShader");
    registry.add<GridPatch>("QCGrid");
    registry.family("Third parties' patches, stood in for");
    registry.add<SuperGridPatch>("KinemeSuperGLSLGridPatch");
}

} // namespace vitrel::qc
