#pragma once

#include <array>

#include "imagemodel/kraoi.h"

namespace KrN {

// How values between pixels are found. eCubic: Keys, a = -1/2. eArea (KrLGeomet::Scale and ScaleModulo): the mean over
// what a pixel of the destination covers. eFourier (shifts and rotations of float and double images): by the discrete
// Fourier transform, for which an image repeats itself endlessly.
enum InterpolationMode : int { eNearest = 0, eLinear = 1, eCubic = 2, eArea = 3, eFourier = 4 };

// What lies outside an image: a value, its nearest pixel, its mirror image (the edge pixel is not repeated), itself
// again.
enum BorderRule : int { eBorderFill = 0, eBorderReplicate = 1, eBorderReflect = 2, eBorderWrap = 3 };

// How an operation reads between and beyond the pixels of its source. An operation uses what its description names.
struct KrSampling {
    InterpolationMode mode;
    BorderRule border;
    double fill;  // of integers: trunc(fill + 0.5), low bits kept
    // Pixels of the source whose mask value is 64 or more are excluded, unless `consideration` is eIgnoreMask or there
    // is no mask. Pixels beyond a smaller mask count as its nearest one.
    const KrAOI8* mask = nullptr;
    MaskConsideration consideration = eConsiderMask;
    // Becomes 255 where the destination has no value and 0 elsewhere, over the common region with the destination.
    KrAOI8* excluded = nullptr;
    // Of the modulo operations on float and double images: what the quantity repeats after, above 0.
    double period = KrMath::TwoPi;
    // Of the modulo operations: the weights of the source's pixels where means are taken; null: all alike. The fill
    // value weighs as much as the pixel next to it.
    const KrAOI32Float* modulation = nullptr;

    KrSampling(InterpolationMode mode_ = eLinear, BorderRule border_ = eBorderFill, double fill_ = 0.0)
        : mode(mode_), border(border_), fill(fill_) {}
};

// Geometric operations: sizes, mirrors, turns, shifts and maps; and forms of them for quantities that repeat after a
// period, as wrapped phases do.
//
// The centres of pixels are whole numbers, y grows downwards. The size of the destination is never changed: it is the
// grid at which the source is sampled. An operation of the same types has source and destination of one pixel type. It
// computes 8-bit, 16-bit and float images in single, 32-bit and double images in double precision; integers become
// floor(v + 0.5), limited to the type.
//
// Pixels that the mask excludes, NaN and infinities have no part in a result: the weights of the others count in
// proportion. Where they are less than half of all weights, the destination gets the fill value (0 in `Scale`) and
// `excluded` 255. Where a cubic weight falls on an excluded pixel, linear weights stand in. The fill value outside an
// image counts like pixels, unless it is not finite. Pyramids know no exclusion: what is not finite spreads there.
//
// Empty images are no error; nothing happens. Other pixel types, and modes that an operation does not know, throw
// KrNotImplementedException (file "C\ipLGeomet") before anything is written.
class VORIP_API KrLGeomet {
public:
    enum Axis : int { eColumns = 0, eRows = 1, eBoth = 2 };

    KrLGeomet();
    KrLGeomet(const KrLGeomet&);
    KrLGeomet& operator=(const KrLGeomet&);
    virtual ~KrLGeomet();

    // Changes the size, for the same types 8, 16, 32, F, D; line 120. Pixel x is taken at (x + 0.5) * sw / dw - 0.5,
    // pixels beyond the edge are copies of it. eNearest takes pixel floor((2x + 1) * sw / (2 dw)). Where an axis
    // becomes shorter, eLinear and eCubic widen their weights by the factor, so that nothing fine turns into something
    // coarse, and eArea takes the mean of what is covered; where it does not, eArea is eLinear. Images that share
    // pixels throw (line 121).
    void Scale(const KrAOI* src, KrAOI* dst, const KrSampling& how = {});
    // dst(x, y) = src(start.x + step.x * x, start.y + step.y * y), for the same types 8, 16, 32, F, D; line 160. A step
    // of 0 or less counts as 1. Pixels for which the source has none keep their values. May be in place.
    void Sample(const KrAOI* src, KrAOI* dst, const KrTPoint<short>& start, const KrTPoint<short>& step);
    // Reverses the order of the columns, of the rows, or both, for the same types 8, 16, 32, F, D; line 200. The
    // source's middle stays, the common region is written; may be in place.
    void Mirror(const KrAOI* src, KrAOI* dst, Axis axis);
    // Turns by quarters * 90 degrees, counter-clockwise, for the same types 8, 16, 32, F, D; line 240. Throws
    // KrException when the destination has not the size of the result. Square images may be turned in place.
    void Turn(const KrAOI* src, KrAOI* dst, int quarters);
    // dst(x, y) = src(x - dx, y - dy), for the same types 8, 16, F, D; line 300; over the common region, may be in
    // place. Modes: all but eArea. eFourier ignores border, mask and NaN; a size that is even loses the share of its
    // highest frequency that a shift cannot show, odd sizes lose nothing. Shifts that are not finite give the fill
    // value.
    void ShiftSubPixel(const KrAOI* src, KrAOI* dst, double dx, double dy, const KrSampling& how = {});
    // dst(x, y) = src(m[0] x + m[1] y + m[2], m[3] x + m[4] y + m[5]), for the same types 8, 16, F, D; line 360; modes
    // eNearest, eLinear, eCubic. Positions that are not finite give the fill value. May be in place.
    void Affine(const KrAOI* src, KrAOI* dst, const std::array<double, 6>& matrix, const KrSampling& how = {});
    // dst(x, y) = src(mapX(x, y), mapY(x, y)) over the common region of maps and destination, else as `Affine`; line
    // 400.
    void Remap(const KrAOI* src, const KrAOI* mapX, const KrAOI* mapY, KrAOI* dst, const KrSampling& how = {});
    // Half and double size, for the same types 8, 16, F, D; lines 440 and 460: weighted by (1 4 6 4 1) / 16 along both
    // axes with reflected borders (P. J. Burt and E. H. Adelson, "The Laplacian pyramid as a compact image code",
    // 1983). Throw KrException unless the destination has (w + 1) / 2 by (h + 1) / 2 or 2 w by 2 h pixels.
    void PyramidDown(const KrAOI* src, KrAOI* dst);
    void PyramidUp(const KrAOI* src, KrAOI* dst);
    // Edges (255, else 0) by J. Canny, "A computational approach to edge detection", 1986, from 8, 16 or F into 8; line
    // 500: pixels whose gradient (Sobel 3 x 3, replicated borders) is greatest across the edge and above `high`, and
    // those above `low` that hang together with them. The gradient is |dx| + |dy| or, with `euclidean`, the root of
    // dx * dx + dy * dy. NaN counts as a gradient of 0. Throws KrException when a threshold is NaN.
    void Canny(const KrAOI* src, KrAOI* dst, double low, double high, bool euclidean = false);

    // The same for wrapped phases and other quantities that repeat after a period: 256 for 8, 65536 for 16 bits,
    // `how.period` for F and D, whose results lie in [0, period). Neighbours differ by the shorter arc (half a period
    // counts as negative); these differences are interpolated, first along the rows, then down the columns, and each
    // step is stored modulo the period. Around phase residues the order matters. Sixteen bits take linear weights of 15
    // and other weights of 30 bits in integers. eArea, and eLinear and eCubic beside excluded pixels, take
    // atan2(sum of w sin, sum of w cos) instead, with w from the (then linear) weights and the modulation, and exclude
    // a pixel where the length of that sum is below 0.05 times the sum of w. Lines 540 (541 for images that share
    // pixels, as 121 for Scale), 580, 620, 660.
    void ScaleModulo(const KrAOI* src, KrAOI* dst, const KrSampling& how = {});
    void ShiftSubPixelModulo(const KrAOI* src, KrAOI* dst, double dx, double dy, const KrSampling& how = {});
    void AffineModulo(const KrAOI* src, KrAOI* dst, const std::array<double, 6>& matrix, const KrSampling& how = {});
    // The rotation of KrLRotateByShear, each of its shears by this rule; mask, modulation and `excluded` do not apply.
    // NaN is moved to the nearest place.
    void RotateModulo(const KrAOI* src, KrAOI* dst, double degrees, const KrSampling& how = {});

    template <class>
    friend struct OperationsOf;

protected:
    using Point = KrTPoint<short>;
    using Matrix = std::array<double, 6>;

    virtual void Scale88SW(const KrAOI8*, KrAOI8*, const KrSampling&);
    virtual void Scale1616SW(const KrAOI16*, KrAOI16*, const KrSampling&);
    virtual void Scale3232SW(const KrAOI32*, KrAOI32*, const KrSampling&);
    virtual void ScaleFFSW(const KrAOI32Float*, KrAOI32Float*, const KrSampling&);
    virtual void ScaleDDSW(const KrAOI64Double*, KrAOI64Double*, const KrSampling&);
    virtual void Sample88SW(const KrAOI8*, KrAOI8*, const Point&, const Point&);
    virtual void Sample1616SW(const KrAOI16*, KrAOI16*, const Point&, const Point&);
    virtual void Sample3232SW(const KrAOI32*, KrAOI32*, const Point&, const Point&);
    virtual void SampleFFSW(const KrAOI32Float*, KrAOI32Float*, const Point&, const Point&);
    virtual void SampleDDSW(const KrAOI64Double*, KrAOI64Double*, const Point&, const Point&);
    virtual void Mirror88SW(const KrAOI8*, KrAOI8*, int axis);
    virtual void Mirror1616SW(const KrAOI16*, KrAOI16*, int axis);
    virtual void Mirror3232SW(const KrAOI32*, KrAOI32*, int axis);
    virtual void MirrorFFSW(const KrAOI32Float*, KrAOI32Float*, int axis);
    virtual void MirrorDDSW(const KrAOI64Double*, KrAOI64Double*, int axis);
    virtual void Turn88SW(const KrAOI8*, KrAOI8*, int quarters);
    virtual void Turn1616SW(const KrAOI16*, KrAOI16*, int quarters);
    virtual void Turn3232SW(const KrAOI32*, KrAOI32*, int quarters);
    virtual void TurnFFSW(const KrAOI32Float*, KrAOI32Float*, int quarters);
    virtual void TurnDDSW(const KrAOI64Double*, KrAOI64Double*, int quarters);
    virtual void ShiftSubPixel88SW(const KrAOI8*, KrAOI8*, double, double, const KrSampling&);
    virtual void ShiftSubPixel1616SW(const KrAOI16*, KrAOI16*, double, double, const KrSampling&);
    virtual void ShiftSubPixelFFSW(const KrAOI32Float*, KrAOI32Float*, double, double, const KrSampling&);
    virtual void ShiftSubPixelDDSW(const KrAOI64Double*, KrAOI64Double*, double, double, const KrSampling&);
    virtual void Affine88SW(const KrAOI8*, KrAOI8*, const Matrix&, const KrSampling&);
    virtual void Affine1616SW(const KrAOI16*, KrAOI16*, const Matrix&, const KrSampling&);
    virtual void AffineFFSW(const KrAOI32Float*, KrAOI32Float*, const Matrix&, const KrSampling&);
    virtual void AffineDDSW(const KrAOI64Double*, KrAOI64Double*, const Matrix&, const KrSampling&);
    virtual void Remap88SW(const KrAOI8*, const KrAOI32Float*, const KrAOI32Float*, KrAOI8*, const KrSampling&);
    virtual void Remap1616SW(const KrAOI16*, const KrAOI32Float*, const KrAOI32Float*, KrAOI16*, const KrSampling&);
    virtual void RemapFFSW(const KrAOI32Float*, const KrAOI32Float*, const KrAOI32Float*, KrAOI32Float*,
                           const KrSampling&);
    virtual void RemapDDSW(const KrAOI64Double*, const KrAOI32Float*, const KrAOI32Float*, KrAOI64Double*,
                           const KrSampling&);
    virtual void PyramidDown88SW(const KrAOI8*, KrAOI8*);
    virtual void PyramidDown1616SW(const KrAOI16*, KrAOI16*);
    virtual void PyramidDownFFSW(const KrAOI32Float*, KrAOI32Float*);
    virtual void PyramidDownDDSW(const KrAOI64Double*, KrAOI64Double*);
    virtual void PyramidUp88SW(const KrAOI8*, KrAOI8*);
    virtual void PyramidUp1616SW(const KrAOI16*, KrAOI16*);
    virtual void PyramidUpFFSW(const KrAOI32Float*, KrAOI32Float*);
    virtual void PyramidUpDDSW(const KrAOI64Double*, KrAOI64Double*);
    virtual void Canny88SW(const KrAOI8*, KrAOI8*, double, double, bool);
    virtual void Canny168SW(const KrAOI16*, KrAOI8*, double, double, bool);
    virtual void CannyF8SW(const KrAOI32Float*, KrAOI8*, double, double, bool);
    virtual void ScaleModulo88SW(const KrAOI8*, KrAOI8*, const KrSampling&);
    virtual void ScaleModulo1616SW(const KrAOI16*, KrAOI16*, const KrSampling&);
    virtual void ScaleModuloFFSW(const KrAOI32Float*, KrAOI32Float*, const KrSampling&);
    virtual void ScaleModuloDDSW(const KrAOI64Double*, KrAOI64Double*, const KrSampling&);
    virtual void ShiftSubPixelModulo88SW(const KrAOI8*, KrAOI8*, double, double, const KrSampling&);
    virtual void ShiftSubPixelModulo1616SW(const KrAOI16*, KrAOI16*, double, double, const KrSampling&);
    virtual void ShiftSubPixelModuloFFSW(const KrAOI32Float*, KrAOI32Float*, double, double, const KrSampling&);
    virtual void ShiftSubPixelModuloDDSW(const KrAOI64Double*, KrAOI64Double*, double, double, const KrSampling&);
    virtual void AffineModulo88SW(const KrAOI8*, KrAOI8*, const Matrix&, const KrSampling&);
    virtual void AffineModulo1616SW(const KrAOI16*, KrAOI16*, const Matrix&, const KrSampling&);
    virtual void AffineModuloFFSW(const KrAOI32Float*, KrAOI32Float*, const Matrix&, const KrSampling&);
    virtual void AffineModuloDDSW(const KrAOI64Double*, KrAOI64Double*, const Matrix&, const KrSampling&);
    virtual void RotateModulo88SW(const KrAOI8*, KrAOI8*, double, const KrSampling&);
    virtual void RotateModulo1616SW(const KrAOI16*, KrAOI16*, double, const KrSampling&);
    virtual void RotateModuloFFSW(const KrAOI32Float*, KrAOI32Float*, double, const KrSampling&);
    virtual void RotateModuloDDSW(const KrAOI64Double*, KrAOI64Double*, double, const KrSampling&);
};

}  // namespace KrN
