#pragma once

// Double-precision vectors, quaternions and affine matrices for poses and the
// reference skinning. Matrices follow the column-vector convention of the
// asset formats: p' = M p, translation in the fourth column.

#include <cmath>

struct Vec3 {
    double x = 0, y = 0, z = 0;
};

inline Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 Cross(Vec3 a, Vec3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double Length(Vec3 a) { return std::sqrt(Dot(a, a)); }
// A zero vector stays zero.
inline Vec3 Normalised(Vec3 a) {
    const double length = Length(a);
    return length > 0 ? a * (1 / length) : a;
}
inline Vec3 Lerp(Vec3 a, Vec3 b, double t) { return a + (b - a) * t; }
// Infinite when either vector has a NaN, so that garbage never hides.
inline double LargestDifference(Vec3 a, Vec3 b) {
    const double d[3] = {std::fabs(a.x - b.x), std::fabs(a.y - b.y), std::fabs(a.z - b.z)};
    double largest = 0;
    for (double x : d) largest = std::isnan(x) ? HUGE_VAL : x > largest ? x : largest;
    return largest;
}

struct Quat {
    double w = 1, x = 0, y = 0, z = 0;
};

inline Quat AxisAngle(Vec3 axis, double radians) {
    const Vec3 a = Normalised(axis) * std::sin(radians / 2);
    return {std::cos(radians / 2), a.x, a.y, a.z};
}

// Shortest-arc spherical interpolation.
inline Quat Slerp(Quat a, Quat b, double t) {
    double cosine = a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
    if (cosine < 0) {
        cosine = -cosine;
        b = {-b.w, -b.x, -b.y, -b.z};
    }
    double ka = 1 - t, kb = t;
    if (cosine < 0.9995) {
        const double angle = std::acos(cosine), sine = std::sin(angle);
        ka = std::sin((1 - t) * angle) / sine;
        kb = std::sin(t * angle) / sine;
    }
    Quat q{ka * a.w + kb * b.w, ka * a.x + kb * b.x, ka * a.y + kb * b.y, ka * a.z + kb * b.z};
    const double norm = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    return {q.w / norm, q.x / norm, q.y / norm, q.z / norm};
}

struct Mat4 {
    double m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

inline Mat4 operator*(const Mat4& a, const Mat4& b) {
    Mat4 c;
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 4; ++k)
            c.m[r][k] = a.m[r][0] * b.m[0][k] + a.m[r][1] * b.m[1][k] + a.m[r][2] * b.m[2][k] + a.m[r][3] * b.m[3][k];
    return c;
}

inline Vec3 TransformDirection(const Mat4& a, Vec3 v) {
    return {a.m[0][0] * v.x + a.m[0][1] * v.y + a.m[0][2] * v.z, a.m[1][0] * v.x + a.m[1][1] * v.y + a.m[1][2] * v.z,
            a.m[2][0] * v.x + a.m[2][1] * v.y + a.m[2][2] * v.z};
}

inline Vec3 TransformPoint(const Mat4& a, Vec3 p) {
    return TransformDirection(a, p) + Vec3{a.m[0][3], a.m[1][3], a.m[2][3]};
}

// Translation · rotation · scale.
inline Mat4 Compose(Vec3 translation, Quat q, Vec3 scale) {
    const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
    const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
    const double wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
    const double rotation[3][3] = {{1 - 2 * (yy + zz), 2 * (xy - wz), 2 * (xz + wy)},
                                   {2 * (xy + wz), 1 - 2 * (xx + zz), 2 * (yz - wx)},
                                   {2 * (xz - wy), 2 * (yz + wx), 1 - 2 * (xx + yy)}};
    const double s[3] = {scale.x, scale.y, scale.z};
    const double t[3] = {translation.x, translation.y, translation.z};
    Mat4 a;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) a.m[r][c] = rotation[r][c] * s[c];
        a.m[r][3] = t[r];
    }
    return a;
}

// Inverse of an affine matrix (bottom row 0, 0, 0, 1).
inline Mat4 AffineInverse(const Mat4& a) {
    const auto& m = a.m;
    const double c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1], c01 = m[0][2] * m[2][1] - m[0][1] * m[2][2],
                 c02 = m[0][1] * m[1][2] - m[0][2] * m[1][1], c10 = m[1][2] * m[2][0] - m[1][0] * m[2][2],
                 c11 = m[0][0] * m[2][2] - m[0][2] * m[2][0], c12 = m[0][2] * m[1][0] - m[0][0] * m[1][2],
                 c20 = m[1][0] * m[2][1] - m[1][1] * m[2][0], c21 = m[0][1] * m[2][0] - m[0][0] * m[2][1],
                 c22 = m[0][0] * m[1][1] - m[0][1] * m[1][0];
    const double inverseDeterminant = 1 / (m[0][0] * c00 + m[0][1] * c10 + m[0][2] * c20);
    Mat4 r;
    const double adjugate[3][3] = {{c00, c01, c02}, {c10, c11, c12}, {c20, c21, c22}};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) r.m[i][j] = adjugate[i][j] * inverseDeterminant;
        r.m[i][3] = -(r.m[i][0] * m[0][3] + r.m[i][1] * m[1][3] + r.m[i][2] * m[2][3]);
    }
    return r;
}
