// Stand-ins for a third party's sorting by depth: its sprites are drawn once all are there, the farthest first.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/GLTools.h"

namespace vitrel::qc {

namespace {

// The environment in which sprites gather; nested ones have lists of their own.
class DepthSortPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Depth Sort Environment (GL Tools)",
            "Draws the sprites for it once all are there, the farthest first, so that what shines through shows what "
            "is behind.",
            {}};
    }

private:
    bool alwaysConsumer() const override { return true; }
    void runNodes(Evaluation& e) override
    {
        const Environment outer = e.stage.environment();
        const auto list = std::make_shared<std::vector<SortedBody>>();
        e.stage.environment().sorted = list;
        executeNodes(e);
        std::stable_sort(list->begin(), list->end(),
            [](const SortedBody& a, const SortedBody& b) { return a.distance > b.distance; });
        for (const SortedBody& body : *list) {
            e.stage.environment() = *body.environment;
            e.stage.draw(Primitive::Triangles, body.corners, body.place, body.paint);
        }
        e.stage.environment() = outer;
    }
};

class SortedSpritePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Depth Sort Sprite (GL Tools)", "A sprite that an environment around it sorts by depth.",
            {{"inputX", "Where its middle is, to the right", kUnits}, {"inputY", "Where it is, upwards", kUnits},
                {"inputZ", "Where it is, towards the viewer", kUnits},
                {"inputXr|inputYr|inputZr", "Its turn about this axis", kDegrees},
                {"inputWidth", "How wide it is", kUnits}, {"inputHeight", "How high it is", kUnits},
                {"inputColor", kColorMeaning}, {"inputImage", "What is shown"},
                {"inputBlending", kBlendingMeaning, blendings()}, {"inputDepthTesting", kDepthMeaning, depthTests()},
                {"inputFaceCulling", kCullingMeaning, cullings()}}};
    }

private:
    Input<double> x{*this, "inputX"}, y{*this, "inputY"}, z{*this, "inputZ"}, turnX{*this, "inputXr"},
        turnY{*this, "inputYr"}, turnZ{*this, "inputZr"}, width{*this, "inputWidth", 1},
        height{*this, "inputHeight", 1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Input<std::uint32_t> blending{*this, "inputBlending", 1}, depth{*this, "inputDepthTesting", 1},
        culling{*this, "inputFaceCulling"};

    void draw(Evaluation& e) override
    {
        Paint paint;
        paint.image = image();
        paint.blending = blendingOf(blending());
        paint.depth = depthOf(depth());
        paint.culling = cullingOf(culling());
        const Matrix place = Matrix::translation(x(), y(), z()) * Matrix::rotations(turnX(), turnY(), turnZ());
        const auto corners = rectangle(width(), height(), color());
        const auto& list = e.stage.environment().sorted;
        const double distance = -e.stage.toEye({x(), y(), z()}).z;
        if (!list) {
            e.stage.draw(Primitive::Triangles, corners, place, paint);
        } else if (list->size() < kMostStructurePoints && std::isfinite(distance)) {
            auto around = std::make_shared<Environment>(e.stage.environment());
            around->sorted = nullptr; // a list that holds itself would never go
            list->push_back({distance, corners, place, paint, std::move(around)});
        }
    }
};

} // namespace

void registerGLDepthSortPatches(PatchRegistry& registry)
{
    registry.family("Third parties' patches, stood in for");
    registry.addStandIn<DepthSortPatch>("KinemeGLDepthSortEnvironmentPatch");
    registry.addStandIn<SortedSpritePatch>("KinemeGLDepthSortSpritePatch");
}

} // namespace vitrel::qc
