#include "platform/quartzcomposer/drawing/FilterShaders.h"

#include "platform/quartzcomposer/drawing/FilterRows.h"

namespace vitrel::qc {

namespace {

constexpr const char* kHelpers = R"(
out vec4 result; in vec2 place;
uniform vec4 covers; uniform sampler2D image0, image1, image2; uniform vec4 extent0, extent1, extent2;
uniform float n[24]; uniform vec4 c[2];
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
float luma(vec3 c) { return dot(c, vec3(0.2126, 0.7152, 0.0722)); }
vec2 turned(vec2 p, float a) { return vec2(cos(a) * p.x - sin(a) * p.y, sin(a) * p.x + cos(a) * p.y); }
// Whole numbers alone: sines differ from driver to driver.
uint mixed(uint h) { h ^= h >> 16; h *= 0x7FEB352Du; h ^= h >> 15; h *= 0x846CA68Bu; return h ^ (h >> 16); }
uint hashOf(ivec2 p) { return mixed(uint(p.x) ^ mixed(uint(p.y) + 0x9E3779B9u)); }
float random(ivec2 p) { return float(hashOf(p) >> 8) / 16777215.0; }
float smoothNoise(vec2 p, int period) {
    vec2 i = floor(p), f = p - i; f = f * f * (3.0 - 2.0 * f);
    int x0 = int(mod(i.x, float(period))), x1 = int(mod(i.x + 1.0, float(period))), y = int(i.y);
    return mix(mix(random(ivec2(x0, y)), random(ivec2(x1, y)), f.x),
        mix(random(ivec2(x0, y + 1)), random(ivec2(x1, y + 1)), f.x), f.y);
}
// Rays about a centre: as strong as a striation lets them be, in the direction of `p`.
float striation(vec2 p, float strength, float contrast, float time) {
    float a = atan(p.y, p.x) / 6.28318531 + 0.5;
    float k = 0.65 * smoothNoise(vec2(a * 24.0, time * 10.0), 24) + 0.35 * smoothNoise(vec2(a * 96.0, time * 10.0), 96);
    return clamp(1.0 - strength * (1.0 - clamp(0.5 + (k - 0.5) * contrast, 0.0, 1.0)), 0.0, 1.0);
}
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
    if (mode == 11) return max(b - s, 0.0);
    if (mode == 16) return s <= 0.0 ? 1.0 : min(b / s, 1.0);
    if (mode == 17) return max(s + b - 1.0, 0.0);
    if (mode == 18) return min(s + b, 1.0);
    if (mode == 19) return clamp(b + 2.0 * s - 1.0, 0.0, 1.0);
    if (mode == 20) return s <= 0.5 ? min(b, 2.0 * s) : max(b, 2.0 * s - 1.0);
    if (s <= 0.5) return b >= 1.0 ? 1.0 : s <= 0.0 ? 0.0 : 1.0 - min(1.0, (1.0 - b) / (2.0 * s));
    return b <= 0.0 ? 0.0 : s >= 1.0 ? 1.0 : min(1.0, b / (2.0 - 2.0 * s));
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
    const char* body = "return at(0, d);";
    for (const auto& rows : {filterRows(), patternFilterRows(), distortionFilterRows()}) {
        for (const FilterRow& row : rows) {
            if (filter == row.filter)
                body = row.body;
        }
    }
    const bool blends = std::string(body).find("blend(") != std::string::npos;
    return std::string(kHelpers) + (blends ? kBlend : "") + "vec4 filtered(vec2 d) {" + body
        + "}\nvoid main() { result = filtered(covers.xy + vec2(place.x, 1.0 - place.y) * covers.zw); }";
}

} // namespace vitrel::qc
