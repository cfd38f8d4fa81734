#include "measure/io/codecs/module.h"

#include <new>
#include <opencv2/imgcodecs.hpp>

#include "measure/export.h"
#include "measure/io/codecs/quietstderr.h"

namespace measure {
namespace {

cv::Mat Decode(const std::vector<std::uint8_t>& bytes) try {
    const QuietStderr quiet;  // the codecs have their own, unspecific, messages for damaged files
    return cv::imdecode(bytes, cv::IMREAD_ANYDEPTH | cv::IMREAD_ANYCOLOR);
} catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) throw std::bad_alloc();
    return {};
}

std::vector<std::uint8_t> Encode(const char* ending, const cv::Mat& image) try {
    std::vector<std::uint8_t> bytes;
    if (!cv::imencode(ending, image, bytes)) bytes.clear();
    return bytes;
} catch (const cv::Exception&) {
    return {};
}

}  // namespace
}  // namespace measure

extern "C" MEASURE_API const measure::Codecs voripCodecs;
const measure::Codecs voripCodecs{measure::Decode, measure::Encode};
