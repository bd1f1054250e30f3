#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "SkinnedMesh.h"

// Why a file cannot be shown: one line, meant for the user.
struct MeshLoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Loads every triangle mesh of a rigged file that Assimp reads, with its node
// hierarchy and animations, into one skinned mesh. Meshes without bones of
// their own follow their node rigidly, and bones that name no node stay in
// their bind pose (each such bone adds a line to `notes`). Throws
// MeshLoadError when the file cannot be read, has no triangles, has no bones
// or has more than `maxBones`.
SkinnedMesh LoadMesh(const std::string& path, int maxBones, std::vector<std::string>& notes);
