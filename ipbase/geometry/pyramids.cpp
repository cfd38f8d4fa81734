// Half and double sizes, and edges: OpenCV's, on images of any kind.
#include <opencv2/imgproc.hpp>

#include "ipbase/geometry/source.h"

namespace KrN {

using namespace geometry;

namespace {

// The header does not write.
template <class T>
cv::Mat Header(const Source<T>& source) {
    const PixelPlane<T>& plane = source.Plane();
    return {plane.height, plane.width, cv::DataType<T>::type, const_cast<T*>(plane.first),
            static_cast<std::size_t>(plane.stride)};
}

template <class T>
void Write(const cv::Mat& result, KrTAOI<T>& dst, KrTSize<int> size) {
    RowWriter<T> writer(dst, size);
    for (int y = 0; y < size.cy; ++y) {
        std::copy_n(result.ptr<T>(y), size.cx, writer.Row(static_cast<std::size_t>(y)));
        writer.Finish(static_cast<std::size_t>(y));
    }
}

template <class T>
void Pyramid(const KrTAOI<T>* src, KrTAOI<T>* dst, KrTSize<int> size, decltype(cv::pyrDown)& step) {
    if (SizeOf(*dst) != size) ThrowSizeError();
    if (IsEmpty(src)) return;
    dst->RequireWritable();
    const Source<T> source(*src, dst);
    const cv::Size needed(size.cx, size.cy);
    if (AllowsDirect(Access::eSwitched) && HaveRowPointers(dst)) {
        cv::Mat result(needed, cv::DataType<T>::type, dst->GetRowPointer(0), dst->GetRowIncInBytes());
        return step(Header(source), result, needed, cv::BORDER_DEFAULT);
    }
    cv::Mat result;
    step(Header(source), result, needed, cv::BORDER_DEFAULT);
    Write(result, *dst, size);
}

template <class T>
void Down(const KrTAOI<T>* src, KrTAOI<T>* dst) {
    Pyramid(src, dst, {(src->AOIWidth() + 1) / 2, (src->AOIHeight() + 1) / 2}, cv::pyrDown);
}
template <class T>
void Up(const KrTAOI<T>* src, KrTAOI<T>* dst) {
    Pyramid(src, dst, {2 * src->AOIWidth(), 2 * src->AOIHeight()}, cv::pyrUp);
}

// Derivatives of more than 16 bits are scaled, and truncated toward zero; returns the factor.
double Narrow(cv::Mat& dx, cv::Mat& dy, double factor) {
    for (cv::Mat* derivative : {&dx, &dy}) {
        cv::Mat1s narrow(derivative->size());
        for (int y = 0; y < narrow.rows; ++y)
            for (int x = 0; x < narrow.cols; ++x)
                narrow(y, x) = static_cast<short>(derivative->at<double>(y, x) * factor);
        *derivative = narrow;
    }
    return factor;
}

template <class T>
double Derive(const cv::Mat& image, cv::Mat& dx, cv::Mat& dy) {
    const int depth = sizeof(T) == 1 ? CV_16S : CV_64F;
    cv::Mat wide = image;
    if (sizeof(T) > 1) image.convertTo(wide, CV_64F);
    cv::Sobel(wide, dx, depth, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::Sobel(wide, dy, depth, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    if constexpr (sizeof(T) == 1) return 1.0;
    if constexpr (sizeof(T) == 2) return Narrow(dx, dy, 0.125);
    double greatest = 0.0;
    for (cv::Mat derivative : {dx, dy})
        for (int y = 0; y < derivative.rows; ++y)
            for (auto* v = derivative.ptr<double>(y); v != derivative.ptr<double>(y) + derivative.cols; ++v) {
                *v = std::isfinite(*v) ? *v : 0.0;
                greatest = std::max(greatest, std::abs(*v));
            }
    return Narrow(dx, dy, greatest > 0.0 ? 32767.0 / greatest : 1.0);
}

template <class T>
void FindEdges(const KrTAOI<T>* src, KrTAOI<u8>* dst, double low, double high, bool euclidean) {
    if (std::isnan(low) || std::isnan(high)) throw new KrException(L"The thresholds of Canny must be numbers");
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    const Source<T> source(*src, dst);
    cv::Mat dx, dy, edges;
    const double factor = Derive<T>(Header(source), dx, dy);
    const auto scaled = [&](double threshold) { return std::clamp(threshold * factor, 0.0, 70000.0); };
    cv::Canny(dx, dy, edges, scaled(std::min(low, high)), scaled(std::max(low, high)), euclidean);
    Write(edges, *dst, size);
}

}  // namespace

void KrLGeomet::PyramidDown88SW(const KrAOI8* s, KrAOI8* d) { Down<u8>(s, d); }
void KrLGeomet::PyramidDown1616SW(const KrAOI16* s, KrAOI16* d) { Down<u16>(s, d); }
void KrLGeomet::PyramidDownFFSW(const KrAOI32Float* s, KrAOI32Float* d) { Down<float>(s, d); }
void KrLGeomet::PyramidDownDDSW(const KrAOI64Double* s, KrAOI64Double* d) { Down<double>(s, d); }
void KrLGeomet::PyramidUp88SW(const KrAOI8* s, KrAOI8* d) { Up<u8>(s, d); }
void KrLGeomet::PyramidUp1616SW(const KrAOI16* s, KrAOI16* d) { Up<u16>(s, d); }
void KrLGeomet::PyramidUpFFSW(const KrAOI32Float* s, KrAOI32Float* d) { Up<float>(s, d); }
void KrLGeomet::PyramidUpDDSW(const KrAOI64Double* s, KrAOI64Double* d) { Up<double>(s, d); }
void KrLGeomet::Canny88SW(const KrAOI8* s, KrAOI8* d, double low, double high, bool l2) {
    FindEdges<u8>(s, d, low, high, l2);
}
void KrLGeomet::Canny168SW(const KrAOI16* s, KrAOI8* d, double low, double high, bool l2) {
    FindEdges<u16>(s, d, low, high, l2);
}
void KrLGeomet::CannyF8SW(const KrAOI32Float* s, KrAOI8* d, double low, double high, bool l2) {
    FindEdges<float>(s, d, low, high, l2);
}

}  // namespace KrN
