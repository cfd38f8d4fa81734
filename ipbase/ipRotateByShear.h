#pragma once

#include "imagemodel/krlut.h"
#include "ipbase/ipLGeomet.h"

namespace KrN {

// Rotation by three shears, each of which moves whole rows or columns: A. W. Paeth, "A fast algorithm for general
// raster rotation", 1986; M. Unser, P. Thevenaz and L. Yaroslavsky, "Convolution-based interpolation for fast,
// high-quality rotation of images", 1995.
//
// Positive angles turn counter-clockwise on the screen, about the middle of the image. Whole quarter turns come first,
// exactly; the shears do the rest, at most 45 degrees, on a canvas that is large enough for the whole image. The middle
// of the canvas becomes the destination, whose size is the caller's choice: RotatedSize tells the one at which nothing
// is cut off. Between the shears values are kept in single (D: double) precision.
//
// eNearest moves pixels without changing them: each keeps its value, at most 1.12 pixels beside its place, and
// InverseRotate moves them back exactly. So does eFourier up to rounding, when the destination has RotatedSize; it
// is for F and D images. Rotating by the negative angle is the inverse of turns by up to 45 degrees only.
//
// NaN and infinities have no part in a value: the weights of the others count in proportion, and where they are less
// than half of all weights the fill value stands (not with eFourier). Source and destination have the same type 8, 16,
// F or D and may be the same image. Other types and modes throw KrNotImplementedException (file "C\ipRotateByShear",
// lines 60 and 90), angles that are no numbers KrException, before anything is written.
class VORIP_API KrLRotateByShear {
public:
    KrLRotateByShear();
    KrLRotateByShear(const KrLRotateByShear&);
    KrLRotateByShear& operator=(const KrLRotateByShear&);
    virtual ~KrLRotateByShear();

    // The fill value (of integers trunc(fill + 0.5), low bits kept) is what lies around the image. With a palette the
    // pixels are indices of 8 bits: the colours of two neighbours are mixed, and the entry nearest to that by squared
    // distance in red, green and blue is taken, the first of several; eCubic and eFourier are eLinear then.
    void Rotate(const KrAOI* src, KrAOI* dst, double degrees, InterpolationMode mode = eLinear, double fill = 0.0,
                const KrLut3x8* palette = nullptr);
    // Undoes Rotate: the destination has the size of the image that was rotated, and degrees and mode are the same.
    void InverseRotate(const KrAOI* src, KrAOI* dst, double degrees, InterpolationMode mode = eLinear,
                       double fill = 0.0, const KrLut3x8* palette = nullptr);
    // The size at which an image of that size is whole when rotated; its middle is a pixel or between pixels as before.
    // For eFourier that of the canvas, whose sides are odd and have no prime factor above 13, so that they transform
    // fast.
    static KrTSize<int> RotatedSize(const KrTSize<short>& size, double degrees, InterpolationMode mode = eLinear);

    template <class>
    friend struct OperationsOf;

protected:
    // `back`: undo.
    virtual void Rotate88SW(const KrAOI8*, KrAOI8*, double degrees, InterpolationMode, double fill, const KrLut3x8*,
                            bool back);
    virtual void Rotate1616SW(const KrAOI16*, KrAOI16*, double degrees, InterpolationMode, double fill, bool back);
    virtual void RotateFFSW(const KrAOI32Float*, KrAOI32Float*, double degrees, InterpolationMode, double fill,
                            bool back);
    virtual void RotateDDSW(const KrAOI64Double*, KrAOI64Double*, double degrees, InterpolationMode, double fill,
                            bool back);
};

}  // namespace KrN
