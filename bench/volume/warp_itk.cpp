// ITK's resampler with an affine transform, and its warp by a displacement field. It has no cubic kernel without a prefilter.

#include <itkAffineTransform.h>
#include <itkImage.h>
#include <itkLinearInterpolateImageFunction.h>
#include <itkMultiThreaderBase.h>
#include <itkNearestNeighborInterpolateImageFunction.h>
#include <itkResampleImageFilter.h>
#include <itkVector.h>
#include <itkWarpImageFilter.h>

#include <algorithm>

#include "support/timings.h"
#include "warp_task.h"

namespace {

using namespace zypr::bench;

template <class Pixel> typename itk::Image<Pixel, 3>::Pointer makeImage() {
    auto image = itk::Image<Pixel, 3>::New();
    image->SetRegions(itk::Size<3>{{width, height, depth}});
    image->Allocate();
    return image;
}

using Displacements = itk::Image<itk::Vector<float, 3>, 3>;
const Displacements *displacements() {
    static const Displacements::Pointer field = [] {
        auto made = makeImage<itk::Vector<float, 3>>();
        for (size_t i = 0; i < voxelCount; ++i) {
            const size_t index[3] = {i % width, i / width % height, i / width / height};
            for (int axis = 0; axis < 3; ++axis)
                made->GetBufferPointer()[i][axis] = sourceMap(axis)[i] - static_cast<float>(index[axis]);
        }
        return made;
    }();
    return field;
}

template <class Image> WarpContestant contestant(itk::ImageToImageFilter<Image, Image> *filter, int threads) {
    filter->SetNumberOfWorkUnits(static_cast<unsigned>(threads));
    const itk::SmartPointer<itk::ImageToImageFilter<Image, Image>> kept = filter;
    return {[kept, threads] {
                itk::MultiThreaderBase::SetGlobalMaximumNumberOfThreads(static_cast<unsigned>(threads));
                kept->Modified();
                return secondsOf([&] { kept->Update(); });
            },
            [kept] {
                const auto *voxels = kept->GetOutput()->GetBufferPointer();
                return std::vector<float>(voxels, voxels + voxelCount);
            }};
}

std::optional<WarpContestant> itkContestant(const Task &task) {
    if (task.mode.interpolation != zyprInterNearest && task.mode.interpolation != zyprInterLinear) return {};
    return withElement(task.element, [&](auto sample) {
        using Sample = decltype(sample);
        using Image = itk::Image<Sample, 3>;
        const auto image = makeImage<Sample>();
        std::copy(sourceVoxels<Sample>().begin(), sourceVoxels<Sample>().end(), image->GetBufferPointer());
        const auto prepared = [&](auto filter) {
            filter->SetInput(image);
            if (task.mode.interpolation == zyprInterNearest)
                filter->SetInterpolator(itk::NearestNeighborInterpolateImageFunction<Image>::New());
            else
                filter->SetInterpolator(itk::LinearInterpolateImageFunction<Image>::New());
            return contestant<Image>(filter, task.threads);
        };
        if (task.isRemap) {
            const auto filter = itk::WarpImageFilter<Image, Image, Displacements>::New();
            filter->SetDisplacementField(displacements());
            filter->SetOutputParametersFromImage(image);
            return prepared(filter);
        }
        const auto transform = itk::AffineTransform<double, 3>::New();
        itk::AffineTransform<double, 3>::ParametersType parameters(12);
        for (unsigned k = 0; k < 9; ++k) parameters[k] = inverseMatrix()[4 * (k / 3) + k % 3];
        for (unsigned k = 0; k < 3; ++k) parameters[9 + k] = inverseMatrix()[4 * k + 3];
        transform->SetParameters(parameters);
        const auto filter = itk::ResampleImageFilter<Image, Image>::New();
        filter->SetTransform(transform);
        filter->SetOutputParametersFromImage(image);
        return prepared(filter);
    });
}

const PeerAdded added("ITK", itkContestant);

} // namespace
