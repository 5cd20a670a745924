#pragma once

#include <array>
#include <cmath>

namespace vitrel::qc {

struct Vec3 {
    double x = 0, y = 0, z = 0;
};
struct Vec4 {
    double x = 0, y = 0, z = 0, w = 1;
};

inline constexpr double kPi = 3.14159265358979323846;
inline double radians(double degrees)
{
    return degrees * kPi / 180.0;
}

// Column-major, as OpenGL has it: m[column * 4 + row]. Products apply the right factor first.
struct Matrix {
    std::array<double, 16> m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    friend Matrix operator*(const Matrix& a, const Matrix& b)
    {
        Matrix out;
        for (int column = 0; column < 4; ++column) {
            for (int row = 0; row < 4; ++row) {
                double sum = 0;
                for (int k = 0; k < 4; ++k)
                    sum += a.m[k * 4 + row] * b.m[column * 4 + k];
                out.m[column * 4 + row] = sum;
            }
        }
        return out;
    }

    Vec4 operator*(const Vec3& v) const
    {
        return {m[0] * v.x + m[4] * v.y + m[8] * v.z + m[12], m[1] * v.x + m[5] * v.y + m[9] * v.z + m[13],
            m[2] * v.x + m[6] * v.y + m[10] * v.z + m[14], m[3] * v.x + m[7] * v.y + m[11] * v.z + m[15]};
    }

    // The direction alone, not normalised. Right for uniform scales, near enough for others.
    Vec3 turned(const Vec3& v) const
    {
        return {m[0] * v.x + m[4] * v.y + m[8] * v.z, m[1] * v.x + m[5] * v.y + m[9] * v.z,
            m[2] * v.x + m[6] * v.y + m[10] * v.z};
    }

    static Matrix translation(double x, double y, double z)
    {
        Matrix out;
        out.m[12] = x;
        out.m[13] = y;
        out.m[14] = z;
        return out;
    }
    static Matrix scale(double x, double y, double z)
    {
        Matrix out;
        out.m[0] = x;
        out.m[5] = y;
        out.m[10] = z;
        return out;
    }
    // About x (0), y (1) or z (2), counter-clockwise seen from the positive end.
    static Matrix rotation(int axis, double degrees)
    {
        if (degrees == 0)
            return {};
        const double c = std::cos(radians(degrees)), s = std::sin(radians(degrees));
        const int a = (axis + 1) % 3, b = (axis + 2) % 3;
        Matrix out;
        out.m[a * 4 + a] = c;
        out.m[a * 4 + b] = s;
        out.m[b * 4 + a] = -s;
        out.m[b * 4 + b] = c;
        return out;
    }
    // glRotate about x, then y, then z.
    static Matrix rotations(double x, double y, double z) { return rotation(0, x) * rotation(1, y) * rotation(2, z); }
    // As glFrustum: half the width and height of the near plane.
    static Matrix frustum(double halfWidth, double halfHeight, double nearPlane, double farPlane)
    {
        Matrix out;
        out.m = {nearPlane / halfWidth, 0, 0, 0, 0, nearPlane / halfHeight, 0, 0, 0, 0,
            -(farPlane + nearPlane) / (farPlane - nearPlane), -1, 0, 0,
            -2 * farPlane * nearPlane / (farPlane - nearPlane), 0};
        return out;
    }
};

} // namespace vitrel::qc
