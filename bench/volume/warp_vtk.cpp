// VTK's reslice by a matrix, and by a grid of displacements.

#include <vtkGridTransform.h>
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkMatrix4x4.h>
#include <vtkMultiThreader.h>
#include <vtkSmartPointer.h>

#include <algorithm>

#include "support/timings.h"
#include "warp_task.h"

namespace {

using namespace zypr::bench;

vtkSmartPointer<vtkImageData> makeImage(int type, int components) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(width, height, depth);
    image->AllocateScalars(type, components);
    return image;
}

vtkGridTransform *displacements() {
    static const vtkSmartPointer<vtkGridTransform> transform = [] {
        const auto grid = makeImage(VTK_FLOAT, 3);
        auto *to = static_cast<float *>(grid->GetScalarPointer());
        for (size_t i = 0; i < voxelCount; ++i) {
            const size_t index[3] = {i % width, i / width % height, i / width / height};
            for (int axis = 0; axis < 3; ++axis) *to++ = sourceMap(axis)[i] - static_cast<float>(index[axis]);
        }
        const auto made = vtkSmartPointer<vtkGridTransform>::New();
        made->SetDisplacementGridData(grid);
        made->SetInterpolationModeToNearestNeighbor();
        return made;
    }();
    return transform;
}

std::optional<WarpContestant> vtkContestant(const Task &task) {
    const ZyprInterpolation mode = task.mode.interpolation;
    if (mode == zyprInterCubicBSpline) return {};
    return withElement(task.element, [&](auto sample) {
        using Sample = decltype(sample);
        const int type = sizeof(Sample) == 1 ? VTK_UNSIGNED_CHAR : sizeof(Sample) == 2 ? VTK_UNSIGNED_SHORT : VTK_FLOAT;
        const auto image = makeImage(type, 1);
        std::copy(sourceVoxels<Sample>().begin(), sourceVoxels<Sample>().end(),
                  static_cast<Sample *>(image->GetScalarPointer()));
        const auto reslice = vtkSmartPointer<vtkImageReslice>::New();
        reslice->SetInputData(image);
        if (mode == zyprInterNearest) reslice->SetInterpolationModeToNearestNeighbor();
        if (mode == zyprInterLinear) reslice->SetInterpolationModeToLinear();
        if (mode == zyprInterCubicCatmullRom) reslice->SetInterpolationModeToCubic();
        reslice->BorderOff();
        reslice->SetEnableSMP(false);
        reslice->SetNumberOfThreads(task.threads);
        reslice->SetOutputExtent(0, width - 1, 0, height - 1, 0, depth - 1);
        reslice->SetOutputOrigin(0, 0, 0);
        reslice->SetOutputSpacing(1, 1, 1);
        if (task.isRemap) {
            reslice->SetResliceTransform(displacements());
        } else {
            const auto matrix = vtkSmartPointer<vtkMatrix4x4>::New();
            for (int k = 0; k < 12; ++k) matrix->SetElement(k / 4, k % 4, inverseMatrix()[k]);
            reslice->SetResliceAxes(matrix);
        }
        return WarpContestant{[reslice, threads = task.threads] {
                                  vtkMultiThreader::SetGlobalMaximumNumberOfThreads(threads);
                                  reslice->Modified();
                                  return secondsOf([&] { reslice->Update(); });
                              },
                              [reslice] {
                                  const auto *voxels = static_cast<const Sample *>(reslice->GetOutput()->GetScalarPointer());
                                  return std::vector<float>(voxels, voxels + voxelCount);
                              }};
    });
}

const PeerAdded added("VTK", vtkContestant);

} // namespace
