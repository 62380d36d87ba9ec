// Triangle meshes from files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace examples {

struct Mesh {
    std::vector<float> vertices;      // x, y, z
    std::vector<float> vertexNormals; // x, y, z of unit length; as many as there are vertices
    std::vector<int32_t> triangles;   // three vertex numbers and a word of padding, as the library takes them

    int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
    int32_t triangleCount() const { return static_cast<int32_t>(triangles.size() / 4); }
};

// Reads whatever format assimp knows (OBJ, PLY, STL, OFF, glTF and more). Vertex normals are the file's, or else are averaged
// from the triangles round each vertex. Throws std::runtime_error with a message for the user.
Mesh importMesh(const std::string &path);

// Vertex normals as averages of the triangles' normals, weighted with their angles at the vertex.
std::vector<float> averagedNormals(const Mesh &mesh);

} // namespace examples
