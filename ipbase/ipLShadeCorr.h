#pragma once

#include <cstdint>

#include "imagemodel/kraoi.h"

namespace KrN {

// Removes slow changes of brightness (shading) from camera images of 8 or 16 bits.
//
// The background of an image is found on a reduced copy of it, which takes every R-th pixel of every R-th row: it is
// dilated n times and smoothed by a mean, both over a kernel of kw x kh pixels (those beyond the border are copies of
// the nearest one), and enlarged bilinearly. The reduced copy has trunc(size / R + 0.5) pixels in each direction, at
// least one; beyond its last pixel the enlargement repeats it. Its weights add up to 255/256 in each direction, so that
// the background of an even image is up to two steps in 256 darker than the image.
//
// By default the kernel has 3 x 3 pixels, n = 3 and R = 12; derived classes may set them. A kernel side or a reduce
// factor of 0 counts as 1, a side above 32767 as that.
//
// What an operation works on is the common region of its operands. They throw KrNotImplementedException (file
// "C\ipLShadeCorr", line 52 or 339) for anything but two 8-bit or two 16-bit images, and KrException when the image
// that would be written is read-only; nothing has changed then. One object serves one thread at a time; copies are
// independent.
class VORIP_API KrLShadeCorrection {
public:
    KrLShadeCorrection();
    KrLShadeCorrection(const KrLShadeCorrection&);
    KrLShadeCorrection& operator=(const KrLShadeCorrection&);
    virtual ~KrLShadeCorrection();

    // Divides the image by its background, in place: with q = pixel / background, and 0 where the background is 0, the
    // pixel becomes trunc(top / greatest q * q + 0.5), top being 255 or 65535. When no q is above 0, all become 0.
    // `other` limits the region that is processed and is not touched.
    virtual void ShadeCorrection(KrAOI* image, KrAOI* other);
    // Writes the background of `src` into `dst`, which may be the same image.
    virtual void GetBackgroundShade(KrAOI* src, KrAOI* dst);
    void GetBackgroundShade(const KrAOI* src, KrAOI* dst) { GetBackgroundShade(const_cast<KrAOI*>(src), dst); }

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced; images are not null and not empty.
    virtual void ShadeCorrection88SW(KrAOI8* image, KrAOI8* other);
    virtual void ShadeCorrection1616SW(KrAOI16* image, KrAOI16* other);
    virtual void GetBackgroundShade88SW(KrAOI8* src, KrAOI8* dst);
    virtual void GetBackgroundShade1616SW(KrAOI16* src, KrAOI16* dst);
    // The background of a whole image; `dst` has the size of `src` and is 0, and must keep the size.
    virtual void mGetBackgroundShade88SW(KrTBuf2D<unsigned char>& src, KrTBuf2D<unsigned char>& dst);
    virtual void mGetBackgroundShade1616SW(KrTBuf2D<unsigned short>& src, KrTBuf2D<unsigned short>& dst);

    // kw and kh, n, and R.
    KrTSize<std::uint32_t> GetKernelSize() const { return {mKernelWidth, mKernelHeight}; }
    void SetKernelSize(KrTSize<std::uint32_t> size) {
        mKernelWidth = size.cx;
        mKernelHeight = size.cy;
    }
    unsigned int GetDilatationNum() const { return mDilatations; }
    void SetDilatationNum(unsigned int count) { mDilatations = count; }
    unsigned int GetReduceFactor() const { return mReduceFactor; }
    void SetReduceFactor(unsigned int factor) { mReduceFactor = factor; }

private:
    // Images at work. They are kept for the next call, because fresh memory costs more than the computation; copies of
    // the object start without.
    template <class T>
    struct Work {
        Work() = default;
        Work(const Work&) {}
        Work& operator=(const Work&) { return *this; }
        KrTBuf2D<T> image, shade;
    };

    template <class T>
    void Background(const KrTBuf2D<T>& src, KrTBuf2D<T>& dst) const;

    std::uint32_t mKernelWidth = 3;
    std::uint32_t mKernelHeight = 3;
    std::uint32_t mDilatations = 3;
    std::uint32_t mReduceFactor = 12;
    Work<unsigned char> mWork8;
    Work<unsigned short> mWork16;
};

}  // namespace KrN
