// Colours and their components.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"

namespace vitrel::qc {

namespace {

struct HSL {
    double hue, saturation, luminosity; // hue in turns
};

HSL hslOf(const NSColor& c)
{
    const double most = std::max({c.red, c.green, c.blue}), least = std::min({c.red, c.green, c.blue}),
                 span = most - least;
    const double l = (most + least) / 2;
    if (!(span > 0))
        return {0, 0, l};
    const double s = l > 0.5 ? span / std::max(2 - most - least, 1e-9) : span / std::max(most + least, 1e-9);
    const double sixths = most == c.red ? (c.green - c.blue) / span + (c.green < c.blue ? 6 : 0)
        : most == c.green               ? (c.blue - c.red) / span + 2
                                        : (c.red - c.green) / span + 4;
    return {sixths / 6, s, l};
}

NSColor colorOf(const HSL& hsl, double alpha)
{
    const double s = std::clamp(hsl.saturation, 0.0, 1.0), l = std::clamp(hsl.luminosity, 0.0, 1.0);
    const double q = l < 0.5 ? l * (1 + s) : l + s - l * s, p = 2 * l - q;
    const auto component = [&](double t) {
        t = wrapped(t, 1);
        return t < 1.0 / 6 ? p + (q - p) * 6 * t : t < 0.5 ? q : t < 2.0 / 3 ? p + (q - p) * (2.0 / 3 - t) * 6 : p;
    };
    return {component(hsl.hue + 1.0 / 3), component(hsl.hue), component(hsl.hue - 1.0 / 3), alpha};
}

template <bool Hsl> class FromComponentsPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        if (Hsl)
            return {"HSL Color", "A colour of hue, saturation and luminosity.",
                {{"input1", "Hue, in turns: 0 and 1 are red"}, {"input2", "Saturation", kShare},
                    {"input3", "Luminosity; 0 is black, 1 is white", kShare}, {"inputAlpha", "Opacity", kShare},
                    {"outputColor", "The colour"}}};
        return {"RGB Color", "A colour of red, green and blue.",
            {{"input1", "Red", kShare}, {"input2", "Green", kShare}, {"input3", "Blue", kShare},
                {"inputAlpha", "Opacity", kShare}, {"outputColor", "The colour"}}};
    }

private:
    Input<double> first{*this, "input1", 1}, second{*this, "input2", 1}, third{*this, "input3", 1},
        alpha{*this, "inputAlpha", 1};
    Output<NSColor> color{*this, "outputColor"};
    void evaluate(Evaluation&) override
    {
        color.set(Hsl ? colorOf({first(), second(), third()}, alpha()) : NSColor{first(), second(), third(), alpha()});
    }
};

template <bool Hsl> class ToComponentsPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        if (Hsl)
            return {"Color to HSL", "Takes a colour apart into hue, saturation and luminosity.",
                {{"inputColor", "The colour"}, {"output1", "Its hue, in turns from red", kShare},
                    {"output2", "Its saturation", kShare}, {"output3", "Its luminosity", kShare},
                    {"outputAlpha", "Its opacity", kShare}}};
        return {"Color to RGB", "Takes a colour apart into red, green and blue.",
            {{"inputColor", "The colour"}, {"output1", "Its red", kShare}, {"output2", "Its green", kShare},
                {"output3", "Its blue", kShare}, {"outputAlpha", "Its opacity", kShare}}};
    }

private:
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Output<double> first{*this, "output1"}, second{*this, "output2"}, third{*this, "output3"},
        alpha{*this, "outputAlpha"};
    void evaluate(Evaluation&) override
    {
        const HSL hsl = hslOf(color());
        first.set(Hsl ? hsl.hue : color().red);
        second.set(Hsl ? hsl.saturation : color().green);
        third.set(Hsl ? hsl.luminosity : color().blue);
        alpha.set(color().alpha);
    }
};

class ColorTransformPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Color Transformation", "Turns the hue of a colour and multiplies the rest of it.",
            {{"inputColor", "What is changed"}, {"inputHue", "How far the hue turns", kDegrees},
                {"inputSaturation", "What the saturation is multiplied by", kNotNegative},
                {"inputLuminosity", "What the luminosity is multiplied by", kNotNegative},
                {"inputAlpha", "What the opacity is multiplied by", kNotNegative},
                {"outputColor", "The changed colour"}}};
    }

private:
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<double> hue{*this, "inputHue"}, saturation{*this, "inputSaturation", 1},
        luminosity{*this, "inputLuminosity", 1}, alpha{*this, "inputAlpha", 1};
    Output<NSColor> result{*this, "outputColor"};
    void evaluate(Evaluation&) override
    {
        HSL hsl = hslOf(color());
        hsl.hue += hue() / 360;
        hsl.saturation *= saturation();
        hsl.luminosity *= luminosity();
        result.set(colorOf(hsl, color().alpha * alpha()));
    }
};

class ColorMixerPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Color Mixer", "A colour between two.",
            {{"inputColor1", "The colour at 0"}, {"inputColor2", "The colour at 1"},
                {"inputMix", "How far on the way from the first to the second", kShare},
                {"inputInterpolation", "How evenly it goes there", curves()}, {"outputColor", "The mixed colour"}}};
    }

private:
    Input<NSColor> first{*this, "inputColor1"}, second{*this, "inputColor2"};
    Input<double> mix{*this, "inputMix"};
    Input<std::uint32_t> curveNumber{*this, "inputInterpolation"};
    Output<NSColor> result{*this, "outputColor"};
    void evaluate(Evaluation&) override
    {
        const double f = curve(curveNumber(), mix());
        const auto between = [f](double a, double b) { return a + (b - a) * f; };
        const NSColor &a = first(), &b = second();
        result.set(
            {between(a.red, b.red), between(a.green, b.green), between(a.blue, b.blue), between(a.alpha, b.alpha)});
    }
};

} // namespace

void registerColorsPatches(PatchRegistry& registry)
{
    registry.family("Numbers and colours");
    registry.add<FromComponentsPatch<false>>("QCColorFromComponents");
    registry.add<FromComponentsPatch<true>>("QCColorFromComponents/hsl");
    registry.add<ToComponentsPatch<false>>("QCColorToComponents");
    registry.add<ToComponentsPatch<true>>("QCColorToComponents/hsl");
    registry.add<ColorTransformPatch>("QCColorTransform");
    registry.add<ColorMixerPatch>("QCColorMixer");
}

} // namespace vitrel::qc
