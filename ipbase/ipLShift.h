#pragma once

#include "imagemodel/krbufferaoi.h"

namespace KrN {

class VORIP_API KrLShift {
public:
    KrLShift();
    KrLShift(const KrLShift&);
    KrLShift& operator=(const KrLShift&);
    virtual ~KrLShift();

    // Shifts an image by whole pixels over the common region: dst(x, y) = src(x - dx, y - dy) where that pixel lies in
    // the source view, else the fill value (8 and 16: trunc(fill + 0.5), low bits kept; F and D: in their precision).
    // Source and destination have the same type 8, 16, F or D and may be the same image. Pixels of the destination's
    // buffer outside its view are never touched. Other types throw KrNotImplementedException (file "C\ipLShift", line
    // 104) before anything is written.
    void Shift(const KrAOI* src, KrAOI* dst, short dx, short dy, double fill);

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void Shift88(const KrAOI8* src, KrAOI8* dst, short dx, short dy, double fill);
    virtual void Shift88Mem(const KrBufferAOI8* src, KrBufferAOI8* dst, short dx, short dy, double fill);
    virtual void Shift1616(const KrAOI16* src, KrAOI16* dst, short dx, short dy, double fill);
    virtual void Shift1616Mem(const KrBufferAOI16* src, KrBufferAOI16* dst, short dx, short dy, double fill);
    virtual void ShiftFFSW(const KrAOI32Float* src, KrAOI32Float* dst, short dx, short dy, double fill);
    virtual void ShiftDDSW(const KrAOI64Double* src, KrAOI64Double* dst, short dx, short dy, double fill);
};

}  // namespace KrN
