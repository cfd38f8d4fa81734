#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Conversion to 8 bits for display: values up to the lower end of a range become 0, values from its upper end on 255,
// those between trunc((v - lower) * 255 / (upper - lower)); all become 0 when the ends are equal. For 8- and 16-bit
// sources the ends are truncated to integers within the type's range and the formula is (v - lower) *
// (1 / (upper - lower)) * 255 in single precision; for 32-bit sources the ends are truncated to integers, and for float
// and double sources they are used as they are (infinite ones as the largest finite value), with (v - lower) * 255 /
// (upper - lower) in double precision, scaled down where that would overflow. NaN becomes 0. Works on the common
// region.
class VORIP_API KrLConvertAOI {
public:
    // Where the range comes from; any other value means the full range.
    enum ConversionMode : int {
        eInfoRange = 0,    // the source's KrAOIInfo when its range is valid, else as eScannedRange
        eFullRange = 1,    // the full range of the source's pixel type
        eScannedRange = 2  // the least and greatest value of the source
    };

    KrLConvertAOI();
    KrLConvertAOI(const KrLConvertAOI&);
    KrLConvertAOI& operator=(const KrLConvertAOI&);
    virtual ~KrLConvertAOI();

    // Null images throw as in the last form.
    virtual void Execute(const KrAOI16* src, KrAOI8* dst, ConversionMode mode);
    virtual void Execute(const KrAOI32* src, KrAOI8* dst, ConversionMode mode);
    virtual void Execute(const KrAOI32Float* src, KrAOI8* dst, ConversionMode mode);
    virtual void Execute(const KrAOI64Double* src, KrAOI8* dst, ConversionMode mode);
    virtual void Execute(const KrAOI8* src, KrAOI8* dst, ConversionMode mode);
    // Runs the form for the source's pixel type. Throws KrNotImplementedException (file "C\ipConvert", line 58) before
    // anything is written unless the destination is 8-bit.
    virtual void Execute(const KrAOI* src, KrAOI* dst, ConversionMode mode);

    // The range of the last conversion.
    const KrTFloatRange<double>& GetConvertedRange() const { return mConvertedRange; }

    template <class>
    friend struct OperationsOf;

private:
    template <class T>
    void Convert(const KrTAOI<T>* src, KrAOI8* dst, ConversionMode mode);

    KrTFloatRange<double> mConvertedRange;
};

}  // namespace KrN
