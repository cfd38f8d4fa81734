#pragma once

#include <memory>

#include "imagemodel/kraoiinfo.h"
#include "imagemodel/krarrays.h"
#include "imagemodel/krexception.h"
#include "imagemodel/krvalues.h"

struct _IplImage;
typedef struct _IplImage IplImage;

namespace KrN {

// Area of interest: a rectangular, typed view of a two-dimensional pixel buffer. It does not own its pixels. Several
// threads may read an image, and several may work on images that share no pixel; everything else is for one at a time.
//
// A view of pixels that must not change, which are const memory or those of a const image that owns them, carries a
// read-only mark, which views of it and copies of the view inherit.
// Writing to such an image throws KrException before anything is written: in its own operations, and in those of the
// library that would have it as their destination.
class VORIP_API KrAOI {
public:
    virtual ~KrAOI();

    // The pixel type, and the name, which messages show.
    DeviceType GetDevType() const { return mDevType; }
    const KrString& GetAOIName() const { return mName; }
    void SetAOIName(const KrString& name) { mName = name; }

    // Size of the view.
    short AOIWidth() const { return mRect.size.cx; }
    short AOIHeight() const { return mRect.size.cy; }
    KrTSize<short> AOISize() const { return mRect.size; }

    // Whether the pixels must not change.
    bool IsReadOnly() const { return mReadOnly; }
    // Throws KrException when the image is read-only.
    void RequireWritable() const {
        if (mReadOnly) ThrowReadOnly();
    }

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
    // it with cvReleaseImage, which never frees the pixels of this image, and must not write into those of a read-only
    // one. Throws KrException for an empty view and for one of 2 GB or more.
    virtual IplImage* CreateIplImage() const = 0;

protected:
    explicit KrAOI(DeviceType type) : mDevType(type) {}
    KrAOI(DeviceType type, const KrTSize<short>& size, void* pixels, std::uint32_t rowInc, const KrString& name);
    KrAOI(const KrAOI& other);
    KrAOI& operator=(const KrAOI& other);

    // Puts the view on a whole buffer, whose pixels may change. Throws KrException, and changes nothing, when a size is
    // negative.
    void Attach(const KrTSize<short>& size, void* pixels, std::uint32_t rowInc);
    // Throws KrException unless pixels that have addresses are aligned for their type, and rows do not overlap.
    void RequireLayout(std::size_t pixelBytes, std::size_t alignment) const;
    void MarkReadOnly() { mReadOnly = true; }
    // Takes everything over from an image of the same type, which is empty and has no name and record afterwards.
    void MoveFrom(KrAOI& other) noexcept;

    void* mPixels = nullptr;  // first pixel of the buffer; null when the pixels are not addressable
    std::uint32_t mRowInc = 0;

private:
    [[noreturn]] void ThrowReadOnly() const;
    void TakeInfo(std::unique_ptr<KrAOIInfo> adopted, KrAOIInfo* referred) noexcept;

    DeviceType mDevType;
    bool mReadOnly = false;
    KrString mName;
    KrTSize<short> mBufferSize;
    KrTRectangle<short> mRect;
    KrAOIInfo* mInfo = nullptr;
    std::unique_ptr<KrAOIInfo> mAdoptedInfo;
};

// The source of a filter, which without a destination would write into it: throws KrException then.
inline KrAOI* KrConstSource(const KrAOI* src, const KrAOI* dst) {
    if (src && !dst) throw new KrException(L"A const source cannot be its own destination");
    return const_cast<KrAOI*>(src);
}

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
// buffer that is too small; writing stops at the end of the buffer, and throws KrException when the image is read-only.
// A derived class that overrides them must do so too: the library relies on it where pixels have no addresses.
template <class T>
class VORIP_API KrTAOI : public KrAOI {
    template <class Buffer>
    using IfConstOwner = std::enable_if_t<
        std::is_const_v<Buffer> && std::is_convertible_v<Buffer*, const KrTAOI*> && Buffer::kOwnsPixels, int>;

public:
    using Pixel = T;
    static constexpr bool kOwnsPixels = false;

    KrTAOI() : KrAOI(KrTPixel<T>::device) {}
    // Views memory that the caller owns; rowIncInBytes is the distance from one row to the next, and pixels may be null
    // in derived classes that keep them elsewhere. Throws KrException when a side is negative, when several rows are
    // closer than a row is wide, and when pixels or increment are not aligned for T. Const memory is read-only.
    KrTAOI(const KrTSize<short>& size, T* pixels, std::uint32_t rowIncInBytes, const KrString& name = L"")
        : KrAOI(KrTPixel<T>::device, size, pixels, rowIncInBytes, name) {
        RequireLayout(sizeof(T), alignof(T));
    }
    template <class Const, std::enable_if_t<std::is_same_v<Const, const T>, int> = 0>  // a null pointer is no memory
    KrTAOI(const KrTSize<short>& size, Const* pixels, std::uint32_t rowIncInBytes, const KrString& name = L"")
        : KrTAOI(size, const_cast<T*>(pixels), rowIncInBytes, name) {
        MarkReadOnly();
    }
    // Views a rectangle, in buffer coordinates, of the buffer that the parent lies in; read-only when the parent is
    // const or read-only. Throws KrException when the parent's pixels have no addresses, and when the rectangle does
    // not lie inside the buffer.
    KrTAOI(KrTAOI& parent, const KrTRectangle<short>& rect, const KrString& name = L"");
    KrTAOI(const KrTAOI& parent, const KrTRectangle<short>& rect, const KrString& name = L"");
    ~KrTAOI() override;
    KrTAOI(const KrTAOI&) = default;
    KrTAOI& operator=(const KrTAOI&) = default;
    // The same view as that of an image that owns its pixels; read-only when the image is const.
    template <class Buffer, IfConstOwner<Buffer> = 0>
    KrTAOI(Buffer& image) : KrTAOI(static_cast<const KrTAOI&>(image)) {
        MarkReadOnly();
    }
    template <class Buffer, IfConstOwner<Buffer> = 0>
    KrTAOI& operator=(Buffer& image) {
        *this = static_cast<const KrTAOI&>(image);
        MarkReadOnly();
        return *this;
    }

    // First pixel of a row of the view, counted from its top, or the pixel at (x, y) of the view; not checked, and null
    // when the pixels are not addressable. What the non-const forms give of a read-only image is only for reading.
    T* GetRowPointer(int row) { return const_cast<T*>(RowAddress(row)); }
    const T* GetRowPointer(int row) const { return RowAddress(row); }
    std::uint32_t GetRowIncInBytes() const { return mRowInc; }
    T* GetPointer(const KrTPoint<short>& p) { return mPixels ? GetRowPointer(p.y) + p.x : nullptr; }
    const T* GetPointer(const KrTPoint<short>& p) const { return mPixels ? RowAddress(p.y) + p.x : nullptr; }

    // The columns first ... last of a row, all of a row, and one pixel; an empty range does nothing.
    virtual void ReadRow(int row, const KrColumnRange& columns, KrTBuf1D<T>& buffer) const;
    virtual void ReadRow(int row, KrTBuf1D<T>& buffer) const;
    virtual void WriteRow(int row, const KrColumnRange& columns, const KrTBuf1D<T>& buffer);
    virtual void WriteRow(int row, const KrTBuf1D<T>& buffer);
    virtual T ReadPixel(const KrTPoint<short>& p) const;
    virtual void WritePixel(const KrTPoint<short>& p, T value);

    // Built on the row operations unless overridden, with their rules. Reading an image resizes the buffer to the view;
    // writing one stops at the end of the buffer or of the view, whichever comes first.
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
class VORIP_API KrAOI8 : public KrTAOI<std::uint8_t> { public: using KrTAOI::KrTAOI; using KrTAOI::operator=; };
class VORIP_API KrAOI16 : public KrTAOI<std::uint16_t> { public: using KrTAOI::KrTAOI; using KrTAOI::operator=; };
class VORIP_API KrAOI32 : public KrTAOI<std::int32_t> { public: using KrTAOI::KrTAOI; using KrTAOI::operator=; };
class VORIP_API KrAOI32Float : public KrTAOI<float> { public: using KrTAOI::KrTAOI; using KrTAOI::operator=; };
class VORIP_API KrAOI64Double : public KrTAOI<double> { public: using KrTAOI::KrTAOI; using KrTAOI::operator=; };
// clang-format on

}  // namespace KrN
