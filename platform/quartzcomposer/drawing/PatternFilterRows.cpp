#include "platform/quartzcomposer/drawing/FilterRows.h"

namespace vitrel::qc {

namespace {

// Patterns out of nothing, and pictures that become patterns.
constexpr FilterRow kRows[] = {
    {"CIRandomGenerator",
        "uint h = hashOf(ivec2(floor(d))); return vec4(h & 255u, h >> 8 & 255u, h >> 16 & 255u, h >> 24) / 255.0;"},
    {"CIStripesGenerator",
        "float s = sin((d.x - n[0]) / max(n[2], 1e-3) * 3.14159265), edge = max((1.0 - n[3]) * 0.5, 1e-3);"
        "return mix(c[1], c[0], smoothstep(-edge, edge, s));"},
    {"CISmoothLinearGradient",
        "vec2 a = vec2(n[0], n[1]), way = vec2(n[2], n[3]) - a; float t = dot(d - a, way) / max(dot(way, way), 1e-4);"
        "return dithered(mix(c[0], c[1], smoothstep(0.0, 1.0, t)));"},
    {"CICircleGenerator",
        "return c[0] * clamp((n[2] - distance(d, vec2(n[0], n[1]))) / max(n[3], 1.0) + 0.5, 0.0, 1.0);"},
    {"CISunbeamsGenerator",
        "vec2 p = d - vec2(n[0], n[1]); float r = length(p), sun = max(n[2], 1e-3);"
        "float disc = 1.0 - smoothstep(sun - 1.0, sun + 1.0, r);"
        "float fade = clamp(1.0 - (r / sun - 1.0) / max(n[3], 1e-3), 0.0, 1.0);"
        "return c[0] * max(disc, fade * fade * striation(p, n[4], n[5], n[6]));"},
    {"CILenticularHaloGenerator",
        "vec2 p = d - vec2(n[0], n[1]); float r = length(p), w = max(n[3], 1e-3); vec3 ring;"
        "for (int k = 0; k < 3; ++k) { float m = n[2] + w * 0.5 + w * (1.0 - n[4]) * (0.5 - 0.5 * float(k));"
        "float b = clamp(1.0 - abs(r - m) / (w * 0.5), 0.0, 1.0); ring[k] = b * b * (3.0 - 2.0 * b); }"
        "vec3 s = ring * striation(p, n[5], n[6], n[7]) * c[0].rgb; return vec4(s, max(s.r, max(s.g, s.b)));"},
    {"CIStarShineGenerator",
        "vec2 q = turned(d - vec2(n[0], n[1]), -n[4]) / max(n[2], 1e-3); float r = length(q), e = pow(10.0, n[7]);"
        "float glow = r < 1.0 ? (1.0 - r) * (1.0 - r) * clamp(4.0 * e / (r * r + e), 0.0, 1.0) : 0.0;"
        "float f = 1.0 - r / 3.0; float spikes = r < 3.0 ? clamp(pow(10.0, n[5]) * n[6]"
        "/ (abs(q.x * q.y) * 100.0 / max(n[3], 0.01) + e), 0.0, 1.0) * f * f : 0.0;"
        "return c[0] * clamp(glow + spikes, 0.0, 1.0);"},
    // Cells: each takes the colour of its seed, which lies somewhere in a square of its own.
    {"CICrystallize",
        "float r = max(n[0], 1.0); vec2 q = (d - vec2(n[1], n[2])) / r, best; float least = 1e9;"
        "for (int k = 0; k < 9; ++k) { ivec2 cell = ivec2(floor(q)) + ivec2(k % 3 - 1, k / 3 - 1); uint h = "
        "hashOf(cell);"
        "vec2 s = vec2(cell) + 0.1 + 0.8 * vec2(h & 65535u, h >> 16) / 65535.0; float o = distance(q, s);"
        "if (o < least) { least = o; best = s; } } return at(0, clamp(best * r + vec2(n[1], n[2]), extent0.xy + 0.5,"
        "extent0.xy + extent0.zw - 0.5));"},
    {"CIPointillize",
        "float r = max(n[0], 1.0); vec2 q = (d - vec2(n[1], n[2])) / r, best; float least = 1e9;"
        "for (int k = 0; k < 9; ++k) { ivec2 cell = ivec2(floor(q)) + ivec2(k % 3 - 1, k / 3 - 1); uint h = "
        "hashOf(cell);"
        "vec2 s = vec2(cell) + 0.2 + 0.6 * vec2(h & 65535u, h >> 16) / 65535.0; float o = distance(q, s);"
        "if (o < least) { least = o; best = s; } } return at(0, clamp(best * r + vec2(n[1], n[2]), extent0.xy + 0.5,"
        "extent0.xy + extent0.zw - 0.5)) * clamp((0.5 - least) * r + 0.5, 0.0, 1.0);"},
    {"CIHexagonalPixellate",
        "float s = max(n[2], 1.0); vec2 step = vec2(s * 1.5, s * 0.8660254), q = d - vec2(n[0], n[1]), best; float "
        "least = "
        "1e9; for (int k = 0; k < 9; ++k) { vec2 cell = floor(q / step + 0.5) + vec2(k % 3 - 1, k / 3 - 1);"
        "if (mod(cell.x + cell.y, 2.0) > 0.5) continue; float o = distance(q, cell * step);"
        "if (o < least) { least = o; best = cell * step; } } return at(0, clamp(best + vec2(n[0], n[1]), extent0.xy + "
        "0.5,"
        "extent0.xy + extent0.zw - 0.5));"},
    // Screens: grey against a pattern; the sharper, the less between black and white.
    {"CICircularScreen",
        "vec4 s = at(0, d); float p = 0.5 + 0.5 * cos(6.28318531 * distance(d, vec2(n[0], n[1])) / max(n[2], 1.0));"
        "return vec4(vec3(clamp((luma(straight(s).rgb) - p) / max(1.0 - n[3], 0.02) + 0.5, 0.0, 1.0)) * s.a, s.a);"},
    {"CIDotScreen",
        "vec4 s = at(0, d); vec2 q = 6.28318531 * turned(d - vec2(n[0], n[1]), -n[2]) / max(n[3], 1.0);"
        "float p = 0.5 + 0.25 * (cos(q.x) + cos(q.y));"
        "return vec4(vec3(clamp((luma(straight(s).rgb) - p) / max(1.0 - n[4], 0.02) + 0.5, 0.0, 1.0)) * s.a, s.a);"},
    {"CIHatchedScreen",
        "vec4 s = at(0, d); vec2 q = abs(fract(turned(d - vec2(n[0], n[1]), -n[2]) / max(n[3], 1.0)) * 2.0 - 1.0);"
        "float p = max(q.x, q.y) * 0.5 + min(q.x, q.y) * 0.5;"
        "return vec4(vec3(clamp((luma(straight(s).rgb) - p) / max(1.0 - n[4], 0.02) + 0.5, 0.0, 1.0)) * s.a, s.a);"},
    {"CILineScreen",
        "vec4 s = at(0, d); float q = 6.28318531 * turned(d - vec2(n[0], n[1]), -n[2]).x / max(n[3], 1.0);"
        "float p = 0.5 + 0.5 * cos(q);"
        "return vec4(vec3(clamp((luma(straight(s).rgb) - p) / max(1.0 - n[4], 0.02) + 0.5, 0.0, 1.0)) * s.a, s.a);"},
    // Black takes over what the three inks have in common.
    {"CICMYKHalftone",
        "vec4 s = straight(at(0, d)); vec3 ink = 1.0 - s.rgb; float black = min(ink.r, min(ink.g, ink.b)) * n[5];"
        "vec4 amount = vec4(max(ink - black, 0.0), black), seen; vec4 angles = vec4(0.2617994, 1.3089969, 0.0, "
        "0.7853982);"
        "for (int k = 0; k < 4; ++k) { vec2 q = 6.28318531 * turned(d - vec2(n[0], n[1]), -n[3] - angles[k]) / "
        "max(n[2], "
        "1.0); float p = 0.5 + 0.25 * (cos(q.x) + cos(q.y));"
        "seen[k] = clamp((amount[k] - p) / max(1.0 - n[4], 0.02) + 0.5, 0.0, 1.0) * step(0.004, amount[k]); }"
        "return premultiplied(vec4((1.0 - seen.rgb) * (1.0 - seen.a), s.a));"},
};

} // namespace

std::span<const FilterRow> patternFilterRows()
{
    return kRows;
}

} // namespace vitrel::qc
