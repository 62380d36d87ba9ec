#include <cstring>

#include "scene/meshes.h"
#include "support/fingerprint.h"
#include "zypr.h"

using namespace zypr::test;

FINGERPRINT(zyprSetBoundBox_32f) {
    for (int32_t count = 0; count < 40; ++count) {
        ZyprBox box;
        zyprSetBoundBox_32f(soup(static_cast<uint32_t>(count), 14, 0.3f).vertices.data(), count, &box);
        print.add(box.minimum);
        print.add(box.maximum);
    }
}

FINGERPRINT(zyprTriangleAccelGetSize) {
    int32_t size = 0;
    zyprTriangleAccelGetSize(&size);
    print.addValue(size);
}

FINGERPRINT(zyprTriangleAccelInit) {
    for (const KDMesh &mesh : {soup(1, 500, 0.4f), latticeSoup(2, 500, 3), room(3)}) {
        std::vector<ZyprTriangleAccel> accels(static_cast<size_t>(mesh.triangleCount()));
        zyprTriangleAccelInit(accels.data(), mesh.vertices.data(), mesh.triangles.data(), mesh.triangleCount());
        for (const ZyprTriangleAccel &accel : accels) {
            print.addValue(accel.axes);
            for (const float value : {accel.planeP, accel.originC, accel.planeQ, accel.originP, accel.originQ, accel.edgeBP,
                                      accel.edgeBQ, accel.edgeAP, accel.edgeAQ})
                print.addValue(value);
        }
    }
}

FINGERPRINT(zyprKDTreeBuildAlloc) {
    const float clipBox[6] = {0.2f, 0.1f, 0.3f, 0.9f, 0.8f, 0.7f};
    for (const KDMesh &mesh :
         {soup(1, 2000, 0.1f), latticeSoup(2, 500, 8), room(6), blob(30, 30), needles(3, 200), signedZeros(4, 60)}) {
        for (const float *box : {static_cast<const float *>(nullptr), clipBox}) {
            const ZyprKDTreeBuildContext context{zyprKDTreeBuildSAH, 40, 0.9f, 256, box};
            ZyprKDTree *tree = nullptr;
            int32_t size = 0;
            print.addValue(zyprKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(), mesh.vertexCount(),
                                                mesh.triangleCount(), &size, &context));
            std::vector<uint32_t> words(static_cast<size_t>(size) / 4);
            std::memcpy(words.data(), tree, static_cast<size_t>(size));
            print.add(words);
            zyprKDTreeFree(tree);
        }
    }
}

FINGERPRINT(zyprKDTreeFree) {
    const ZyprKDTreeBuildContext context{zyprKDTreeBuildSimple, 0, 0, 0, nullptr};
    const float vertex[3] = {};
    const int32_t triangle[4] = {};
    ZyprKDTree *tree = nullptr;
    int32_t size = 0;
    zyprKDTreeBuildAlloc(&tree, vertex, triangle, 0, 1, &size, &context);
    zyprKDTreeFree(tree);
    print.addValue(size);
}
