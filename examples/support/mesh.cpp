#include "support/mesh.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <assimp/Importer.hpp>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "zypr.h"

// Assimp's assertions end the program, where it is built with them, and files that are cut off do meet them. This definition
// takes the place of the library's.
namespace Assimp {
[[gnu::visibility("default")]] void aiAssertViolation(const char *, const char *, int);
void aiAssertViolation(const char *, const char *, int) { throw std::runtime_error("the file is cut off or damaged"); }
} // namespace Assimp

namespace examples {
namespace {

using Vector = std::array<double, 3>;

Vector edge(const std::vector<float> &vertices, int32_t from, int32_t to) {
    Vector result;
    for (size_t a = 0; a < 3; ++a)
        result[a] = double{vertices[static_cast<size_t>(to) * 3 + a]} - vertices[static_cast<size_t>(from) * 3 + a];
    return result;
}
double dot(const Vector &a, const Vector &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double angleBetween(const Vector &a, const Vector &b) {
    const double lengths = std::sqrt(dot(a, a) * dot(b, b));
    return lengths > 0 ? std::acos(std::clamp(dot(a, b) / lengths, -1.0, 1.0)) : 0.0;
}

bool isFinite(const aiVector3D &v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// The tree's records hold triangle numbers in 27 bits.
constexpr size_t largestMesh = (size_t{1} << 27) - 16;

void append(Mesh &mesh, const aiMesh &part, bool &everyPartHasNormals) {
    const auto firstVertex = static_cast<int32_t>(mesh.vertices.size() / 3);
    if (mesh.triangles.size() / 4 + part.mNumFaces > largestMesh || mesh.vertices.size() / 3 + part.mNumVertices > largestMesh)
        throw std::runtime_error("the mesh is too large");
    for (unsigned v = 0; v < part.mNumVertices; ++v) {
        const aiVector3D &position = part.mVertices[v];
        if (!isFinite(position)) throw std::runtime_error("the mesh has a vertex that is not a finite number");
        mesh.vertices.insert(mesh.vertices.end(), {position.x, position.y, position.z});
        const aiVector3D normal = part.HasNormals() && isFinite(part.mNormals[v]) ? part.mNormals[v] : aiVector3D(0, 0, 0);
        mesh.vertexNormals.insert(mesh.vertexNormals.end(), {normal.x, normal.y, normal.z});
    }
    everyPartHasNormals &= part.HasNormals();
    for (unsigned f = 0; f < part.mNumFaces; ++f) {
        const aiFace &face = part.mFaces[f];
        if (face.mNumIndices != 3) continue;
        for (unsigned k = 0; k < 3; ++k) {
            if (face.mIndices[k] >= part.mNumVertices)
                throw std::runtime_error("a face refers to a vertex that does not exist");
            mesh.triangles.push_back(firstVertex + static_cast<int32_t>(face.mIndices[k]));
        }
        mesh.triangles.push_back(0);
    }
}

} // namespace

std::vector<float> averagedNormals(const Mesh &mesh) {
    std::vector<float> triangleNormals(static_cast<size_t>(mesh.triangleCount()) * 3);
    zyprTriangleNormal_32f(mesh.vertices.data(), mesh.triangles.data(), triangleNormals.data(), mesh.triangleCount());
    std::vector<double> sums(mesh.vertices.size());
    for (size_t t = 0; t < static_cast<size_t>(mesh.triangleCount()); ++t) {
        const int32_t *corner = mesh.triangles.data() + 4 * t;
        for (int k = 0; k < 3; ++k) {
            const int32_t here = corner[k], next = corner[(k + 1) % 3], last = corner[(k + 2) % 3];
            const double angle = angleBetween(edge(mesh.vertices, here, next), edge(mesh.vertices, here, last));
            for (size_t a = 0; a < 3; ++a) sums[static_cast<size_t>(here) * 3 + a] += angle * triangleNormals[3 * t + a];
        }
    }
    std::vector<float> normals(sums.size());
    for (size_t v = 0; v < sums.size(); v += 3) {
        const double length = std::sqrt(sums[v] * sums[v] + sums[v + 1] * sums[v + 1] + sums[v + 2] * sums[v + 2]);
        for (size_t a = 0; a < 3; ++a) normals[v + a] = length > 0 ? static_cast<float>(sums[v + a] / length) : 0.0f;
    }
    return normals;
}

Mesh importMesh(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) throw std::runtime_error(path + ": " + std::strerror(errno));
    if (S_ISDIR(status.st_mode)) throw std::runtime_error(path + ": is a directory");
    if (S_ISREG(status.st_mode) && status.st_size == 0) throw std::runtime_error(path + ": the file is empty");

    Assimp::Importer importer;
    importer.SetPropertyInteger(AI_CONFIG_PP_RVC_FLAGS, aiComponent_TEXCOORDS | aiComponent_COLORS |
                                                            aiComponent_TANGENTS_AND_BITANGENTS | aiComponent_BONEWEIGHTS |
                                                            aiComponent_ANIMATIONS | aiComponent_TEXTURES | aiComponent_LIGHTS |
                                                            aiComponent_CAMERAS);
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);

    try {
        const aiScene *scene =
            importer.ReadFile(path, aiProcess_RemoveComponent | aiProcess_Triangulate | aiProcess_SortByPType |
                                        aiProcess_JoinIdenticalVertices | aiProcess_PreTransformVertices);
        if (scene == nullptr) throw std::runtime_error(importer.GetErrorString());
        Mesh mesh;
        bool everyPartHasNormals = true;
        for (unsigned part = 0; part < scene->mNumMeshes; ++part) append(mesh, *scene->mMeshes[part], everyPartHasNormals);
        if (mesh.triangles.empty()) throw std::runtime_error("the file holds no triangles");
        if (!everyPartHasNormals) mesh.vertexNormals = averagedNormals(mesh);
        return mesh;
    } catch (const std::exception &error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

} // namespace examples
