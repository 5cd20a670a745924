#include "platform/quartzcomposer/drawing/FilterRows.h"

namespace vitrel::qc {

namespace {

// Premultiplied throughout; the formulas of the blend modes are those of PDF 1.7, section 11.3.5.
constexpr FilterRow kRows[] = {
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
        "float w = n[3] - n[2], t = (distance(d, vec2(n[0], n[1])) - n[2]) / (abs(w) < 1e-4 ? 1e-4 : w);"
        "return dithered(mix(c[0], c[1], "
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
    {"CIBlendWithAlphaMask", "return mix(at(1, d), at(0, d), at(2, d).a);"},
    {"CIDivideBlendMode", "return blend(at(0, d), at(1, d), 16);"},
    {"CILinearBurnBlendMode", "return blend(at(0, d), at(1, d), 17);"},
    {"CILinearDodgeBlendMode", "return blend(at(0, d), at(1, d), 18);"},
    {"CILinearLightBlendMode", "return blend(at(0, d), at(1, d), 19);"},
    {"CIPinLightBlendMode", "return blend(at(0, d), at(1, d), 20);"},
    {"CIVividLightBlendMode", "return blend(at(0, d), at(1, d), 21);"},
    {"CIColorClamp",
        "vec4 s = straight(at(0, d)); return premultiplied(clamp(s, vec4(n[0], n[1], n[2], n[3]),"
        "vec4(n[4], n[5], n[6], n[7])));"},
    {"CIColorMatrix",
        "vec4 s = straight(at(0, d)); return premultiplied(vec4(dot(s, vec4(n[0], n[1], n[2], n[3])),"
        "dot(s, vec4(n[4], n[5], n[6], n[7])), dot(s, vec4(n[8], n[9], n[10], n[11])),"
        "dot(s, vec4(n[12], n[13], n[14], n[15]))) + vec4(n[16], n[17], n[18], n[19]));"},
    {"CIColorPolynomial",
        "vec4 s = straight(at(0, d)), r; for (int k = 0; k < 4; ++k)"
        "r[k] = n[4 * k] + s[k] * (n[4 * k + 1] + s[k] * (n[4 * k + 2] + s[k] * n[4 * k + 3])); return "
        "premultiplied(r);"},
    // The colour of a black body, and a tint between green and magenta; one white becomes the other.
    {"CITemperatureAndTint",
        "vec4 s = straight(at(0, d)); vec3 white[2]; for (int k = 0; k < 2; ++k) {"
        "float t = clamp(n[2 * k], 1000.0, 40000.0) / 100.0;"
        "float r = t <= 66.0 ? 1.0 : 1.292936 * pow(t - 60.0, -0.1332047592);"
        "float g = t <= 66.0 ? 0.390082 * log(t) - 0.631841 : 1.129891 * pow(t - 60.0, -0.0755148492);"
        "float b = t >= 66.0 ? 1.0 : t <= 19.0 ? 0.0 : 0.543207 * log(t - 10.0) - 1.196254;"
        "white[k] = clamp(vec3(r, g * (1.0 - n[2 * k + 1] / 400.0), b), 0.01, 1.0); }"
        "s.rgb *= white[1] / white[0]; return premultiplied(s);"},
    // A cubic through the five points.
    {"CIToneCurve",
        "vec4 s = straight(at(0, d)); for (int c = 0; c < 3; ++c) { float x = s[c]; int k = 0;"
        "while (k < 3 && x > n[2 * k + 2]) ++k;"
        "vec2 a = vec2(n[2 * k], n[2 * k + 1]), b = vec2(n[2 * k + 2], n[2 * k + 3]);"
        "vec2 o = k > 0 ? vec2(n[2 * k - 2], n[2 * k - 1]) : 2.0 * a - b;"
        "vec2 e = k < 3 ? vec2(n[2 * k + 4], n[2 * k + 5]) : 2.0 * b - a;"
        "float h = max(b.x - a.x, 1e-5), t = clamp((x - a.x) / h, 0.0, 1.0);"
        "float m0 = (b.y - o.y) / max(b.x - o.x, 1e-5) * h, m1 = (e.y - a.y) / max(e.x - a.x, 1e-5) * h;"
        "s[c] = a.y + t * (m0 + t * (3.0 * (b.y - a.y) - 2.0 * m0 - m1 + t * (2.0 * (a.y - b.y) + m0 + m1))); }"
        "return premultiplied(s);"},
    {"CIVibrance",
        "vec4 s = straight(at(0, d)); float most = max(s.r, max(s.g, s.b)), least = min(s.r, min(s.g, s.b));"
        "s.rgb = mix(vec3(luma(s.rgb)), s.rgb, 1.0 + n[0] * (1.0 - (most - least))); return premultiplied(s);"},
    {"CIWhitePointAdjust", "return at(0, d) * vec4(straight(c[0]).rgb, 1.0);"},
    {"CILinearToSRGBToneCurve",
        "vec4 s = straight(at(0, d)); for (int k = 0; k < 3; ++k) s[k] = s[k] <= 0.0031308 ? s[k] * 12.92 :"
        "1.055 * pow(s[k], 1.0 / 2.4) - 0.055; return premultiplied(s);"},
    {"CISRGBToneCurveToLinear",
        "vec4 s = straight(at(0, d)); for (int k = 0; k < 3; ++k) s[k] = s[k] <= 0.04045 ? s[k] / 12.92 :"
        "pow((s[k] + 0.055) / 1.055, 2.4); return premultiplied(s);"},
    {"CIColorPosterize",
        "vec4 s = straight(at(0, d)); float k = max(n[0] - 1.0, 1.0);"
        "s.rgb = floor(s.rgb * k + 0.5) / k; return premultiplied(s);"},
    {"CIColorMap",
        "vec4 s = straight(at(0, d)); return at(1, extent1.xy + vec2(0.5 + luma(s.rgb) * (extent1.z - 1.0), extent1.w "
        "* "
        "0.5)) * s.a;"},
    {"CIMaximumComponent", "vec4 s = at(0, d); return vec4(vec3(max(s.r, max(s.g, s.b))), s.a);"},
    {"CIMinimumComponent", "vec4 s = at(0, d); return vec4(vec3(min(s.r, min(s.g, s.b))), s.a);"},
    {"CIPhotoEffectMono", "vec4 s = at(0, d); return vec4(vec3(luma(s.rgb)), s.a);"},
    {"CIPhotoEffectTonal",
        "vec4 s = straight(at(0, d)); s.rgb = vec3((luma(s.rgb) - 0.5) * 0.85 + 0.5); return premultiplied(s);"},
    {"CIPhotoEffectNoir",
        "vec4 s = straight(at(0, d)); s.rgb = vec3((luma(s.rgb) - 0.5) * 1.4 + 0.45); return premultiplied(s);"},
    {"CIPhotoEffectChrome",
        "vec4 s = straight(at(0, d)); s.rgb = (mix(vec3(luma(s.rgb)), s.rgb, 1.25) - 0.5) * 1.1 + 0.5; return "
        "premultiplied(s);"},
    {"CIPhotoEffectFade",
        "vec4 s = straight(at(0, d)); s.rgb = mix(vec3(luma(s.rgb)), s.rgb, 0.7) * 0.85 + 0.1; return "
        "premultiplied(s);"},
    {"CIPhotoEffectInstant",
        "vec4 s = straight(at(0, d)); s.rgb = mix(vec3(luma(s.rgb)), s.rgb, 0.85) * vec3(0.95, 0.9, 0.8) + vec3(0.06, "
        "0.05, "
        "0.06); return premultiplied(s);"},
    {"CIPhotoEffectProcess",
        "vec4 s = straight(at(0, d)); s.rgb = mix(vec3(luma(s.rgb)), s.rgb, 0.9) * vec3(0.92, 1.0, 0.95) + vec3(0.0, "
        "0.02, "
        "0.08); return premultiplied(s);"},
    {"CIPhotoEffectTransfer",
        "vec4 s = straight(at(0, d)); s.rgb = mix(vec3(luma(s.rgb)), s.rgb, 0.9) * vec3(1.0, 0.93, 0.8) + vec3(0.06, "
        "0.02, "
        "0.0); return premultiplied(s);"},
    {"CIVignette",
        "vec4 s = at(0, d); vec2 m = extent0.xy + extent0.zw * 0.5;"
        "float r = length(d - m) / max(max(extent0.z, extent0.w) * 0.5 * n[0], 1e-3);"
        "return vec4(s.rgb * clamp(1.0 - n[1] * r * r * 0.5, 0.0, 1.0), s.a);"},
    {"CIVignetteEffect",
        "vec4 s = at(0, d); float r = distance(d, vec2(n[0], n[1])), f = max(n[2] * n[4], 1e-3);"
        "return vec4(s.rgb * (1.0 - n[3] * smoothstep(n[2] - f, n[2] + f, r)), s.a);"},
    {"CIHighlightShadowAdjust",
        "vec4 s = straight(at(0, d)); float l = luma(s.rgb), dark = 1.0 - l;"
        "s.rgb += n[1] * 0.5 * dark * dark * s.rgb; s.rgb *= mix(1.0, n[2], l * l * 0.5); return premultiplied(s);"},
    // Blurs; the second image of those that want one is the blurred first.
    {"box",
        "vec2 axis = vec2(n[1], n[2]); float s = max(n[0] / 8.0, 1.0); vec4 sum = vec4(0); float all = 0.0;"
        "for (int k = -8; k <= 8; ++k) { float w = clamp(n[0] + 0.5 - abs(float(k)) * s + s * 0.5, 0.0, s);"
        "if (w > 0.0) { sum += w * at(0, d + axis * s * float(k)); all += w; } } return sum / all;"},
    {"CICheapBlur",
        "float passes = clamp(n[0], 0.0, 8.0), done = 0.0; vec4 s = at(0, d), edge = vec4(0);"
        "for (int k = 0; k < 8; ++k) { float part = clamp(passes - float(k), 0.0, 1.0); if (part <= 0.0) break;"
        "float o = 0.5 * n[1] * float(k + 1); vec4 m = vec4(0); for (int c = 0; c < 4; ++c) {"
        "vec2 p = d + o * vec2((c & 1) * 2 - 1, (c & 2) - 1);"
        "m += at(0, clamp(p, extent0.xy + 0.5, extent0.xy + extent0.zw - 0.5)); }"
        "s = mix(s, (s * float(k) + m * 0.25) / float(k + 1), part); } return s;"},
    {"CIMotionBlur",
        "vec2 way = turned(vec2(n[0] / 16.0, 0.0), n[1]); vec4 sum = vec4(0);"
        "for (int k = -16; k <= 16; ++k) sum += at(0, d + way * float(k)); return sum / 33.0;"},
    {"CIZoomBlur",
        "vec2 way = (vec2(n[0], n[1]) - d) * n[2] / 200.0 / 32.0; vec4 sum = vec4(0);"
        "for (int k = 0; k <= 32; ++k) sum += at(0, d + way * float(k)); return sum / 33.0;"},
    // Each channel's middle one of nine, by a sorting network's inner part.
    {"CIMedianFilter",
        "vec4 v[9]; for (int k = 0; k < 9; ++k) v[k] = at(0, clamp(d + vec2(k % 3 - 1, k / 3 - 1), extent0.xy + 0.5,"
        "extent0.xy + extent0.zw - 0.5)); for (int i = 0; i < 5; ++i) for (int j = i + 1; j < 9; ++j) {"
        "vec4 a = min(v[i], v[j]); v[j] = max(v[i], v[j]); v[i] = a; } return v[4];"},
    {"CINoiseReduction",
        "vec4 s = at(0, d), sum = s; float all = 1.0; for (int k = 0; k < 9; ++k) { if (k == 4) continue;"
        "vec4 o = at(0, d + vec2(k % 3 - 1, k / 3 - 1)); float w = all > 0.0 && distance(o, s) < n[0] * 2.0 ? 1.0 : "
        "0.0;"
        "sum += o * w; all += w; } return sum / all;"},
    {"CISharpenLuminance",
        "vec4 s = at(0, d); float l = 0.0; for (int k = 0; k < 9; ++k) l += luma(at(0, clamp(d + vec2(k % 3 - 1, k / 3 "
        "- "
        "1), extent0.xy + 0.5, extent0.xy + extent0.zw - 0.5)).rgb) / 9.0;"
        "return vec4(clamp(s.rgb + (luma(s.rgb) - l) * n[0] * 2.0, 0.0, s.a), s.a);"},
    {"CIUnsharpMask", "vec4 s = at(0, d); return vec4(clamp(s.rgb + (s.rgb - at(1, d).rgb) * n[1], 0.0, s.a), s.a);"},
    {"CIBloom", "vec4 s = at(0, d), b = at(1, d) * n[1]; return clamp(s + b - s * b, 0.0, 1.0);"},
    {"CIGloom", "vec4 s = at(0, d); return min(s, mix(s, at(1, d) * s, clamp(n[1], 0.0, 1.0)));"},
    {"CIHeightFieldFromMask", "float h = dot(at(1, d).rgb, vec3(0.299, 0.587, 0.114)); return vec4(vec3(h), 1.0);"},
    {"CIEdges",
        "vec4 a = at(0, d), e = vec4(0); for (int k = 0; k < 2; ++k) { vec2 o = k == 0 ? vec2(1, 0) : vec2(0, 1);"
        "vec4 g = at(0, clamp(d + o, extent0.xy + 0.5, extent0.xy + extent0.zw - 0.5))"
        "- at(0, clamp(d - o, extent0.xy + 0.5, extent0.xy + extent0.zw - 0.5)); e += g * g; }"
        "return vec4(clamp(sqrt(e.rgb) * n[0], 0.0, 1.0) * a.a, a.a);"},
    {"CIEdgeWork",
        "vec4 s = at(0, d); float e = luma(s.rgb) - luma(at(1, d).rgb);"
        "return vec4(vec3(smoothstep(-0.02, 0.02, e)), 1.0) * s.a;"},
};

} // namespace

std::span<const FilterRow> filterRows()
{
    return kRows;
}

} // namespace vitrel::qc
