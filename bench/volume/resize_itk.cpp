#include <itkImage.h>
#include <itkLinearInterpolateImageFunction.h>
#include <itkResampleImageFilter.h>

#include <algorithm>
#include <array>

#include "resize_task.h"
#include "support/timings.h"

namespace zypr::bench {
namespace {

template <class Extent> itk::Size<3> sizeOf(const Extent &extent) {
    return {{static_cast<itk::SizeValueType>(extent.width), static_cast<itk::SizeValueType>(extent.height),
             static_cast<itk::SizeValueType>(extent.depth)}};
}

} // namespace

template <class Sample> Contestant itkResize(const ResizeTask<Sample> &task) {
    using Image = itk::Image<Sample, 3>;
    const auto image = Image::New();
    image->SetRegions(sizeOf(task.extent));
    image->Allocate();
    std::copy(task.from.begin(), task.from.end(), image->GetBufferPointer());
    return {"ITK",
            [image, &task] {
                const auto filter = itk::ResampleImageFilter<Image, Image>::New();
                filter->SetInput(image);
                filter->SetInterpolator(itk::LinearInterpolateImageFunction<Image>::New());
                filter->SetSize(sizeOf(task.dst));
                const double spacing = 1.0 / task.scale, origin = 0.5 / task.scale - 0.5;
                filter->SetOutputSpacing(std::array{spacing, spacing, spacing}.data());
                filter->SetOutputOrigin(std::array{origin, origin, origin}.data());
                filter->SetNumberOfWorkUnits(1);
                return secondsOf([&] { filter->Update(); });
            },
            [] {}, // the filter sets its result aside itself
            {}};
}
template Contestant itkResize(const ResizeTask<uint8_t> &);
template Contestant itkResize(const ResizeTask<uint16_t> &);
template Contestant itkResize(const ResizeTask<float> &);

} // namespace zypr::bench
