#pragma once

#include <memory>

#include "imagemodel/kraoiinfo.h"
#include "imagemodel/krarrays.h"
#include "imagemodel/krexception.h"
#include "imagemodel/krvalues.h"

struct _IplImage;
typedef struct _IplImage IplImage;

namespace KrN {

// Area of interest: a rectangular, typed view of a two-dimensional pixel buffer. It does not own its pixels.
class VORIP_API KrAOI {
public:
    virtual ~KrAOI();

    DeviceType GetDevType() const { return mDevType; }
    const KrString& GetAOIName() const { return mName; }
    void SetAOIName(const KrString& name) { mName = name; }

    short AOIWidth() const { return mRect.size.cx; }
    short AOIHeight() const { return mRect.size.cy; }
    KrTSize<short> AOISize() const { return mRect.size; }

    // The view's place in its buffer. SetAOIRect throws KrException, and leaves the view as it was, when the rectangle
    // does not lie inside the buffer.
    const KrTRectangle<short>& GetAOIRect() const { return mRect; }
    void SetAOIRect(const KrTRectangle<short>& rect);

    // Size of the buffer that the view lies in.
    KrTSize<short> GetBufferSize() const { return mBufferSize; }

    // A descriptive record: referred to (the caller keeps it), or adopted (freed with the image).
    KrAOIInfo* GetAOIInfo() const { return mInfo; }
    void SetAOIInfo(KrAOIInfo* info);
    void AdoptAOIInfo(std::unique_ptr<KrAOIInfo> info);

    // A new OpenCV header over the same pixels (a copy of them when the pixels are not addressable). The caller frees
    // it with cvReleaseImage, which never frees the pixels of this image. Throws KrException for an empty view and for
    // one of 2 GB or more.
    virtual IplImage* CreateIplImage() const = 0;

protected:
    explicit KrAOI(DeviceType type) : mDevType(type) {}
    KrAOI(DeviceType type, const KrTSize<short>& size, void* pixels, std::uint32_t rowInc, const KrString& name);
    KrAOI(const KrAOI& other);
    KrAOI& operator=(const KrAOI& other);

    // Puts the view on a whole buffer; throws KrException when a size is negative.
    void Attach(const KrTSize<short>& size, void* pixels, std::uint32_t rowInc);

    void* mPixels = nullptr;  // first pixel of the buffer; null when the pixels are not addressable
    std::uint32_t mRowInc = 0;

private:
    DeviceType mDevType;
    KrString mName;
    KrTSize<short> mBufferSize;
    KrTRectangle<short> mRect;
    KrAOIInfo* mInfo = nullptr;
    std::unique_ptr<KrAOIInfo> mAdoptedInfo;
};

template <class T>
struct KrTPixel;
// clang-format off
template <> struct KrTPixel<std::uint8_t> { static constexpr DeviceType device = eDev8; };
template <> struct KrTPixel<std::uint16_t> { static constexpr DeviceType device = eDev16; };
template <> struct KrTPixel<std::int32_t> { static constexpr DeviceType device = eDev32; };
template <> struct KrTPixel<float> { static constexpr DeviceType device = eDev32Float; };
template <> struct KrTPixel<double> { static constexpr DeviceType device = eDev64Double; };
// clang-format on

// A view of pixels of type T. Derived classes may keep their pixels where they cannot be addressed (GetRowPointer
// returns null) and override the row and pixel operations; every operation of the library works with such images.
//
// Row and pixel operations throw KrException when the row, column or pixel lies outside the view. Reading enlarges a
// buffer that is too small; writing stops at the end of the buffer.
template <class T>
class VORIP_API KrTAOI : public KrAOI {
public:
    using Pixel = T;

    KrTAOI() : KrAOI(KrTPixel<T>::device) {}
    // Views memory that the caller owns; rowIncInBytes is the distance from one row to the next.
    KrTAOI(const KrTSize<short>& size, T* pixels, std::uint32_t rowIncInBytes, const KrString& name = L"")
        : KrAOI(KrTPixel<T>::device, size, pixels, rowIncInBytes, name) {}
    // Views a rectangle, in buffer coordinates, of the buffer that the parent lies in. Throws KrException when the
    // parent's pixels have no addresses.
    KrTAOI(KrTAOI& parent, const KrTRectangle<short>& rect, const KrString& name = L"");
    ~KrTAOI() override;
    KrTAOI(const KrTAOI&) = default;
    KrTAOI& operator=(const KrTAOI&) = default;

    // First pixel of a row of the view, counted from its top; null when the pixels are not addressable.
    T* GetRowPointer(int row) { return const_cast<T*>(RowAddress(row)); }
    const T* GetRowPointer(int row) const { return RowAddress(row); }
    std::uint32_t GetRowIncInBytes() const { return mRowInc; }
    T* GetPointer(const KrTPoint<short>& p) { return mPixels ? GetRowPointer(p.y) + p.x : nullptr; }
    const T* GetPointer(const KrTPoint<short>& p) const { return mPixels ? RowAddress(p.y) + p.x : nullptr; }

    virtual void ReadRow(int row, const KrColumnRange& columns, KrTBuf1D<T>& buffer) const;
    virtual void ReadRow(int row, KrTBuf1D<T>& buffer) const;
    virtual void WriteRow(int row, const KrColumnRange& columns, const KrTBuf1D<T>& buffer);
    virtual void WriteRow(int row, const KrTBuf1D<T>& buffer);
    virtual T ReadPixel(const KrTPoint<short>& p) const;
    virtual void WritePixel(const KrTPoint<short>& p, T value);

    // Built on the row operations unless overridden.
    virtual void ReadColumn(int column, KrTBuf1D<T>& buffer) const;
    virtual void WriteColumn(int column, const KrTBuf1D<T>& buffer);
    virtual void ReadImage(KrTBuf2D<T>& buffer) const;
    virtual void WriteImage(const KrTBuf2D<T>& buffer);

    IplImage* CreateIplImage() const override;

private:
    const T* RowAddress(int row) const {
        if (!mPixels) return nullptr;
        const auto* bytes = static_cast<const unsigned char*>(mPixels);
        const KrTPoint<short>& o = GetAOIRect().origin;
        return reinterpret_cast<const T*>(bytes + (std::ptrdiff_t{o.y} + row) * std::ptrdiff_t{mRowInc}) + o.x;
    }
};

extern template class VORIP_API KrTAOI<std::uint8_t>;
extern template class VORIP_API KrTAOI<std::uint16_t>;
extern template class VORIP_API KrTAOI<std::int32_t>;
extern template class VORIP_API KrTAOI<float>;
extern template class VORIP_API KrTAOI<double>;

// clang-format off
class VORIP_API KrAOI8 : public KrTAOI<std::uint8_t> { public: using KrTAOI::KrTAOI; };
class VORIP_API KrAOI16 : public KrTAOI<std::uint16_t> { public: using KrTAOI::KrTAOI; };
class VORIP_API KrAOI32 : public KrTAOI<std::int32_t> { public: using KrTAOI::KrTAOI; };
class VORIP_API KrAOI32Float : public KrTAOI<float> { public: using KrTAOI::KrTAOI; };
class VORIP_API KrAOI64Double : public KrTAOI<double> { public: using KrTAOI::KrTAOI; };
// clang-format on

}  // namespace KrN
