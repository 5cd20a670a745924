// Surfaces made of lists of corners.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Drawing.h"
#include "platform/quartzcomposer/patches/Points.h"
#include "platform/quartzcomposer/scene/Mesh.h"

namespace vitrel::qc {

namespace {

// Corners sent at once: what is made of a mesh to draw it must not be many times its size.
constexpr std::size_t kChunk = 30'000;
constexpr std::uint32_t kMostParts = 16;

enum Property : std::uint32_t { kVertices, kColors, kNormals, kTexture, kIndices };

template <class T, class Read> std::vector<T> read(const StructureRef& list, std::size_t most, Read one)
{
    std::vector<T> all;
    all.reserve(countOf(list, most));
    for (std::size_t k = 0; k < countOf(list, most); ++k)
        all.push_back(one(list->members[k].value));
    return all;
}

Measure properties()
{
    return menu({"Corners", "Colours", "Normals", "Places in the Image", "Indices"});
}

// A list shorter than the corners goes on with what is usual.
template <class T> void fill(std::vector<T>& list, std::size_t count, const T& usual)
{
    if (!list.empty())
        list.resize(count, usual);
}

void setProperty(Mesh& mesh, std::uint32_t property, const StructureRef& list)
{
    const std::size_t most = Mesh::kMostVertices;
    const auto point = [](const PortValue& value) { return pointOf(value).value_or(Vec3{}); };
    if (property == kVertices)
        mesh.vertices = read<Vec3>(list, most, point);
    else if (property == kColors)
        mesh.colors = read<NSColor>(list, most, [](const PortValue& value) {
            return colorOf(value, true).value_or(NSColor{1, 1, 1, 1});
        });
    else if (property == kNormals)
        mesh.normals = read<Vec3>(list, most, point);
    else if (property == kTexture)
        mesh.texture = read<std::array<double, 2>>(list, most, [](const PortValue& value) {
            const auto* place = value.as<StructureRef>();
            return place && *place ? std::array<double, 2>{memberNumber(**place, "U", 0).value_or(0),
                       memberNumber(**place, "V", 1).value_or(0)}
                                   : std::array<double, 2>{0, 0};
        });
    else if (property == kIndices)
        mesh.indices = read<std::uint32_t>(list, 3 * most,
            [](const PortValue& value) { return *converted(value, PortType::Index).as<std::uint32_t>(); });
}

// Once all lists are there.
MeshRef finished(Mesh mesh)
{
    fill(mesh.colors, mesh.vertices.size(), NSColor{1, 1, 1, 1});
    fill(mesh.normals, mesh.vertices.size(), Vec3{0, 0, 1});
    fill(mesh.texture, mesh.vertices.size(), {0, 0});
    mesh.computeNormals();
    return shared(std::move(mesh));
}

class CreatorPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Mesh Creator", "Makes a mesh of lists.",
            {{"inputVertices", "The corners: a list of X, Y and Z, by these keys or in this order"},
                {"inputColors", "Their colours: a list of R, G, B and A; what is missing is white"},
                {"inputNormals", "Where they face: a list of X, Y and Z; without it as the triangles do"},
                {"inputIndices",
                    "A list of the numbers of corners, three for each triangle; without it the corners are a strip"},
                {"inputTexcoords", "Their places in the image: a list of U and V, each from 0 to 1"},
                {"inputPointSize", "Of points: how large each is", {"pixels", 1, 256}}, {"outputMesh", "The mesh"}},
            {{"mode", DescribedSetting::Number, "What the corners make: 0 triangles, 1 a line, 2 points", {"", 0, 2}}}};
    }

private:
    Input<StructureRef> vertices{*this, "inputVertices"}, colors{*this, "inputColors"}, normals{*this, "inputNormals"},
        indices{*this, "inputIndices"}, texture{*this, "inputTexcoords"};
    Input<double> pointSize{*this, "inputPointSize", 1};
    Output<MeshRef> mesh{*this, "outputMesh"};

    void configure(const Settings& settings) override
    {
        const double mode = settings.number("mode", 0);
        mode_ = mode == 1 ? Mesh::Mode::LineStrip : mode == 2 ? Mesh::Mode::Points : Mesh::Mode::Triangles;
    }
    void evaluate(Evaluation&) override
    {
        Mesh made;
        made.mode = mode_;
        made.pointSize = pointSize();
        setProperty(made, kVertices, vertices());
        setProperty(made, kColors, colors());
        setProperty(made, kNormals, normals());
        setProperty(made, kTexture, texture());
        setProperty(made, kIndices, indices());
        mesh.set(finished(std::move(made)));
    }
    Mesh::Mode mode_ = Mesh::Mode::Triangles;
};

class GetterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Get Mesh Component", "Gives a list of a mesh.",
            {{"inputMesh", "The mesh"}, {"_inputProperty", "Which list", properties()}, {"outputValue", "The list"}}};
    }

private:
    Input<MeshRef> mesh{*this, "inputMesh"};
    Input<std::uint32_t> property{*this, "_inputProperty"};
    Output<StructureRef> result{*this, "outputValue"};

    void evaluate(Evaluation&) override
    {
        if (!mesh()) {
            result.set(nullptr);
            return;
        }
        auto list = std::make_shared<Structure>();
        const auto add = [&](PortValue value) { list->members.push_back({{}, std::move(value)}); };
        if (property() == kVertices || property() == kNormals)
            for (const Vec3& v : property() == kVertices ? mesh()->vertices : mesh()->normals)
                add(listOf({v.x, v.y, v.z}));
        if (property() == kColors)
            for (const NSColor& c : mesh()->colors)
                add(listOf({c.red, c.green, c.blue, c.alpha}));
        if (property() == kTexture)
            for (const auto& [u, v] : mesh()->texture)
                add(listOf({u, v}));
        if (property() == kIndices)
            for (const std::uint32_t index : mesh()->indices)
                add(double(index));
        result.set(list);
    }
};

class SetterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Set Mesh Component", "Puts a list into a mesh in place of its own.",
            {{"inputMesh", "The mesh"}, {"inputValue", "The list"}, {"_inputProperty", "Which list", properties()},
                {"outputMesh", "The changed mesh"}}};
    }

private:
    Input<MeshRef> mesh{*this, "inputMesh"};
    Input<StructureRef> value{*this, "inputValue"};
    Input<std::uint32_t> property{*this, "_inputProperty"};
    Output<MeshRef> result{*this, "outputMesh"};

    void evaluate(Evaluation&) override
    {
        if (!mesh()) {
            result.set(nullptr);
            return;
        }
        Mesh changed = *mesh();
        setProperty(changed, property(), value());
        if (property() == kVertices || property() == kIndices)
            changed.normals.clear(); // they are those of another shape
        result.set(finished(std::move(changed)));
    }
};

class MaterialPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Set Mesh Texture", "Gives a part of a mesh an image.",
            {{"inputMesh", "The mesh"}, {"inputIndex", "Which part; only 0 is drawn", {"", 0, kMostParts - 1}},
                {"inputImage", "What the part shows"}, {"outputMesh", "The changed mesh"}}};
    }

private:
    Input<MeshRef> mesh{*this, "inputMesh"};
    Input<std::uint32_t> index{*this, "inputIndex"};
    Input<ImageRef> image{*this, "inputImage"};
    Output<MeshRef> result{*this, "outputMesh"};

    void evaluate(Evaluation&) override
    {
        if (!mesh() || index() >= kMostParts) {
            result.set(mesh());
            return;
        }
        Mesh changed = *mesh();
        changed.images.resize(std::max<std::size_t>(changed.images.size(), index() + 1));
        changed.images[index()] = image();
        result.set(shared(std::move(changed)));
    }
};

class TransformPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Mesh Transform", "Scales the corners of a mesh about an origin, turns them, and moves them.",
            {{"inputMesh", "The mesh"},
                {"inputTransform_OriginX|inputTransform_OriginY|inputTransform_OriginZ",
                    "The point about which it scales and turns, along this axis", kUnits},
                {"inputTransform_ScaleX|inputTransform_ScaleY|inputTransform_ScaleZ",
                    "How many times as large along this axis"},
                {"inputTransform_RotateX|inputTransform_RotateY|inputTransform_RotateZ", "The turn about this axis",
                    kDegrees},
                {"inputTransform_TranslateX|inputTransform_TranslateY|inputTransform_TranslateZ",
                    "How far it moves along this axis", kUnits},
                {"outputMesh", "The changed mesh"}}};
    }

private:
    Input<MeshRef> mesh{*this, "inputMesh"};
    Output<MeshRef> result{*this, "outputMesh"};

    void configure(const Settings&) override
    {
        for (const char* part : {"Origin", "Scale", "Rotate", "Translate"})
            for (const char* axis : {"X", "Y", "Z"})
                ports_.push_back(&addInput(std::string("inputTransform_") + part + axis, PortType::Number,
                    part == std::string_view("Scale") ? 1.0 : 0.0));
    }
    void evaluate(Evaluation&) override
    {
        if (!mesh()) {
            result.set(nullptr);
            return;
        }
        const auto at = [this](std::size_t k) { return *ports_[k]->value().as<double>(); };
        const Matrix matrix = Matrix::translation(at(9), at(10), at(11)) * Matrix::translation(at(0), at(1), at(2))
            * Matrix::rotations(at(6), at(7), at(8)) * Matrix::scale(at(3), at(4), at(5))
            * Matrix::translation(-at(0), -at(1), -at(2));
        Mesh changed = *mesh();
        for (Vec3& vertex : changed.vertices) {
            const Vec4 moved = matrix * vertex;
            vertex = {moved.x, moved.y, moved.z};
        }
        for (Vec3& normal : changed.normals)
            normal = matrix.turned(normal);
        result.set(shared(std::move(changed)));
    }
    std::vector<InputPort*> ports_;
};

class RendererPatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        auto modes = Modes::ports();
        modes.back().measure = menu({"None", "Back Faces", "Front Faces", "Use Model Culling"});
        return PatchDescription{"Mesh Renderer", "Draws a mesh: scaled, turned, then moved.",
            {{"inputWidth|inputHeight|inputDepth", "How many times as large it is in this direction"},
                {"inputColor", "What the mesh's own colours are multiplied by"}, {"inputMesh", "What is drawn"}},
            {{"wireframe", DescribedSetting::Flag, "Whether its edges alone are drawn"}}}
            .with(placePorts())
            .with(modes);
    }

private:
    Input<double> width{*this, "inputWidth", 1}, height{*this, "inputHeight", 1}, depth{*this, "inputDepth", 1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<MeshRef> mesh{*this, "inputMesh"};
    Modes modes{*this, 0, 1, 3}; // its own culling is none

    void configure(const Settings& settings) override { wires_ = settings.flag("wireframe", false); }
    void draw(Evaluation& e) override
    {
        const Mesh* m = mesh().get();
        if (!m || m->vertices.size() > e.meshVerticesLeft)
            return;
        e.meshVerticesLeft -= static_cast<std::uint32_t>(m->vertices.size());
        std::vector<std::uint32_t> corners = m->triangles();
        Primitive primitive = Primitive::Triangles;
        if (m->mode == Mesh::Mode::Points) {
            primitive = Primitive::Points;
            for (std::uint32_t k = 0; k < m->vertices.size(); ++k)
                corners.push_back(k);
        } else if (m->mode == Mesh::Mode::LineStrip) {
            primitive = Primitive::Lines;
            for (std::uint32_t k = 0; k + 1 < m->vertices.size(); ++k)
                corners.insert(corners.end(), {k, k + 1});
        } else if (wires_) {
            primitive = Primitive::Lines;
            corners = edges(corners);
        }
        Paint paint = modes.paint();
        paint.image = m->images.empty() ? nullptr : m->images.front();
        paint.lineWidth = static_cast<float>(m->mode == Mesh::Mode::Points ? std::clamp(m->pointSize, 1.0, 256.0) : 1);
        const Matrix shape = place() * Matrix::scale(width(), height(), depth());
        std::vector<SolidVertex> chunk;
        for (std::size_t from = 0; from < corners.size() && !e.exhausted(); from += kChunk) {
            chunk.clear();
            for (std::size_t k = from; k < std::min(from + kChunk, corners.size()); ++k)
                chunk.push_back(cornerOf(*m, corners[k]));
            e.stage.draw(primitive, chunk, shape, paint);
        }
    }
    static std::vector<std::uint32_t> edges(const std::vector<std::uint32_t>& triangles)
    {
        std::vector<std::uint32_t> all;
        for (std::size_t k = 0; k + 3 <= triangles.size(); k += 3) {
            const std::uint32_t a = triangles[k], b = triangles[k + 1], c = triangles[k + 2];
            all.insert(all.end(), {a, b, b, c, c, a});
        }
        return all;
    }
    SolidVertex cornerOf(const Mesh& m, std::uint32_t k) const
    {
        const NSColor& tint = color();
        const NSColor own = k < m.colors.size() ? m.colors[k] : NSColor{1, 1, 1, 1};
        SolidVertex corner;
        corner.position = m.vertices[k];
        corner.normal = k < m.normals.size() ? m.normals[k] : Vec3{0, 0, 1};
        corner.u = k < m.texture.size() ? m.texture[k][0] : 0;
        corner.v = k < m.texture.size() ? m.texture[k][1] : 0;
        corner.color = {own.red * tint.red, own.green * tint.green, own.blue * tint.blue, own.alpha * tint.alpha};
        return corner;
    }
    bool wires_ = false;
};

} // namespace

void registerMeshesPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<CreatorPatch>("QCMeshCreator");
    registry.add<GetterPatch>("QCMeshPropertyGetter");
    registry.add<SetterPatch>("QCMeshPropertySetter");
    registry.add<MaterialPatch>("QCMeshMaterialSetter");
    registry.add<TransformPatch>("QCMeshTransform");
    registry.add<RendererPatch>("QCMeshRenderer");
}

} // namespace vitrel::qc
