#pragma once

#include <memory>

#include "imagemodel/imagemodel.h"

namespace KrN {

// Region-based phase unwrapping.
//
// Turns a wrapped fringe phase (8 bits, one period = 256 steps) into a continuous one. Areas are grown from the best
// pixels of a quality image over steps of at most a quarter period; neighbouring areas are joined in the order of how
// well their boundaries agree on a whole number of periods; every joined component is made consistent by shifting its
// areas by whole periods. The result has the fringe order in the high byte and the phase in the low byte, so one period
// is 256.
//
// Execute comes first; the object then keeps all that is needed to inspect and change the result. It does not own the
// target images of the full Execute: they must live as long as the operations that write to them (SetZeroPoint,
// AddOrder, DelArea) or read from them (GetResult) are used. Coordinates are columns and rows from the top left of the
// common region; outside of it, and at pixels without a result, SetZeroPoint, AddOrder and DelArea do nothing. They
// throw KrException, and change nothing, when a target has not the size any more that it had in Execute, has lost its
// pixels or become read-only. When Execute fails on its way, the object has no result.
//
// A copy owns copies of all results; it writes to its own internal images where the original does so, else to the same
// targets.
class VORIP_API KrLUnWrap {
public:
    KrLUnWrap();
    KrLUnWrap(const KrLUnWrap& other);
    KrLUnWrap& operator=(const KrLUnWrap& other);
    virtual ~KrLUnWrap();

    // Shifts the component under (x, y) by a number of periods (modulo 256 of them) and writes the targets again.
    virtual void AddOrder(unsigned short x, unsigned short y, short order);

    // Makes all pixels of the component under (x, y) invalid and writes the targets again.
    virtual void DelArea(unsigned short x, unsigned short y);

    // Unwraps into internal images, from which GetResult fetches. Otherwise as the full form.
    virtual void Execute(KrAOI8* phase, KrAOI8* quality, KrAOI8* mask, unsigned char minQuality,
                         std::uint32_t minAreaSize, unsigned char orderQualMode, int centreOrders);

    // Unwraps the common region of phase, quality, mask and target.
    //   phase          wrapped phase, 256 steps per period
    //   quality        0..255, higher is better
    //   mask           values of 128 and more exclude the pixel
    //   target         receives the phase minus its smallest valid value; 0 at invalid pixels
    //   targetMask     receives a copy of mask, with bit 6 (64) set at invalid pixels and cleared at valid ones; may be
    //                  mask itself, and must not be smaller than the common region
    //   minQuality     pixels whose level, min(quality + 1, 255), is not above this are left out
    //   minAreaSize    components of fewer pixels are dropped
    //   orderQualMode  how far growth may climb from quality level q to better pixels: mode 1 by 255, 2 by q,
    //                  3 by q / 2, 4 by q / 4, 5 by q / 8, 6 by q / 16, 7 by q / 32, 8 not at all; other values keep
    //                  the choice of the previous run
    //   centreOrders   0: the period shifts of a component are centred around 0; otherwise the smallest one becomes 0
    // An empty common region writes nothing. Throws KrException, before anything is written, when an image is missing,
    // targetMask is too small, or a target is read-only; the earlier result stays then.
    virtual void Execute(KrAOI8* phase, KrAOI8* quality, KrAOI8* mask, KrAOI16* target, KrAOI8* targetMask,
                         unsigned char minQuality, std::uint32_t minAreaSize, unsigned char orderQualMode,
                         int centreOrders);

    // The same for const images.
    void Execute(const KrAOI8* phase, const KrAOI8* quality, const KrAOI8* mask, unsigned char minQuality,
                 std::uint32_t minAreaSize, unsigned char orderQualMode, int centreOrders) {
        Execute(const_cast<KrAOI8*>(phase), const_cast<KrAOI8*>(quality), const_cast<KrAOI8*>(mask), minQuality,
                minAreaSize, orderQualMode, centreOrders);
    }
    void Execute(const KrAOI8* phase, const KrAOI8* quality, const KrAOI8* mask, KrAOI16* target, KrAOI8* targetMask,
                 unsigned char minQuality, std::uint32_t minAreaSize, unsigned char orderQualMode, int centreOrders) {
        Execute(const_cast<KrAOI8*>(phase), const_cast<KrAOI8*>(quality), const_cast<KrAOI8*>(mask), target, targetMask,
                minQuality, minAreaSize, orderQualMode, centreOrders);
    }

    // Fringe order at (x, y), -128..127; 0 outside the image.
    virtual short GetOrder(unsigned short x, unsigned short y) const;

    // Smallest and largest valid phase (in steps, signed 16-bit) when the targets were last written; (0, 0) without
    // any.
    virtual KrTRange<std::int32_t> GetRange() const;

    // Nonzero where the pixel has a valid result.
    virtual int IsValidArea(unsigned short x, unsigned short y) const;

    // Subtracts the phase at (x, y) from every valid pixel and writes the targets again.
    virtual void SetZeroPoint(unsigned short x, unsigned short y);

    // Copies the last target and target mask out. The 16-bit form gives the target's values, the float form the phase
    // in the unit of the phase image's information record: (value + smallest phase) * scale / 255. The result's record,
    // which is created when the image has none and then kept by it, describes the values. Throws KrException when an
    // image is missing or a size differs from that of the last target or target mask (also before the first Execute).
    void GetResult(KrAOI16* result, KrAOI8* resultMask);
    void GetResult(KrAOI32Float* result, KrAOI8* resultMask);

    // The same in radians, whatever the unit of the phase image: 2 pi per period, 0 at invalid pixels. With errors as
    // GetResult; before the first Execute the error says so.
    void GetRadians(KrAOI32Float* result, KrAOI8* resultMask) const;

    // Number of joined components in the result, and an image of their numbers: 1 to the count, 0 at invalid pixels.
    // Labels are written to the common region of the result and the image; throws KrException when it is missing.
    std::uint32_t GetComponentCount() const;
    void GetComponentLabels(KrAOI32* labels) const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace KrN
