#include "imagemodel/kraoi.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KrN {

KrAOI::~KrAOI() = default;

KrAOI::KrAOI(DeviceType type, const KrTSize<short>& size, void* pixels, std::uint32_t rowInc, const KrString& name)
    : mDevType(type), mName(name) {
    Attach(size, pixels, rowInc);
}

KrAOI::KrAOI(const KrAOI& other) : mDevType(other.mDevType) { *this = other; }

KrAOI& KrAOI::operator=(const KrAOI& other) {
    if (this == &other) return *this;
    // What can fail comes first.
    KrString name = other.mName;
    auto adopted = other.mAdoptedInfo ? std::make_unique<KrAOIInfo>(*other.mAdoptedInfo) : nullptr;
    mPixels = other.mPixels;
    mRowInc = other.mRowInc;
    mReadOnly = other.mReadOnly;
    mName = std::move(name);
    mBufferSize = other.mBufferSize;
    mRect = other.mRect;
    TakeInfo(std::move(adopted), other.mInfo);
    return *this;
}

void KrAOI::Attach(const KrTSize<short>& size, void* pixels, std::uint32_t rowInc) {
    if (size.cx < 0 || size.cy < 0)
        throw new KrException(L"The sides of an image are 0 to 32767 pixels, not negative or longer");
    mReadOnly = false;
    mPixels = pixels;
    mRowInc = rowInc;
    mBufferSize = size;
    mRect = {{0, 0}, size};
}

void KrAOI::RequireLayout(std::size_t pixelBytes, std::size_t alignment) const {
    if (!mPixels || mRect.size.cx == 0 || mRect.size.cy == 0) return;
    const bool severalRows = mRect.size.cy > 1;
    if (severalRows && mRowInc < static_cast<std::size_t>(mRect.size.cx) * pixelBytes)
        throw new KrException(L"The row increment of a view is smaller than a row");
    if (reinterpret_cast<std::uintptr_t>(mPixels) % alignment != 0 || (severalRows && mRowInc % alignment != 0))
        throw new KrException(L"The rows of a view are not aligned for their pixel type");
}

void KrAOI::ThrowReadOnly() const {
    KrString image;
    if (mName.IsEmpty())
        image.SPrintf(L"An image (type %s, %d x %d pixels)", PixelTypeName(mDevType), AOIWidth(), AOIHeight());
    else
        image.SPrintf(L"The image '%s'", mName);
    throw new KrException(image + L" is read-only: nothing can be written into it");
}

void KrAOI::MoveFrom(KrAOI& other) noexcept {
    mPixels = std::exchange(other.mPixels, nullptr);
    mRowInc = std::exchange(other.mRowInc, 0);
    mReadOnly = std::exchange(other.mReadOnly, false);
    mName = std::exchange(other.mName, {});
    mBufferSize = std::exchange(other.mBufferSize, {});
    mRect = std::exchange(other.mRect, {});
    TakeInfo(std::move(other.mAdoptedInfo), std::exchange(other.mInfo, nullptr));
}

// One to adopt or, without, one to refer to, which may be that of this image.
void KrAOI::TakeInfo(std::unique_ptr<KrAOIInfo> adopted, KrAOIInfo* referred) noexcept {
    if (adopted)
        AdoptAOIInfo(std::move(adopted));
    else
        SetAOIInfo(referred);
}

void KrAOI::SetAOIRect(const KrTRectangle<short>& rect) {
    const auto inside = [](int origin, int size, int limit) {
        return origin >= 0 && size >= 0 && origin + size <= limit;
    };
    if (!inside(rect.origin.x, rect.size.cx, mBufferSize.cx) || !inside(rect.origin.y, rect.size.cy, mBufferSize.cy))
        throw new KrException(L"The area of interest does not lie inside its buffer");
    mRect = rect;
}

void KrAOI::SetAOIInfo(KrAOIInfo* info) {
    mInfo = info;
    if (mAdoptedInfo.get() != info) mAdoptedInfo.reset();
}

void KrAOI::AdoptAOIInfo(std::unique_ptr<KrAOIInfo> info) {
    mAdoptedInfo = std::move(info);
    mInfo = mAdoptedInfo.get();
}

namespace {

void CheckRow(const KrAOI& aoi, int row) {
    if (row < 0 || row >= aoi.AOIHeight()) throw new KrException(L"The row does not lie inside the area of interest");
}

// Number of columns of the range; throws when they do not lie inside the view.
std::size_t CheckColumns(const KrAOI& aoi, const KrColumnRange& columns) {
    if (columns.last < columns.first) return 0;
    if (columns.first < 0 || columns.last >= aoi.AOIWidth())
        throw new KrException(L"The columns do not lie inside the area of interest");
    return static_cast<std::size_t>(columns.last - columns.first + 1);
}

KrColumnRange OneColumn(const KrAOI& aoi, int column) {
    if (column < 0 || column >= aoi.AOIWidth())
        throw new KrException(L"The column does not lie inside the area of interest");
    return {static_cast<std::int16_t>(column), static_cast<std::int16_t>(column)};
}

KrColumnRange AllColumns(const KrAOI& aoi) { return {0, static_cast<std::int16_t>(aoi.AOIWidth() - 1)}; }

}  // namespace

template <class T>
KrTAOI<T>::KrTAOI(KrTAOI& parent, const KrTRectangle<short>& rect, const KrString& name)
    : KrAOI(KrTPixel<T>::device, parent.GetBufferSize(), parent.mPixels, parent.mRowInc, name) {
    if (!mPixels && GetBufferSize().cx > 0 && GetBufferSize().cy > 0)
        throw new KrException(L"A view needs a parent whose pixels have addresses");
    if (parent.IsReadOnly()) MarkReadOnly();
    SetAOIRect(rect);
}

template <class T>
KrTAOI<T>::KrTAOI(const KrTAOI& parent, const KrTRectangle<short>& rect, const KrString& name)
    : KrTAOI(const_cast<KrTAOI&>(parent), rect, name) {
    MarkReadOnly();
}

template <class T>
KrTAOI<T>::~KrTAOI() = default;

template <class T>
void KrTAOI<T>::ReadRow(int row, const KrColumnRange& columns, KrTBuf1D<T>& buffer) const {
    CheckRow(*this, row);
    const std::size_t count = CheckColumns(*this, columns);
    if (buffer.Size() < count) buffer.Resize(count);
    if (count == 0 || !mPixels) return;
    std::memcpy(buffer.Data(), GetRowPointer(row) + columns.first, count * sizeof(T));
}

template <class T>
void KrTAOI<T>::ReadRow(int row, KrTBuf1D<T>& buffer) const {
    ReadRow(row, AllColumns(*this), buffer);
}

template <class T>
void KrTAOI<T>::WriteRow(int row, const KrColumnRange& columns, const KrTBuf1D<T>& buffer) {
    RequireWritable();
    CheckRow(*this, row);
    const std::size_t count = std::min(CheckColumns(*this, columns), buffer.Size());
    if (count == 0 || !mPixels) return;
    std::memcpy(GetRowPointer(row) + columns.first, buffer.Data(), count * sizeof(T));
}

template <class T>
void KrTAOI<T>::WriteRow(int row, const KrTBuf1D<T>& buffer) {
    WriteRow(row, AllColumns(*this), buffer);
}

template <class T>
T KrTAOI<T>::ReadPixel(const KrTPoint<short>& p) const {
    CheckRow(*this, p.y);
    CheckColumns(*this, {p.x, p.x});
    return mPixels ? *GetPointer(p) : T{};
}

template <class T>
void KrTAOI<T>::WritePixel(const KrTPoint<short>& p, T value) {
    RequireWritable();
    CheckRow(*this, p.y);
    CheckColumns(*this, {p.x, p.x});
    if (mPixels) *GetPointer(p) = value;
}

template <class T>
void KrTAOI<T>::ReadColumn(int column, KrTBuf1D<T>& buffer) const {
    const KrColumnRange columns = OneColumn(*this, column);
    if (buffer.Size() < static_cast<std::size_t>(AOIHeight())) buffer.Resize(static_cast<std::size_t>(AOIHeight()));
    KrTBuf1D<T> pixel(1);
    for (int y = 0; y < AOIHeight(); ++y) {
        ReadRow(y, columns, pixel);
        buffer[static_cast<std::size_t>(y)] = pixel[0];
    }
}

template <class T>
void KrTAOI<T>::WriteColumn(int column, const KrTBuf1D<T>& buffer) {
    const KrColumnRange columns = OneColumn(*this, column);
    const int count = static_cast<int>(std::min(buffer.Size(), static_cast<std::size_t>(AOIHeight())));
    KrTBuf1D<T> pixel(1);
    for (int y = 0; y < count; ++y) {
        pixel[0] = buffer[static_cast<std::size_t>(y)];
        WriteRow(y, columns, pixel);
    }
}

template <class T>
void KrTAOI<T>::ReadImage(KrTBuf2D<T>& buffer) const {
    const auto width = static_cast<std::size_t>(AOIWidth());
    const auto height = static_cast<std::size_t>(AOIHeight());
    if (buffer.Width() != width || buffer.Height() != height) buffer.Resize(width, height);
    KrTBuf1D<T> line(width);
    for (std::size_t y = 0; y < height; ++y) {
        ReadRow(static_cast<int>(y), AllColumns(*this), line);
        std::copy_n(line.Data(), width, buffer.Row(y));
    }
}

template <class T>
void KrTAOI<T>::WriteImage(const KrTBuf2D<T>& buffer) {
    const std::size_t width = std::min(buffer.Width(), static_cast<std::size_t>(AOIWidth()));
    const std::size_t height = std::min(buffer.Height(), static_cast<std::size_t>(AOIHeight()));
    KrTBuf1D<T> line(width);
    for (std::size_t y = 0; y < height; ++y) {
        std::copy_n(buffer.Row(y), width, line.Data());
        WriteRow(static_cast<int>(y), {0, static_cast<std::int16_t>(static_cast<int>(width) - 1)}, line);
    }
}

template class KrTAOI<std::uint8_t>;
template class KrTAOI<std::uint16_t>;
template class KrTAOI<std::int32_t>;
template class KrTAOI<float>;
template class KrTAOI<double>;

}  // namespace KrN
