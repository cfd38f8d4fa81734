#include "measure/io/npy.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "measure/error.h"
#include "measure/io/npyheader.h"

namespace measure {
namespace {

constexpr std::uint8_t kMagic[] = {0x93, 'N', 'U', 'M', 'P', 'Y'};

bool IsLittleEndian() {
    const std::uint16_t one = 1;
    std::uint8_t first = 0;
    std::memcpy(&first, &one, 1);
    return first == 1;
}

// Elements of another size or meaning than those of the image become those of the image.
template <class T>
cv::Mat Narrowed(const std::uint8_t* data, cv::Size size, const std::string& file) {
    cv::Mat image = NewPicture(size, CV_32S, file);
    auto* out = image.ptr<std::int32_t>();
    for (std::size_t i = 0; i < image.total(); ++i) {
        T value{};
        std::memcpy(&value, data + i * sizeof(T), sizeof(T));
        out[i] = static_cast<std::int32_t>(value);
        if (static_cast<T>(out[i]) != value || (out[i] < 0) != (value < T{}))
            throw InputError(file + ": the NPY array holds numbers beyond 32 bits, which are not supported");
    }
    return image;
}

cv::Mat Doubles(const std::uint8_t* data, cv::Size size, const std::string& file) {
    cv::Mat image = NewPicture(size, CV_32F, file);
    NarrowToFloat(data, image.total(), image.ptr<float>(), file);
    return image;
}

cv::Mat Bools(const std::uint8_t* data, cv::Size size, const std::string& file) {
    cv::Mat image = NewPicture(size, CV_8U, file);
    std::transform(data, data + image.total(), image.data,
                   [](std::uint8_t v) { return static_cast<std::uint8_t>(v != 0 ? 255 : 0); });
    return image;
}

template <int type>
cv::Mat Plain(const std::uint8_t* data, cv::Size size, const std::string& file) {
    cv::Mat image = NewPicture(size, type, file);
    std::memcpy(image.data, data, image.total() * image.elemSize());
    return image;
}

struct Element {
    const char* name;  // without the byte order
    std::size_t bytes;
    int written;  // the depth that is written as these elements, or none
    cv::Mat (*read)(const std::uint8_t* data, cv::Size size, const std::string& file);
};
constexpr int kNone = -1;
constexpr Element kElements[] = {
    {"u1", 1, CV_8U, Plain<CV_8U>},
    {"u2", 2, CV_16U, Plain<CV_16U>},
    {"i4", 4, CV_32S, Plain<CV_32S>},
    {"f4", 4, CV_32F, Plain<CV_32F>},
    {"f8", 8, kNone, Doubles},
    {"b1", 1, kNone, Bools},
    {"u4", 4, kNone, Narrowed<std::uint32_t>},
    {"i8", 8, kNone, Narrowed<std::int64_t>},
};

const Element& FindElement(const std::string& descr, const std::string& file) {
    const bool hasOrder = !descr.empty() && std::strchr("<>|=", descr.front()) != nullptr;
    for (const Element& element : kElements)
        if (hasOrder && descr.substr(1) == element.name) return element;
    throw InputError(file + ": NPY element type '" + descr +
                     "' is not supported (use bool, uint8, uint16, int32, float32 or float64)");
}

void ReverseBytes(std::uint8_t* data, std::size_t count, std::size_t bytes) {
    for (std::size_t i = 0; i < count; ++i) std::reverse(data + i * bytes, data + (i + 1) * bytes);
}

// A copy of elements that stand column by column or in the other byte order; each is a pixel of so many bytes.
cv::Mat InOrder(const cv::Mat& elements, bool isTransposed, bool isReversed, const std::string& file) {
    RequireMemory(file, static_cast<double>(elements.total() * elements.elemSize()));
    const cv::Mat ordered = isTransposed ? cv::Mat(elements.t()) : elements.clone();
    if (isReversed) ReverseBytes(ordered.data, ordered.total(), ordered.elemSize());
    return ordered;
}

}  // namespace

bool IsNpy(const Bytes& bytes) {
    return bytes.size() >= sizeof kMagic && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

cv::Mat DecodeNpy(const Bytes& bytes, const std::string& file) {
    const std::string damaged = file + ": damaged NPY file: ";
    if (!IsNpy(bytes) || bytes.size() < 10) throw InputError(damaged + "the header is cut off");
    const unsigned major = bytes[6];
    if (major < 1 || major > 3) throw InputError(file + ": NPY version " + std::to_string(major) + " is not supported");

    const std::size_t lengthBytes = major == 1 ? 2 : 4;
    const std::size_t start = 8 + lengthBytes;
    if (bytes.size() < start) throw InputError(damaged + "the header is cut off");
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i) length |= std::size_t{bytes[8 + i]} << (8 * i);
    if (length > kMostNpyHeader || length > bytes.size() - start) throw InputError(damaged + "the header is cut off");

    const NpyHeader header = ParseNpyHeader({reinterpret_cast<const char*>(bytes.data()) + start, length}, file);
    const Element& element = FindElement(header.descr, file);
    if (header.shape.size() != 2) {
        throw InputError(file + ": the NPY array must have two dimensions (rows, columns), it has " +
                         std::to_string(header.shape.size()));
    }
    const std::uint64_t rows = header.shape[0], columns = header.shape[1];
    if (rows == 0 || columns == 0) throw InputError(file + ": the NPY array is empty");
    const std::size_t present = bytes.size() - start - length;
    if (columns > present / element.bytes || rows > present / (columns * element.bytes))
        throw InputError(damaged + "it holds fewer pixels than its header says");
    RequireReadableSize(columns, rows, file);

    const std::uint8_t* const data = bytes.data() + start + length;
    const bool isLittle = header.descr[0] == '<' || (header.descr[0] != '>' && IsLittleEndian());
    const bool isReversed = isLittle != IsLittleEndian() && element.bytes > 1;
    const cv::Size size(static_cast<int>(columns), static_cast<int>(rows));
    if (!header.fortranOrder && !isReversed) return element.read(data, size, file);
    const cv::Mat elements(header.fortranOrder ? cv::Size(size.height, size.width) : size,
                           CV_8UC(static_cast<int>(element.bytes)), const_cast<std::uint8_t*>(data));
    return element.read(InOrder(elements, header.fortranOrder, isReversed, file).data, size, file);
}

Bytes EncodeNpy(const cv::Mat& image) {
    const auto* const element = std::find_if(std::begin(kElements), std::end(kElements),
                                             [&](const Element& e) { return e.written == image.type(); });
    CV_Assert(element != std::end(kElements));
    std::string header = cv::format("{'descr': '%s%s', 'fortran_order': False, 'shape': (%d, %d), }",
                                    element->bytes == 1 ? "|" : "<", element->name, image.rows, image.cols);
    constexpr std::size_t prefix = 10, alignment = 64;
    header.append(alignment - 1 - (prefix + header.size()) % alignment, ' ');
    header += '\n';

    const std::size_t rowBytes = static_cast<std::size_t>(image.cols) * element->bytes;
    const std::size_t count = static_cast<std::size_t>(image.rows) * static_cast<std::size_t>(image.cols);
    const std::uint8_t version[] = {1, 0}, length[] = {static_cast<std::uint8_t>(header.size() & 255),
                                                       static_cast<std::uint8_t>(header.size() >> 8)};
    Bytes bytes;
    bytes.reserve(prefix + header.size() + count * element->bytes);
    const auto add = [&bytes](const auto& part) { bytes.insert(bytes.end(), std::begin(part), std::end(part)); };
    add(kMagic);
    add(version);
    add(length);
    add(header);
    for (int y = 0; y < image.rows; ++y) bytes.insert(bytes.end(), image.ptr(y), image.ptr(y) + rowBytes);
    if (!IsLittleEndian()) ReverseBytes(bytes.data() + bytes.size() - count * element->bytes, count, element->bytes);
    return bytes;
}

}  // namespace measure
