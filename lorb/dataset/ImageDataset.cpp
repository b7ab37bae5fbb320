#include <lorb/dataset/ImageDataset.h>

namespace lorb {

ImageDataset::ImageDataset() = default;

ImageDataset::~ImageDataset() = default;

void ImageDataset::setMinMaxValue(double minimum, double maximum) {
  minimum_ = minimum;
  maximum_ = maximum;
}

}  // namespace lorb
