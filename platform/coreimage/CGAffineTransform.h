#pragma once

namespace vitrel {

// x' = a x + c y + tx, y' = b x + d y + ty.
struct CGAffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

inline CGAffineTransform CGAffineTransformMakeTranslation(double tx, double ty)
{
    return {1, 0, 0, 1, tx, ty};
}

inline CGAffineTransform CGAffineTransformMakeScale(double sx, double sy)
{
    return {sx, 0, 0, sy, 0, 0};
}

// First `first`, then `second`.
inline CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& first, const CGAffineTransform& second)
{
    return {first.a * second.a + first.b * second.c, first.a * second.b + first.b * second.d,
        first.c * second.a + first.d * second.c, first.c * second.b + first.d * second.d,
        first.tx * second.a + first.ty * second.c + second.tx, first.tx * second.b + first.ty * second.d + second.ty};
}

} // namespace vitrel
