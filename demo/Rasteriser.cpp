#include "Rasteriser.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

Vec3 Axis(int k) { return {k == 0 ? 1.0 : 0.0, k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0}; }
double Component(Vec3 v, int k) { return k == 0 ? v.x : k == 1 ? v.y : v.z; }

}  // namespace

OrthoView::OrthoView(const std::vector<Vec3>& points, int width, int height) : m_width(width), m_height(height) {
    Vec3 low{HUGE_VAL, HUGE_VAL, HUGE_VAL}, high = low * -1;
    for (const Vec3& p : points) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    const Vec3 extent = high - low;
    int up = 0, thin = 0;
    for (int k = 1; k < 3; ++k) {
        if (Component(extent, k) > Component(extent, up)) up = k;
        if (Component(extent, k) <= Component(extent, thin)) thin = k;
    }
    if (thin == up) thin = (up + 1) % 3;
    // Turned about the upright axis, then tilted to look down a little.
    const double turn = 0.5, tilt = 0.3;
    const Vec3 across = Cross(Axis(up), Axis(thin));
    const Vec3 level = Axis(thin) * -std::cos(turn) + across * std::sin(turn);
    m_forward = level * std::cos(tilt) - Axis(up) * std::sin(tilt);
    m_up = Axis(up) * std::cos(tilt) + level * std::sin(tilt);
    m_right = Cross(m_up, m_forward) * -1;
    m_centre = (low + high) * 0.5;

    double reach = 0;
    for (const Vec3& p : points)
        reach = std::max({reach, std::fabs(Dot(p - m_centre, m_right)) / width,
                          std::fabs(Dot(p - m_centre, m_up)) / height});
    m_scale = reach > 0 ? 0.45 / reach : 1;
}

Vec3 OrthoView::Project(Vec3 p) const {
    const Vec3 d = p - m_centre;
    return {m_width / 2.0 + Dot(d, m_right) * m_scale, m_height / 2.0 - Dot(d, m_up) * m_scale, Dot(d, m_forward)};
}

void DrawMesh(Image& image, const OrthoView& view, const ShadedMesh& mesh) {
    const int width = view.Width(), height = view.Height();
    std::vector<double> depth(size_t(width) * height, std::numeric_limits<double>::infinity());
    std::vector<Vec3> screen(mesh.positions.size());
    for (size_t v = 0; v < screen.size(); ++v) screen[v] = view.Project(mesh.positions[v]);
    const Vec3 light = Normalised(view.TowardsViewer() + view.Up() * 0.6 - view.Right() * 0.4);

    for (size_t t = 0; t + 2 < mesh.triangles.size(); t += 3) {
        const uint32_t i[3] = {mesh.triangles[t], mesh.triangles[t + 1], mesh.triangles[t + 2]};
        const Vec3 &a = screen[i[0]], &b = screen[i[1]], &c = screen[i[2]];
        const double area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
        if (!(std::fabs(area) > 1e-12)) continue;
        const int x0 = std::max(0, int(std::floor(std::min({a.x, b.x, c.x}))));
        const int x1 = std::min(width - 1, int(std::ceil(std::max({a.x, b.x, c.x}))));
        const int y0 = std::max(0, int(std::floor(std::min({a.y, b.y, c.y}))));
        const int y1 = std::min(height - 1, int(std::ceil(std::max({a.y, b.y, c.y}))));
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const double px = x + 0.5, py = y + 0.5;
                const double wa = ((b.x - px) * (c.y - py) - (b.y - py) * (c.x - px)) / area;
                const double wb = ((c.x - px) * (a.y - py) - (c.y - py) * (a.x - px)) / area;
                const double wc = 1 - wa - wb;
                if (wa < 0 || wb < 0 || wc < 0) continue;
                const double z = wa * a.z + wb * b.z + wc * c.z;
                double& nearest = depth[size_t(y) * width + x];
                if (!(z < nearest)) continue;
                nearest = z;
                const Vec3 normal = Normalised(mesh.normals[i[0]] * wa + mesh.normals[i[1]] * wb +
                                               mesh.normals[i[2]] * wc);
                const double lit = 0.22 + 0.78 * std::fabs(Dot(normal, light));
                const auto channel = [&](uint8_t Rgb::*c) {
                    const double base = wa * (mesh.colours[i[0]].*c) + wb * (mesh.colours[i[1]].*c) +
                                        wc * (mesh.colours[i[2]].*c);
                    return uint8_t(std::clamp(base * lit, 0.0, 255.0));
                };
                image.At(x, y) = {channel(&Rgb::r), channel(&Rgb::g), channel(&Rgb::b)};
            }
    }
}

Image Backdrop(int width, int height) {
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        const double t = double(y) / height;
        const Rgb shade{uint8_t(24 + 20 * t), uint8_t(28 + 22 * t), uint8_t(40 + 26 * t)};
        for (int x = 0; x < width; ++x) image.At(x, y) = shade;
    }
    return image;
}
