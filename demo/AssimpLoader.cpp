#include "AssimpLoader.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <filesystem>
#include <map>
#include <utility>

namespace {

Mat4 ToMat4(const aiMatrix4x4& a) {
    Mat4 m;
    const ai_real* rows[4] = {a[0], a[1], a[2], a[3]};
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) m.m[r][c] = rows[r][c];
    return m;
}

Vec3 ToVec3(const aiVector3D& v) { return {v.x, v.y, v.z}; }
Quat ToQuat(const aiQuaternion& q) { return {q.w, q.x, q.y, q.z}; }

bool SameMatrix(const Mat4& a, const Mat4& b) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (a.m[r][c] != b.m[r][c]) return false;
    return true;
}

class SceneConverter {
public:
    SceneConverter(const aiScene& scene, std::string name, std::vector<std::string>& notes)
        : m_scene(scene), m_notes(notes) {
        m_mesh.name = std::move(name);
    }

    SkinnedMesh Convert(int maxBones) {
        AddNode(*m_scene.mRootNode, -1);
        bool rigged = false;
        for (unsigned k = 0; k < m_scene.mNumMeshes; ++k) rigged |= m_scene.mMeshes[k]->HasBones();
        if (!rigged) throw MeshLoadError("'" + m_mesh.name + "' has no skeleton: no mesh in it is bound to bones");
        for (size_t n = 0; n < m_nodes.size(); ++n)
            for (unsigned k = 0; k < m_nodes[n]->mNumMeshes; ++k)
                AddMesh(*m_scene.mMeshes[m_nodes[n]->mMeshes[k]], static_cast<int>(n));
        if (m_mesh.triangles.empty()) throw MeshLoadError("'" + m_mesh.name + "' has no triangles");
        const int bones = static_cast<int>(m_mesh.skeleton.bones.size());
        if (bones > maxBones)
            throw MeshLoadError("'" + m_mesh.name + "' has " + std::to_string(bones) +
                                " bones; the bone palette holds " + std::to_string(maxBones));
        for (unsigned k = 0; k < m_scene.mNumAnimations; ++k) AddAnimation(*m_scene.mAnimations[k]);
        return std::move(m_mesh);
    }

private:
    void AddNode(const aiNode& node, int parent) {
        const int index = static_cast<int>(m_nodes.size());
        m_nodes.push_back(&node);
        m_nodeByName.emplace(node.mName.C_Str(), index);
        m_mesh.skeleton.nodes.push_back({node.mName.C_Str(), parent, ToMat4(node.mTransformation)});
        for (unsigned k = 0; k < node.mNumChildren; ++k) AddNode(*node.mChildren[k], index);
    }

    // Bones are shared between meshes when they name the same node with the
    // same bind offset.
    uint32_t BoneFor(int node, const Mat4& offset) {
        auto& bones = m_mesh.skeleton.bones;
        for (size_t b = 0; b < bones.size(); ++b)
            if (bones[b].node == node && SameMatrix(bones[b].offset, offset)) return static_cast<uint32_t>(b);
        bones.push_back({node, offset});
        return static_cast<uint32_t>(bones.size() - 1);
    }

    // A bone whose node is missing gets a root node of its own that holds
    // it in the bind pose.
    int NodeFor(const aiBone& bone) {
        const std::string name = bone.mName.C_Str();
        for (const auto* names : {&m_nodeByName, &m_detachedNodeByName}) {
            const auto found = names->find(name);
            if (found != names->end()) return found->second;
        }
        m_notes.push_back("bone '" + name + "' has no node and stays in its bind pose");
        const int index = static_cast<int>(m_mesh.skeleton.nodes.size());
        m_mesh.skeleton.nodes.push_back({name, -1, AffineInverse(ToMat4(bone.mOffsetMatrix))});
        m_detachedNodeByName.emplace(name, index);
        return index;
    }

    void AddMesh(const aiMesh& mesh, int node) {
        if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE)) return;
        const uint32_t first = static_cast<uint32_t>(m_mesh.vertices.size());
        m_mesh.vertices.resize(first + mesh.mNumVertices);
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            MeshVertex& vertex = m_mesh.vertices[first + v];
            vertex.position = Narrow(ToVec3(mesh.mVertices[v]));
            const Vec3 normal = mesh.HasNormals() ? Normalised(ToVec3(mesh.mNormals[v])) : Vec3{0, 0, 1};
            // Without texture coordinates there is no tangent space: any
            // perpendicular pair will do.
            Vec3 tangent = mesh.HasTangentsAndBitangents() ? ToVec3(mesh.mTangents[v]) : Vec3{};
            if (Length(tangent) < 1e-6) tangent = Cross(normal, std::fabs(normal.x) < 0.9 ? Vec3{1, 0, 0} : Vec3{0, 1, 0});
            vertex.normal = Narrow(normal);
            vertex.tangent = Narrow(Normalised(tangent));
            vertex.binormal = Narrow(Normalised(Cross(normal, tangent)));
            if (mesh.HasTextureCoords(0)) {
                vertex.u = mesh.mTextureCoords[0][v].x;
                vertex.v = mesh.mTextureCoords[0][v].y;
            }
        }
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const aiBone& bone = *mesh.mBones[b];
            const uint32_t index = BoneFor(NodeFor(bone), ToMat4(bone.mOffsetMatrix));
            for (unsigned w = 0; w < bone.mNumWeights; ++w) {
                const aiVertexWeight& weight = bone.mWeights[w];
                if (weight.mVertexId < mesh.mNumVertices && weight.mWeight > 0)
                    m_mesh.vertices[first + weight.mVertexId].influences.push_back({index, weight.mWeight});
            }
        }
        // Vertices no bone holds stay where their node puts them.
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            auto& influences = m_mesh.vertices[first + v].influences;
            if (influences.empty()) influences.push_back({BoneFor(node, Mat4{}), 1});
        }
        for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
            const aiFace& face = mesh.mFaces[f];
            if (face.mNumIndices != 3) continue;
            for (int k = 0; k < 3; ++k) m_mesh.triangles.push_back(first + face.mIndices[k]);
        }
    }

    void AddAnimation(const aiAnimation& animation) {
        const double ticksPerSecond = animation.mTicksPerSecond > 0 ? animation.mTicksPerSecond : 25;
        Animation result{animation.mName.C_Str(), animation.mDuration / ticksPerSecond, {}};
        for (unsigned c = 0; c < animation.mNumChannels; ++c) {
            const aiNodeAnim& channel = *animation.mChannels[c];
            const auto found = m_nodeByName.find(channel.mNodeName.C_Str());
            if (found == m_nodeByName.end()) continue;
            // A channel may leave out a kind of key: the rest pose fills it.
            aiVector3D restScaling, restPosition;
            aiQuaternion restRotation;
            m_nodes[found->second]->mTransformation.Decompose(restScaling, restRotation, restPosition);
            NodeTrack track{found->second, {}, {}, {}};
            for (unsigned k = 0; k < channel.mNumPositionKeys; ++k)
                track.positions.push_back({channel.mPositionKeys[k].mTime / ticksPerSecond,
                                           ToVec3(channel.mPositionKeys[k].mValue)});
            for (unsigned k = 0; k < channel.mNumRotationKeys; ++k)
                track.rotations.push_back({channel.mRotationKeys[k].mTime / ticksPerSecond,
                                           ToQuat(channel.mRotationKeys[k].mValue)});
            for (unsigned k = 0; k < channel.mNumScalingKeys; ++k)
                track.scalings.push_back({channel.mScalingKeys[k].mTime / ticksPerSecond,
                                          ToVec3(channel.mScalingKeys[k].mValue)});
            if (track.positions.empty()) track.positions.push_back({0, ToVec3(restPosition)});
            if (track.rotations.empty()) track.rotations.push_back({0, ToQuat(restRotation)});
            if (track.scalings.empty()) track.scalings.push_back({0, ToVec3(restScaling)});
            result.tracks.push_back(std::move(track));
        }
        m_mesh.animations.push_back(std::move(result));
    }

    const aiScene& m_scene;
    std::vector<std::string>& m_notes;
    SkinnedMesh m_mesh;
    std::vector<const aiNode*> m_nodes;
    std::map<std::string, int> m_nodeByName;          // the scene's nodes, which animations move
    std::map<std::string, int> m_detachedNodeByName;  // made for bones without a node
};

}  // namespace

SkinnedMesh LoadMesh(const std::string& path, int maxBones, std::vector<std::string>& notes) {
    const std::string name = std::filesystem::path(path).filename().string();
    if (!std::filesystem::exists(path)) throw MeshLoadError("cannot read '" + path + "': no such file");
    if (!std::filesystem::is_regular_file(path)) throw MeshLoadError("cannot read '" + path + "': not a file");
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(path, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices |
                                                       aiProcess_GenSmoothNormals | aiProcess_CalcTangentSpace |
                                                       aiProcess_SortByPType | aiProcess_ValidateDataStructure);
    if (!scene || !scene->mRootNode || (scene->mFlags & AI_SCENE_FLAGS_INCOMPLETE))
        throw MeshLoadError("cannot read '" + path + "': " + importer.GetErrorString());
    return SceneConverter(*scene, name, notes).Convert(maxBones);
}
