// Colours that go with a cover, and colours made of others, as the eye measures them. Patches of this player's own.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/CoverPalette.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Timed.h"

namespace vitrel::qc {

namespace {

class CoverColorsPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Cover Colors", "Colours that go with a picture: for a ground, for what stands out, for words.",
            {{"inputImage", "The cover. A picture; what is drawn or filtered counts as none"},
                {"outputGround", "Dark, of the picture's darker part"},
                {"outputKey", "The colour that strikes the eye"},
                {"outputSecond", "Another one of the picture, or the key's neighbour"},
                {"outputInk", "Nearly white: for words on the ground"},
                {"outputKeyText", "The key, light enough for words: a contrast of 5.5 on the ground at least"},
                {"outputGrey", "Whether the picture has no colour, and these are stand-ins"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Output<NSColor> ground{*this, "outputGround"}, key{*this, "outputKey"}, second{*this, "outputSecond"},
        ink{*this, "outputInk"}, keyText{*this, "outputKeyText"};
    Output<bool> grey{*this, "outputGrey"};

    void evaluate(Evaluation&) override
    {
        const auto bitmap = image() ? image()->bitmap() : nullptr;
        const CoverPalette palette = coverPalette(bitmap.get());
        ground.set(palette.ground);
        key.set(palette.key);
        second.set(palette.second);
        ink.set(palette.ink);
        keyText.set(palette.keyText);
        grey.set(palette.isGrey);
    }
};

const Measure kDegreesAround{"degrees", -360, 720};

class ColorShadePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Color Shade",
            "Another shade of a colour: each of its lightness, chroma and hue turned, scaled or held.",
            {{"inputColor", "The colour"},
                {"inputLighter", "What its lightness grows by, 0 black to 1 white", {"", -1, 1}},
                {"inputLeastLightness", "Its lightness at least", kShare},
                {"inputMostLightness", "Its lightness at most", kShare},
                {"inputChromaFactor", "What its chroma is multiplied by", kNotNegative},
                {"inputLeastChroma", "Its chroma at least", {"", 0, 0.4}},
                {"inputMostChroma", "Its chroma at most; 0.15 is strong", {"", 0, 0.4}},
                {"inputTurn", "What its hue is turned by: 0 is rose, 90 yellow, 180 teal, 270 blue", kDegreesAround},
                {"inputFromHue", "The hues that it may have begin here", kDegreesAround},
                {"inputToHue", "The hues that it may have end here; all 360 degrees without a bound", kDegreesAround},
                {"inputElseHue", "The hue in place of one that it may not have; -1: the nearer end", kDegreesAround},
                {"inputAlpha", "Opacity, by which its own is multiplied", kShare}, {"outputColor", "The shade"}}};
    }

private:
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<double> lighter{*this, "inputLighter"}, leastLightness{*this, "inputLeastLightness"},
        mostLightness{*this, "inputMostLightness", 1}, factor{*this, "inputChromaFactor", 1},
        leastChroma{*this, "inputLeastChroma"}, mostChroma{*this, "inputMostChroma", 0.4}, turn{*this, "inputTurn"},
        fromHue{*this, "inputFromHue"}, toHue{*this, "inputToHue", 360}, elseHue{*this, "inputElseHue", -1},
        alpha{*this, "inputAlpha", 1};
    Output<NSColor> result{*this, "outputColor"};

    void evaluate(Evaluation&) override
    {
        const OKLab lab = okLab(color());
        const double lightness = std::min(std::max(lab.L + lighter(), leastLightness()), mostLightness());
        const double chroma = std::min(std::max(lab.chroma() * factor(), leastChroma()), mostChroma());
        result.set(rgbOf(
            OKLab::of(lightness, chroma, allowed(lab.hue() + turn())), color().alpha * std::clamp(alpha(), 0.0, 1.0)));
    }
    double allowed(double hue) const
    {
        const double span = toHue() - fromHue(), past = wrapped(hue - fromHue(), 360);
        if (!(span < 360) || past <= span)
            return hue;
        if (elseHue() >= 0)
            return elseHue();
        return past - span < 360 - past ? toHue() : fromHue();
    }
};

class ColorSmoothPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Color Smooth", "Follows a colour with delay, by mixtures that don't turn grey on the way.",
            {{"inputColor", "Where it goes"}, {"inputDuration", "How long a change takes", kDuration},
                {"inputInterpolation", "How evenly it goes", curves()}, {"outputColor", "Where it is on its way"}}};
    }

private:
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<double> duration{*this, "inputDuration", 1.6};
    Input<std::uint32_t> interpolation{*this, "inputInterpolation", 12};
    Output<NSColor> result{*this, "outputColor"};

    struct Memory {
        bool known = false;
        NSColor from, target;
        double start = 0, duration = 0;
    };

    void evaluate(Evaluation& e) override
    {
        Memory& m = memory_.at(scope);
        if (!m.known)
            m = {true, color(), color(), time(), 0};
        else if (color() != m.target)
            m = {true, present(m), color(), time(), std::isfinite(duration()) ? std::max(0.0, duration()) : 0};
        result.set(present(m));
        if (time() - m.start < m.duration)
            moves(e);
    }
    NSColor present(const Memory& m) const
    {
        if (time() - m.start >= m.duration)
            return m.target;
        if (time() <= m.start)
            return m.from;
        const double t = curve(interpolation(), (time() - m.start) / m.duration);
        const OKLab a = okLab(m.from), b = okLab(m.target);
        return rgbOf({std::lerp(a.L, b.L, t), std::lerp(a.a, b.a, t), std::lerp(a.b, b.b, t)},
            std::lerp(m.from.alpha, m.target.alpha, t));
    }

    PerIteration<Memory> memory_;
};

} // namespace

void registerCoverColorsPatches(PatchRegistry& registry)
{
    registry.family("Numbers and colours");
    registry.add<CoverColorsPatch>("VitrelCoverColors");
    registry.add<ColorShadePatch>("VitrelColorShade");
    registry.add<ColorSmoothPatch>("VitrelColorSmooth");
}

} // namespace vitrel::qc
