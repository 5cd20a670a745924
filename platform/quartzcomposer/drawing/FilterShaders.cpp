#include "platform/quartzcomposer/drawing/FilterShaders.h"

namespace vitrel::qc {

namespace {

struct Row {
    const char* filter;
    const char* body; // of vec4 filtered(vec2 d)
};

// Premultiplied throughout; the formulas of the blend modes are those of PDF 1.7, section 11.3.5.
constexpr Row kRows[] = {
    {"copy", "return at(0, d);"},
    {"CICrop", "return at(0, d);"},
    // Along one axis. A tap stands for a stretch of `s`, a pixel for a stretch of `t` across; where the image ends
    // within one, its part counts, so that no light is lost at the edges.
    {"blur",
        "vec2 axis = vec2(n[1], n[2]), side = 1.0 - axis; float s = max(n[0] / 2.5, 1.0), sigma = n[0] / s;"
        "float t = max(abs(dot(vec2(dFdx(d.x), dFdy(d.y)), side)), 1e-3), q = dot(d, side), p = dot(d, axis);"
        "vec2 first = extent0.xy, last = extent0.xy + extent0.zw;"
        "float low = max(q - t * 0.5, dot(first, side)), high = min(q + t * 0.5, dot(last, side));"
        "if (high <= low) return vec4(0);"
        "vec2 row = side * (low + high) * 0.5; float part = (high - low) / t, all = 0.0; vec4 sum = vec4(0);"
        "for (int k = -8; k <= 8; ++k) { float w = exp(-float(k * k) / (2.0 * sigma * sigma)), c = p + s * float(k);"
        "float from = max(c - s * 0.5, dot(first, axis)), to = min(c + s * 0.5, dot(last, axis));"
        "if (to > from) sum += w * (to - from) / s * at(0, row + axis * (from + to) * 0.5); all += w; }"
        "return sum * part / all;"},
    {"CIAffineTransform",
        "vec2 p = d - vec2(n[4], n[5]); return at(0, vec2(n[0] * p.x + n[2] * p.y, n[1] * p.x + n[3] * p.y));"},
    {"CIAffineClamp",
        "vec2 p = d - vec2(n[4], n[5]); p = vec2(n[0] * p.x + n[2] * p.y, n[1] * p.x + n[3] * p.y);"
        "return at(0, clamp(p, extent0.xy + 0.5, extent0.xy + extent0.zw - 0.5));"},
    {"CIConstantColorGenerator", "return c[0];"},
    {"CIRadialGradient",
        "float t = (distance(d, vec2(n[0], n[1])) - n[2]) / max(n[3] - n[2], 1e-4); return dithered(mix(c[0], c[1], "
        "clamp(t, 0.0, 1.0)));"},
    {"CIGaussianGradient",
        "float r = distance(d, vec2(n[0], n[1])) / max(n[2], 1e-4);"
        "return dithered(mix(c[1], c[0], max(0.0, (exp(-4.5 * r * r) - 0.0111) / 0.9889)));"},
    {"CILinearGradient",
        "vec2 a = vec2(n[0], n[1]), b = vec2(n[2], n[3]); vec2 way = b - a;"
        "float t = dot(d - a, way) / max(dot(way, way), 1e-4); return dithered(mix(c[0], c[1], clamp(t, 0.0, 1.0)));"},
    {"CICheckerboardGenerator",
        "vec2 q = (d - vec2(n[0], n[1])) / max(n[2], 1e-3); vec2 f = sin(q * 3.14159265); float s = f.x * f.y;"
        "float edge = max((1.0 - n[3]) * 0.5, 1e-3); return mix(c[1], c[0], smoothstep(-edge, edge, s));"},
    {"CIBlendWithMask", "float m = dot(at(2, d).rgb, vec3(0.299, 0.587, 0.114)); return mix(at(1, d), at(0, d), m);"},
    {"CIMaskToAlpha", "float g = dot(at(0, d).rgb, vec3(0.299, 0.587, 0.114)); return vec4(g);"},
    {"CISourceOverCompositing", "vec4 s = at(0, d); return s + at(1, d) * (1.0 - s.a);"},
    {"CISourceInCompositing", "return at(0, d) * at(1, d).a;"},
    {"CISourceOutCompositing", "return at(0, d) * (1.0 - at(1, d).a);"},
    {"CISourceAtopCompositing", "vec4 s = at(0, d), b = at(1, d); return s * b.a + b * (1.0 - s.a);"},
    {"CIAdditionCompositing", "return min(at(0, d) + at(1, d), vec4(1));"},
    {"CIMultiplyCompositing", "return at(0, d) * at(1, d);"},
    {"CIMaximumCompositing", "return max(at(0, d), at(1, d));"},
    {"CIMinimumCompositing", "return min(at(0, d), at(1, d));"},
    {"CIMultiplyBlendMode", "return blend(at(0, d), at(1, d), 0);"},
    {"CIScreenBlendMode", "return blend(at(0, d), at(1, d), 1);"},
    {"CIOverlayBlendMode", "return blend(at(0, d), at(1, d), 2);"},
    {"CIDarkenBlendMode", "return blend(at(0, d), at(1, d), 3);"},
    {"CILightenBlendMode", "return blend(at(0, d), at(1, d), 4);"},
    {"CIColorDodgeBlendMode", "return blend(at(0, d), at(1, d), 5);"},
    {"CIColorBurnBlendMode", "return blend(at(0, d), at(1, d), 6);"},
    {"CIHardLightBlendMode", "return blend(at(0, d), at(1, d), 7);"},
    {"CISoftLightBlendMode", "return blend(at(0, d), at(1, d), 8);"},
    {"CIDifferenceBlendMode", "return blend(at(0, d), at(1, d), 9);"},
    {"CIExclusionBlendMode", "return blend(at(0, d), at(1, d), 10);"},
    {"CISubtractBlendMode", "return blend(at(0, d), at(1, d), 11);"},
    {"CIHueBlendMode", "return blend(at(0, d), at(1, d), 12);"},
    {"CISaturationBlendMode", "return blend(at(0, d), at(1, d), 13);"},
    {"CIColorBlendMode", "return blend(at(0, d), at(1, d), 14);"},
    {"CILuminosityBlendMode", "return blend(at(0, d), at(1, d), 15);"},
    {"CIColorInvert", "vec4 s = at(0, d); return vec4(s.a - s.rgb, s.a);"},
    {"CIColorControls",
        "vec4 s = straight(at(0, d)); vec3 g = vec3(dot(s.rgb, vec3(0.2126, 0.7152, 0.0722)));"
        "s.rgb = (mix(g, s.rgb, n[0]) + n[1] - 0.5) * n[2] + 0.5; return premultiplied(s);"},
    {"CIExposureAdjust", "vec4 s = straight(at(0, d)); s.rgb *= exp2(n[0]); return premultiplied(s);"},
    {"CIGammaAdjust", "vec4 s = straight(at(0, d)); s.rgb = pow(s.rgb, vec3(n[0])); return premultiplied(s);"},
    {"CIHueAdjust",
        "vec4 s = straight(at(0, d)); float a = cos(n[0]), b = sin(n[0]); vec3 k = vec3(0.57735027);"
        "s.rgb = s.rgb * a + cross(k, s.rgb) * b + k * dot(k, s.rgb) * (1.0 - a); return premultiplied(s);"},
    {"CIColorMonochrome",
        "vec4 s = straight(at(0, d)); float g = dot(s.rgb, vec3(0.2126, 0.7152, 0.0722));"
        "s.rgb = mix(s.rgb, straight(c[0]).rgb * g, n[0]); return premultiplied(s);"},
    {"CISepiaTone",
        "vec4 s = straight(at(0, d)); vec3 t = vec3(dot(s.rgb, vec3(0.393, 0.769, 0.189)), dot(s.rgb, vec3(0.349, "
        "0.686, 0.168)),"
        "dot(s.rgb, vec3(0.272, 0.534, 0.131))); s.rgb = mix(s.rgb, t, n[0]); return premultiplied(s);"},
    {"CIFalseColor",
        "vec4 s = straight(at(0, d)); return mix(c[0], c[1], dot(s.rgb, vec3(0.2126, 0.7152, 0.0722))) * s.a;"},
    {"CIPixellate",
        "vec2 m = vec2(n[0], n[1]); float s = max(n[2], 1.0); return at(0, (floor((d - m) / s) + 0.5) * s + m);"},
    {"CIKaleidoscope",
        "vec2 p = d - vec2(n[0], n[1]); float k = max(floor(n[2]), 1.0), w = 6.28318531 / k, a = atan(p.y, p.x) - n[3];"
        "a = abs(mod(a + w * 0.5, w) - w * 0.5) + n[3]; p = vec2(n[0], n[1]) + length(p) * vec2(cos(a), sin(a));"
        "vec2 q = abs(mod((p - extent0.xy) / extent0.zw, 2.0) - 1.0); return at(0, extent0.xy + (1.0 - q) * "
        "extent0.zw);"},
    {"CIDissolveTransition", "return mix(at(0, d), at(1, d), clamp(n[0], 0.0, 1.0));"},
};

constexpr const char* kHelpers = R"(
out vec4 result; in vec2 place;
uniform vec4 covers; uniform sampler2D image0, image1, image2; uniform vec4 extent0, extent1, extent2;
uniform float n[8]; uniform vec4 c[2];
vec4 sampled(sampler2D s, vec4 e, vec2 p) {
    vec2 t = (p - e.xy) / max(e.zw, vec2(1e-6));
    if (t.x < 0.0 || t.y < 0.0 || t.x > 1.0 || t.y > 1.0) return vec4(0);
    return texture(s, vec2(t.x, 1.0 - t.y));
}
vec4 at(int k, vec2 p) {
    return k == 0 ? sampled(image0, extent0, p) : k == 1 ? sampled(image1, extent1, p) : sampled(image2, extent2, p);
}
// Noise of less than a step of 8 bits, without which dark gradients show bands. Nothing stays nothing.
vec4 dithered(vec4 p) {
    float k = (fract(52.9829189 * fract(dot(gl_FragCoord.xy, vec2(0.06711056, 0.00583715)))) - 0.5) / 255.0;
    return p.a >= 1.0 ? vec4(clamp(p.rgb + k, 0.0, 1.0), 1.0) : p.a > 0.0 ? clamp(p + k, 0.0, 1.0) : p;
}
vec4 straight(vec4 p) { return p.a > 0.0 ? vec4(p.rgb / p.a, p.a) : vec4(0); }
vec4 premultiplied(vec4 s) { s = clamp(s, 0.0, 1.0); return vec4(s.rgb * s.a, s.a); }
)";

constexpr const char* kBlend = R"(
float lum(vec3 c) { return dot(c, vec3(0.3, 0.59, 0.11)); }
float sat(vec3 c) { return max(c.r, max(c.g, c.b)) - min(c.r, min(c.g, c.b)); }
vec3 withLum(vec3 c, float l) {
    c += l - lum(c);
    float k = lum(c), low = min(c.r, min(c.g, c.b)), high = max(c.r, max(c.g, c.b));
    if (low < 0.0) c = k + (c - k) * k / max(k - low, 1e-5);
    if (high > 1.0) c = k + (c - k) * (1.0 - k) / max(high - k, 1e-5);
    return c;
}
vec3 withSat(vec3 c, float s) {
    float low = min(c.r, min(c.g, c.b)), span = sat(c);
    return span > 0.0 ? (c - low) * s / span : vec3(0);
}
float one(float s, float b, int mode) {
    if (mode == 0) return s * b;
    if (mode == 1) return s + b - s * b;
    if (mode == 2) return b <= 0.5 ? 2.0 * s * b : 1.0 - 2.0 * (1.0 - s) * (1.0 - b);
    if (mode == 3) return min(s, b);
    if (mode == 4) return max(s, b);
    if (mode == 5) return b <= 0.0 ? 0.0 : s >= 1.0 ? 1.0 : min(1.0, b / (1.0 - s));
    if (mode == 6) return b >= 1.0 ? 1.0 : s <= 0.0 ? 0.0 : 1.0 - min(1.0, (1.0 - b) / s);
    if (mode == 7) return s <= 0.5 ? 2.0 * s * b : 1.0 - 2.0 * (1.0 - s) * (1.0 - b);
    if (mode == 8) {
        float g = b <= 0.25 ? ((16.0 * b - 12.0) * b + 4.0) * b : sqrt(b);
        return s <= 0.5 ? b - (1.0 - 2.0 * s) * b * (1.0 - b) : b + (2.0 * s - 1.0) * (g - b);
    }
    if (mode == 9) return abs(b - s);
    if (mode == 10) return b + s - 2.0 * b * s;
    return max(b - s, 0.0);
}
vec4 blend(vec4 source, vec4 backdrop, int mode) {
    vec3 s = straight(source).rgb, b = straight(backdrop).rgb, m;
    if (mode == 12) m = withLum(withSat(s, sat(b)), lum(b));
    else if (mode == 13) m = withLum(withSat(b, sat(s)), lum(b));
    else if (mode == 14) m = withLum(s, lum(b));
    else if (mode == 15) m = withLum(b, lum(s));
    else m = vec3(one(s.r, b.r, mode), one(s.g, b.g, mode), one(s.b, b.b, mode));
    return vec4(source.rgb * (1.0 - backdrop.a) + backdrop.rgb * (1.0 - source.a) + source.a * backdrop.a * m,
        source.a + backdrop.a - source.a * backdrop.a);
}
)";

} // namespace

std::string filterVertexShader()
{
    // One triangle over everything; `place` runs from 0, 0 at the top left to 1, 1.
    return R"(
out vec2 place;
void main() {
    vec2 p = vec2(float(gl_VertexID & 1) * 4.0 - 1.0, float(gl_VertexID >> 1) * 4.0 - 1.0);
    place = p * 0.5 + 0.5;
    gl_Position = vec4(p, 0.0, 1.0);
})";
}

std::string filterFragmentShader(const std::string& filter)
{
    const char* body = kRows[0].body;
    for (const Row& row : kRows) {
        if (filter == row.filter)
            body = row.body;
    }
    const bool blends = std::string(body).find("blend(") != std::string::npos;
    return std::string(kHelpers) + (blends ? kBlend : "") + "vec4 filtered(vec2 d) {" + body
        + "}\nvoid main() { result = filtered(covers.xy + vec2(place.x, 1.0 - place.y) * covers.zw); }";
}

} // namespace vitrel::qc
