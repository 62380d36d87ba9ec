// Meshes for the benchmarks, as the library takes them.
#pragma once

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zypr::bench {

struct Mesh {
    std::vector<float> vertices;    // x y z
    std::vector<int32_t> triangles; // P0 P1 P2 and a spare word

    int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
    int32_t triangleCount() const { return static_cast<int32_t>(triangles.size() / 4); }
};

// Empty when the file cannot be read.
inline Mesh loadMesh(const std::string &file) {
    Assimp::Importer importer;
    const aiScene *scene = importer.ReadFile(file, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices);
    Mesh mesh;
    if (scene == nullptr) return mesh;
    for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
        const aiMesh &part = *scene->mMeshes[m];
        const int32_t first = mesh.vertexCount();
        for (unsigned v = 0; v < part.mNumVertices; ++v)
            mesh.vertices.insert(mesh.vertices.end(), {part.mVertices[v].x, part.mVertices[v].y, part.mVertices[v].z});
        for (unsigned f = 0; f < part.mNumFaces; ++f) {
            const aiFace &face = part.mFaces[f];
            if (face.mNumIndices != 3) continue;
            for (int corner = 0; corner < 3; ++corner)
                mesh.triangles.push_back(first + static_cast<int32_t>(face.mIndices[corner]));
            mesh.triangles.push_back(0);
        }
    }
    return mesh;
}

} // namespace zypr::bench
