#include "ProceduralMesh.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kSegments = 8;
constexpr double kSegmentLength = 0.5;
constexpr double kHeight = kSegments * kSegmentLength;
constexpr double kCycleSeconds = 2.0;
constexpr int kKeysPerCycle = 48;

Mat4 Translation(Vec3 t) { return Compose(t, Quat{}, {1, 1, 1}); }

// Root (spins the whole about y), then the chain; bone k is node k.
Skeleton MakeSkeleton() {
    Skeleton skeleton;
    skeleton.nodes.push_back({"root", -1, Mat4{}});
    for (int s = 0; s < kSegments; ++s)
        skeleton.nodes.push_back({"segment" + std::to_string(s), s, Translation({0, s ? kSegmentLength : 0, 0})});
    for (int n = 0; n <= kSegments; ++n)
        skeleton.bones.push_back({n, Translation({0, -std::max(0, n - 1) * kSegmentLength, 0})});
    return skeleton;
}

Animation MakeSway() {
    Animation sway{"sway", kCycleSeconds, {}};
    for (int n = 0; n <= kSegments; ++n) {
        NodeTrack track{n, {}, {}, {}};
        const Vec3 rest{0, n > 1 ? kSegmentLength : 0, 0};
        for (int k = 0; k <= kKeysPerCycle; ++k) {
            const double seconds = kCycleSeconds * k / kKeysPerCycle, phase = 2 * kPi * k / kKeysPerCycle;
            Quat rotation = AxisAngle({0, 1, 0}, phase);
            if (n > 0) {
                const double lag = 0.6 * n, amplitude = 0.3 + 0.04 * n;
                const Quat bend = AxisAngle({0, 0, 1}, amplitude * std::sin(phase - lag));
                rotation = Slerp(bend, AxisAngle({1, 0, 0}, 0.6 * amplitude * std::cos(phase - lag)), 0.4);
            }
            track.positions.push_back({seconds, rest});
            track.rotations.push_back({seconds, rotation});
        }
        track.scalings.push_back({0, {1, 1, 1}});
        sway.tracks.push_back(track);
    }
    return sway;
}

void AddQuad(SkinnedMesh& mesh, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    mesh.triangles.insert(mesh.triangles.end(), {a, b, c, a, c, d});
}

// A grid of (rows + 1) x (columns + 1) vertices from `at(row, column)`,
// joined into quads.
template <class VertexAt>
void AddGrid(SkinnedMesh& mesh, int rows, int columns, VertexAt at) {
    const uint32_t first = static_cast<uint32_t>(mesh.vertices.size());
    for (int r = 0; r <= rows; ++r)
        for (int c = 0; c <= columns; ++c) mesh.vertices.push_back(at(r, c));
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) {
            const uint32_t v = first + r * (columns + 1) + c;
            AddQuad(mesh, v, v + columns + 1, v + columns + 2, v + 1);
        }
}

MeshVertex Surface(Vec3 position, Vec3 normal, Vec3 tangent, double u, double v) {
    MeshVertex vertex;
    vertex.position = Narrow(position);
    vertex.normal = Narrow(Normalised(normal));
    vertex.tangent = Narrow(Normalised(tangent));
    vertex.binormal = Narrow(Normalised(Cross(normal, tangent)));
    vertex.u = float(u);
    vertex.v = float(v);
    return vertex;
}

double Radius(double y) { return 0.42 * (1 - 0.78 * y / kHeight); }

void AddTube(SkinnedMesh& mesh) {
    constexpr int kAround = 32, kRings = 96;
    const double slope = -0.42 * 0.78 / kHeight;
    AddGrid(mesh, kRings, kAround, [&](int ring, int column) {
        const double y = kHeight * ring / kRings, angle = 2 * kPi * column / kAround;
        const Vec3 radial{std::cos(angle), 0, -std::sin(angle)};
        MeshVertex vertex = Surface(radial * Radius(y) + Vec3{0, y, 0}, radial + Vec3{0, -slope, 0},
                                    {-std::sin(angle), 0, -std::cos(angle)}, double(column) / kAround,
                                    y / kHeight);
        // Gaussian falloff along the chain: up to five bones reach a vertex.
        for (int s = 0; s < kSegments; ++s) {
            const double d = (y - (s + 0.5) * kSegmentLength) / kSegmentLength;
            const double weight = std::exp(-d * d);
            if (weight > 0.01) vertex.influences.push_back({uint32_t(s + 1), float(weight)});
        }
        return vertex;
    });
}

void AddOrb(SkinnedMesh& mesh) {
    constexpr int kLatitudes = 12, kLongitudes = 16;
    constexpr double kRadius = 0.2;
    const Vec3 centre{0, kHeight + 0.12, 0};
    AddGrid(mesh, kLatitudes, kLongitudes, [&](int latitude, int longitude) {
        const double polar = kPi * latitude / kLatitudes, azimuth = 2 * kPi * longitude / kLongitudes;
        const Vec3 out{std::sin(polar) * std::cos(azimuth), std::cos(polar), -std::sin(polar) * std::sin(azimuth)};
        MeshVertex vertex = Surface(centre + out * kRadius, out, {-std::sin(azimuth), 0, -std::cos(azimuth)},
                                    double(longitude) / kLongitudes, double(latitude) / kLatitudes);
        vertex.influences.push_back({uint32_t(kSegments), 1});
        return vertex;
    });
}

// A square plate under the tentacle, on the root bone.
void AddBase(SkinnedMesh& mesh) {
    const Vec3 axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const Vec3 half{0.75, 0.08, 0.75}, centre{0, -0.08, 0};
    for (int axis = 0; axis < 3; ++axis)
        for (int side = -1; side <= 1; side += 2) {
            const Vec3 normal = axes[axis] * side, u = axes[(axis + 1) % 3] * side, v = axes[(axis + 2) % 3];
            const auto corner = [&](double a, double b) {
                const Vec3 offset = normal + u * a + v * b;
                MeshVertex vertex = Surface(centre + Vec3{offset.x * half.x, offset.y * half.y, offset.z * half.z},
                                            normal, u, (a + 1) / 2, (b + 1) / 2);
                vertex.influences.push_back({0, 1});
                mesh.vertices.push_back(vertex);
            };
            const uint32_t first = static_cast<uint32_t>(mesh.vertices.size());
            corner(-1, -1), corner(1, -1), corner(1, 1), corner(-1, 1);
            AddQuad(mesh, first, first + 1, first + 2, first + 3);
        }
}

}  // namespace

SkinnedMesh MakeTentacle() {
    SkinnedMesh mesh;
    mesh.name = "built-in tentacle";
    mesh.skeleton = MakeSkeleton();
    mesh.animations.push_back(MakeSway());
    AddTube(mesh);
    AddOrb(mesh);
    AddBase(mesh);
    return mesh;
}
