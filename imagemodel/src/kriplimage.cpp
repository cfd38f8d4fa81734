// The only unit of the image model that knows OpenCV.
#include <opencv2/core/core_c.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "imagemodel/kraoi.h"

namespace KrN {

namespace {

int IplDepth(DeviceType type) {
    switch (type) {
        case eDev8: return IPL_DEPTH_8U;
        case eDev16: return IPL_DEPTH_16U;
        case eDev32: return static_cast<int>(IPL_DEPTH_32S);
        case eDev32Float: return IPL_DEPTH_32F;
        case eDev64Double: return IPL_DEPTH_64F;
    }
    return 0;
}

}  // namespace

template <class T>
IplImage* KrTAOI<T>::CreateIplImage() const {
    if (AOIWidth() == 0 || AOIHeight() == 0) throw new KrException(L"An empty image has no OpenCV header");
    const CvSize size{AOIWidth(), AOIHeight()};
    const std::int64_t stride =
        mPixels ? std::int64_t{mRowInc} : std::int64_t{size.width + 3} * std::int64_t{sizeof(T)};
    if (stride * size.height > std::numeric_limits<int>::max())
        throw new KrException(L"The image is too large for an OpenCV header");
    if (mPixels) {
        IplImage* image = cvCreateImageHeader(size, IplDepth(GetDevType()), 1);
        image->imageData = reinterpret_cast<char*>(const_cast<T*>(GetRowPointer(0)));
        image->imageDataOrigin = nullptr;
        image->widthStep = static_cast<int>(mRowInc);
        image->imageSize = image->widthStep * size.height;
        return image;
    }
    const auto release = [](IplImage* image) { cvReleaseImage(&image); };
    std::unique_ptr<IplImage, decltype(release)> image(cvCreateImage(size, IplDepth(GetDevType()), 1), release);
    KrTBuf1D<T> line(static_cast<std::size_t>(size.width));
    for (int y = 0; y < size.height; ++y) {
        ReadRow(y, {0, static_cast<std::int16_t>(size.width - 1)}, line);
        std::copy_n(line.Data(), size.width, reinterpret_cast<T*>(image->imageData + y * image->widthStep));
    }
    return image.release();
}

template IplImage* KrTAOI<std::uint8_t>::CreateIplImage() const;
template IplImage* KrTAOI<std::uint16_t>::CreateIplImage() const;
template IplImage* KrTAOI<std::int32_t>::CreateIplImage() const;
template IplImage* KrTAOI<float>::CreateIplImage() const;
template IplImage* KrTAOI<double>::CreateIplImage() const;

}  // namespace KrN
