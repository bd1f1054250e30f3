#pragma once

// A small orthographic software renderer: enough to see a skinned mesh,
// shaded by its skinned normals.

#include <cstdint>
#include <vector>

#include "Image.h"
#include "Math.h"

// An orthographic camera. Looks across the model's thinnest extent with its
// longest extent upright, turned a little for a three-quarter view.
class OrthoView {
public:
    OrthoView(const std::vector<Vec3>& points, int width, int height);

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    // Pixel coordinates in x and y, depth (smaller is nearer) in z.
    Vec3 Project(Vec3 p) const;
    Vec3 TowardsViewer() const { return m_forward * -1; }
    Vec3 Up() const { return m_up; }
    Vec3 Right() const { return m_right; }

private:
    int m_width, m_height;
    Vec3 m_right, m_up, m_forward, m_centre;
    double m_scale = 1;
};

struct ShadedMesh {
    const std::vector<Vec3>& positions;
    const std::vector<Vec3>& normals;
    const std::vector<Rgb>& colours;  // per vertex
    const std::vector<uint32_t>& triangles;
};

// Renders into `image` (of the view's size) with a depth buffer; both faces
// of a triangle are lit.
void DrawMesh(Image& image, const OrthoView& view, const ShadedMesh& mesh);

// Dark vertical gradient to draw on.
Image Backdrop(int width, int height);
