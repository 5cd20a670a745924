#include "platform/quartzcomposer/drawing/FilterRows.h"

namespace vitrel::qc {

namespace {

#define VITREL_WITHIN "vec2 m = vec2(n[0], n[1]), p = d - m; float r = length(p) / max(n[2], 1e-3);"
// From 1 at the centre to 0 at the radius, without an edge at either.
#define VITREL_BUMP "float b = r < 1.0 ? (1.0 - r) * (1.0 - r) * (1.0 + 2.0 * r) : 0.0;"
// The place in a lattice of squares of width n[3] that are turned by n[2], in widths.
#define VITREL_TILE "vec2 m = vec2(n[0], n[1]); float w = max(n[3], 1.0); vec2 q = turned(d - m, -n[2]) / w;"
#define VITREL_TILED "return at(0, m + turned((q - 0.5) * w, n[2]));"
// Reflected into one of the triangles that a plane is made of: equal sides, or half of one.
#define VITREL_TRIANGLE                                                                                                \
    "for (int k = 0; k < 24; ++k) { if (q.y < 0.0) { q.y = -q.y; ++folds; }"                                           \
    "float a = dot(q, vec2(-0.8660254, 0.5)); if (a > 0.0) { q -= 2.0 * a * vec2(-0.8660254, 0.5); ++folds; }"         \
    "float b = dot(q - vec2(1, 0), vec2(0.8660254, 0.5));"                                                             \
    "if (b > 0.0) { q -= 2.0 * b * vec2(0.8660254, 0.5); ++folds; } }"

constexpr FilterRow kRows[] = {
    {"CIBumpDistortion", VITREL_WITHIN VITREL_BUMP "return at(0, m + p * (1.0 - n[3] * b));"},
    {"CIBumpDistortionLinear",
        "vec2 m = vec2(n[0], n[1]), axis = turned(vec2(1, 0), n[3]); float u = dot(d - m, axis), r = abs(u) / "
        "max(n[2], "
        "1e-3);" VITREL_BUMP "return at(0, d - axis * u * n[4] * b);"},
    {"CICircleSplashDistortion", VITREL_WITHIN "return at(0, r > 1.0 ? m + p / r : d);"},
    {"CICircularWrap",
        "vec2 p = d - vec2(n[0], n[1]); float a = fract((atan(p.x, p.y) + n[3]) / 6.28318531);"
        "return at(0, extent0.xy + vec2(a * extent0.z, length(p) - n[2]));"},
    {"CIDisplacementDistortion",
        "vec4 s = at(1, d); return at(0, d + n[0] * (s.a > 0.0 ? straight(s).rg - 0.5 : vec2(0)));"},
    // The texture's slopes bend the light; it repeats about the centre.
    {"CIGlassDistortion",
        "vec2 q = mod(d - vec2(n[0], n[1]), max(extent1.zw, vec2(1))) + extent1.xy; vec2 slope = vec2("
        "luma(at(1, q + vec2(1, 0)).rgb) - luma(at(1, q - vec2(1, 0)).rgb),"
        "luma(at(1, q + vec2(0, 1)).rgb) - luma(at(1, q - vec2(0, 1)).rgb)); return at(0, d + slope * n[2] * 0.5);"},
    {"CIGlassLozenge",
        "vec2 a = vec2(n[0], n[1]), way = vec2(n[2], n[3]) - a; float t = clamp(dot(d - a, way) / max(dot(way, way), "
        "1e-4), 0.0, 1.0); vec2 near = a + way * t; float r = distance(d, near) / max(n[4], 1e-3);"
        "return at(0, r < 1.0 ? near + (d - near) * mix(1.0 / max(n[5], 0.1), 1.0, 1.0 - sqrt(1.0 - r * r)) : d);"},
    {"CIHoleDistortion", VITREL_WITHIN "return r < 1.0 ? vec4(0) : at(0, m + p * (1.0 - 1.0 / (r * r)));"},
    {"CILightTunnel",
        "vec2 m = vec2(n[0], n[1]), p = d - m; float r = length(p) / max(n[3], 1e-3);"
        "return at(0, r > 1.0 ? m + turned(p / r, n[2] * (r - 1.0)) : d);"},
    {"CIPinchDistortion", VITREL_WITHIN VITREL_BUMP "return at(0, m + p * (1.0 + n[3] * b));"},
    {"CITorusLensDistortion",
        "vec2 m = vec2(n[0], n[1]), p = d - m; float r = length(p), h = max(n[3] * 0.5, 1e-3), t = (r - n[2]) / h;"
        "return at(0, abs(t) < 1.0 && r > 0.0 ? m + p / r * (n[2] + t * h * mix(1.0, 1.0 / max(n[4], 0.1), sqrt(1.0 - "
        "t * "
        "t))) : d);"},
    {"CITwirlDistortion", VITREL_WITHIN "float k = max(1.0 - r, 0.0); return at(0, m + turned(p, n[3] * k * k));"},
    {"CIVortexDistortion", VITREL_WITHIN "float k = max(1.0 - r, 0.0); return at(0, m + turned(p, n[3] * k * k * k));"},
    // n: from the result's places back to shares of the image.
    {"CIPerspectiveTransform",
        "vec3 q = mat3(n[0], n[3], n[6], n[1], n[4], n[7], n[2], n[5], n[8]) * vec3(d, 1.0);"
        "return q.z > 0.0 ? at(0, extent0.xy + q.xy / q.z * extent0.zw) : vec4(0);"},
    // Tiles
    {"CIAffineTile",
        "vec2 p = d - vec2(n[4], n[5]); p = vec2(n[0] * p.x + n[2] * p.y, n[1] * p.x + n[3] * p.y);"
        "return at(0, extent0.xy + clamp(mod(p - extent0.xy, extent0.zw), vec2(0.5), extent0.zw - 0.5));"},
    {"CIFourfoldTranslatedTile",
        VITREL_TILE
        "float s = max(abs(sin(n[4])), 0.01); q = vec2(q.x - q.y * cos(n[4]) / s, q.y / s); q = fract(q + 0.5);"
        "q = vec2(q.x - 0.5 + (q.y - 0.5) * cos(n[4]), (q.y - 0.5) * s) + 0.5;" VITREL_TILED},
    {"CIFourfoldReflectedTile",
        VITREL_TILE "float s = max(abs(sin(n[4])), 0.01); q = vec2(q.x - q.y * cos(n[4]) / s, q.y / s) + 0.5;"
                    "q = 1.0 - abs(mod(q, 2.0) - 1.0);"
                    "q = vec2(q.x - 0.5 + (q.y - 0.5) * cos(n[4]), (q.y - 0.5) * s) + 0.5;" VITREL_TILED},
    {"CIParallelogramTile",
        VITREL_TILE
        "float s = max(abs(sin(n[4])), 0.01); q = vec2(q.x - q.y * cos(n[4]) / s, q.y / s) + 0.5;"
        "float column = floor(q.x); q = vec2(mod(column, 2.0) < 0.5 ? q.x - column : column + 1.0 - q.x, fract(q.y));"
        "q = vec2(q.x - 0.5 + (q.y - 0.5) * cos(n[4]), (q.y - 0.5) * s) + 0.5;" VITREL_TILED},
    {"CIFourfoldRotatedTile",
        VITREL_TILE
        "q += 0.5; vec2 cell = mod(floor(q), 2.0); q = fract(q) - 0.5;"
        "float turns = cell.y < 0.5 ? cell.x : 3.0 - cell.x; q = turned(q, 1.57079633 * turns) + 0.5;" VITREL_TILED},
    {"CIEightfoldReflectedTile",
        VITREL_TILE "q = 1.0 - abs(mod(q + 0.5, 2.0) - 1.0); q = q.y > q.x ? q.yx : q;" VITREL_TILED},
    {"CIGlideReflectedTile",
        VITREL_TILE
        "q += 0.5; float row = floor(q.y); q = fract(q); if (mod(row, 2.0) > 0.5) q.x = 1.0 - q.x;" VITREL_TILED},
    {"CITriangleTile",
        VITREL_TILE "int folds = 0; vec2 l = vec2(q.x - q.y * 0.57735027, q.y * 1.15470054); l -= floor(l);"
                    "if (l.x + l.y > 1.0) l = 1.0 - l; q = vec2(l.x + l.y * 0.5, l.y * 0.8660254);" VITREL_TILED},
    {"CISixfoldReflectedTile", VITREL_TILE "int folds = 0;" VITREL_TRIANGLE VITREL_TILED},
    {"CITwelvefoldReflectedTile",
        VITREL_TILE "int folds = 0;" VITREL_TRIANGLE "if (q.x > 0.5) q.x = 1.0 - q.x;" VITREL_TILED},
    {"CISixfoldRotatedTile",
        VITREL_TILE
        "vec2 l = vec2(q.x - q.y * 0.57735027, q.y * 1.15470054); vec2 cell = floor(l), best; float least = 1e9;"
        "for (int k = 0; k < 4; ++k) { vec2 o = cell + vec2(k & 1, k >> 1); vec2 p = vec2(o.x + o.y * 0.5, o.y * "
        "0.8660254); float r = distance(p, q); if (r < least) { least = r; best = q - p; } }"
        "float a = mod(atan(best.y, best.x), 1.04719755); q = length(best) * vec2(cos(a), sin(a)) + 0.5;" VITREL_TILED},
    {"CIOpTile",
        "vec2 m = vec2(n[0], n[1]); float w = max(n[4], 1.0); vec2 q = (d - m) / w, cell = floor(q);"
        "return at(0, m + cell * w + turned((fract(q) - 0.5) * w * n[2], n[3]) + 0.5 * w);"},
    {"CITriangleKaleidoscope",
        "vec2 m = vec2(n[0], n[1]); float w = max(n[2], 1.0); vec2 q = turned(d - m, -n[3]) / w; int folds = "
        "0;" VITREL_TRIANGLE "return at(0, m + turned((q - vec2(0.5, 0.28867513)) * w, n[3]))"
        "* pow(clamp(n[4], 0.0, 1.0), float(folds) * 0.5);"},
    // Transitions: the first image at 0, the second at 1.
    {"CIBarsSwipeTransition",
        "vec2 way = turned(vec2(1, 0), n[0]); float bar = floor(dot(d, vec2(-way.y, way.x)) / max(n[1], 1.0));"
        "float reach = abs(way.x) * extent0.z + abs(way.y) * extent0.w;"
        "float go = clamp(n[3], 0.0, 1.0) * (reach + n[2] * 10.0) - random(ivec2(int(bar), 7)) * n[2] * 10.0;"
        "vec2 p = d - way * max(go, 0.0); vec2 q = p - extent0.xy;"
        "return go < reach && q.x >= 0.0 && q.y >= 0.0 && q.x <= extent0.z && q.y <= extent0.w ? at(0, p) : at(1, d);"},
    {"CICopyMachineTransition",
        "vec2 way = turned(vec2(1, 0), n[5]); float w = max(n[6], 1.0); float x = dot(d - vec2(n[0], n[1]), way);"
        "float reach = abs(way.x) * n[2] + abs(way.y) * n[3]; float o = x - (clamp(n[4], 0.0, 1.0) * (reach + 2.0 * w) "
        "- "
        "w); vec4 s = o < 0.0 ? at(1, d) : at(0, d); float light = exp(-4.5 * o * o / (w * w)) * n[7];"
        "light *= clamp(n[4] * 20.0, 0.0, 1.0) * clamp((1.0 - n[4]) * 20.0, 0.0, 1.0);"
        "return clamp(s + c[0] * light, 0.0, 1.0);"},
    {"CIDisintegrateWithMaskTransition",
        "float t = clamp(n[0], 0.0, 1.0), e = 0.02, k = t * (1.0 + 2.0 * e) - e;"
        "float gone = 1.0 - smoothstep(k - e, k + e, luma(at(2, d).rgb));"
        "float there = smoothstep(k - e, k + e, luma(at(2, d - vec2(n[3], n[4])).rgb));"
        "vec4 under = at(1, d); under.rgb *= 1.0 - n[2] * there * step(0.001, t) * step(t, 0.999);"
        "return mix(at(0, d), under, gone);"},
    {"CIFlashTransition",
        "float t = clamp(n[2], 0.0, 1.0); vec2 p = d - vec2(n[0], n[1]); float flash = sin(t * 3.14159265);"
        "float r = length(p) / max(length(extent0.zw) * flash, 1e-3);"
        "float rays = clamp(1.2 - r, 0.0, 1.0) * striation(p, n[4], n[5], t) * flash;"
        "float fade = smoothstep(0.35, max(n[6], 0.36), t); vec4 light = c[0] * clamp(rays * 2.0, 0.0, 1.0);"
        "return clamp(mix(at(0, d), at(1, d), fade) * (1.0 - light.a) + light, 0.0, 1.0);"},
    {"CIModTransition",
        "vec2 p = turned(d - vec2(n[0], n[1]), n[3]); float w = max(n[4], 1.0), r = length(p) / max(n[5], 1.0);"
        "vec2 q = 3.14159265 * p / w; float v = 0.5 - 0.25 * (cos(q.x) + cos(q.y)), e = 0.04;"
        "float k = clamp(n[2], 0.0, 1.0) * (1.0 + 2.0 * e) - e; v = mix(v, v / (1.0 + r), 0.5 * step(0.0, r));"
        "return mix(at(0, d), at(1, d), 1.0 - smoothstep(k - e, k + e, v));"},
    {"CIRippleTransition",
        "vec2 m = vec2(n[0], n[1]), p = d - m; float r = length(p), w = max(n[3], 1.0);"
        "float reach = max(length(m - extent0.xy), max(length(m - extent0.xy - extent0.zw),"
        "max(length(m - extent0.xy - vec2(extent0.z, 0)), length(m - extent0.xy - vec2(0, extent0.w)))));"
        "float front = clamp(n[2], 0.0, 1.0) * (reach + 2.0 * w) - w, o = (r - front) / w;"
        "vec2 bent = abs(o) < 1.0 && r > 0.0 ? p / r * sin(o * 3.14159265) * (1.0 - abs(o)) * n[4] : vec2(0);"
        "vec4 s = mix(at(1, d + bent), at(0, d + bent), smoothstep(-0.5, 0.5, o));"
        "float shine = at(2, extent2.xy + extent2.zw * (0.5 + 0.5 * bent / max(abs(n[4]), 1.0))).r;"
        "return clamp(s + vec4(vec3(shine * (abs(o) < 1.0 ? 1.0 - abs(o) : 0.0) * s.a), 0.0), 0.0, 1.0);"},
    {"CISwipeTransition",
        "vec2 way = turned(vec2(1, 0), n[5]); float w = max(n[6], 1.0), x = dot(d - vec2(n[0], n[1]), way);"
        "float reach = abs(way.x) * n[2] + abs(way.y) * n[3]; float o = (clamp(n[4], 0.0, 1.0) * (reach + w) - x) / w;"
        "float k = clamp(o, 0.0, 1.0), band = 4.0 * k * (1.0 - k) * clamp(n[7], 0.0, 1.0);"
        "return mix(mix(at(0, d), at(1, d), k), c[0], band);"},
    // Averages and extremes, over a rectangle or a line of it.
    {"CIAreaAverage",
        "vec2 a = max(extent0.xy, vec2(n[0], n[1])), b = min(extent0.xy + extent0.zw, vec2(n[0] + n[2], n[1] + n[3]));"
        "vec4 sum = vec4(0); for (int k = 0; k < 4096; ++k)"
        "sum += at(0, a + (b - a) * (vec2(k & 63, k >> 6) + 0.5) / 64.0); return sum / 4096.0;"},
    {"CIAreaMaximum",
        "vec2 a = max(extent0.xy, vec2(n[0], n[1])), b = min(extent0.xy + extent0.zw, vec2(n[0] + n[2], n[1] + n[3]));"
        "vec4 most = vec4(0); for (int k = 0; k < 4096; ++k)"
        "most = max(most, at(0, a + (b - a) * (vec2(k & 63, k >> 6) + 0.5) / 64.0)); return most;"},
    {"CIAreaMinimum",
        "vec2 a = max(extent0.xy, vec2(n[0], n[1])), b = min(extent0.xy + extent0.zw, vec2(n[0] + n[2], n[1] + n[3]));"
        "vec4 least = vec4(1); for (int k = 0; k < 4096; ++k)"
        "least = min(least, at(0, a + (b - a) * (vec2(k & 63, k >> 6) + 0.5) / 64.0)); return least;"},
    {"CIRowAverage",
        "float a = max(extent0.x, n[0]), b = min(extent0.x + extent0.z, n[0] + n[2]), y = max(extent0.y, n[1]) + d.y;"
        "vec4 sum = vec4(0); for (int k = 0; k < 256; ++k) sum += at(0, vec2(a + (b - a) * (float(k) + 0.5) / 256.0, "
        "y));"
        "return sum / 256.0;"},
    {"CIColumnAverage",
        "float a = max(extent0.y, n[1]), b = min(extent0.y + extent0.w, n[1] + n[3]), x = max(extent0.x, n[0]) + d.x;"
        "vec4 sum = vec4(0); for (int k = 0; k < 256; ++k) sum += at(0, vec2(x, a + (b - a) * (float(k) + 0.5) / "
        "256.0));"
        "return sum / 256.0;"},
};

#undef VITREL_WITHIN
#undef VITREL_BUMP
#undef VITREL_TILE
#undef VITREL_TILED
#undef VITREL_TRIANGLE

} // namespace

std::span<const FilterRow> distortionFilterRows()
{
    return kRows;
}

} // namespace vitrel::qc
