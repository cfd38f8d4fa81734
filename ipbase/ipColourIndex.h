#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Values into the indices of a colour table: N indices for the values from `lower` to `upper`, by a law. With
// t = (v - lower) / (upper - lower), limited to 0 ... 1, the index is min(floor(N f(t)), N - 1):
//
//   eLinear       f = t
//   eLogarithmic  f = ln(1 + c t) / ln(1 + c), c = `parameter` > 0: small values get more indices
//   eDecades      f = (ln v - ln lower) / (ln upper - ln lower) for 0 < lower < upper; v <= lower gives index 0
//   ePower        f = t ^ gamma, gamma = `parameter` > 0
//   eCyclic       f = the fraction of (v - lower) / period, period = `parameter` > 0: for wrapped phases
//
// A range whose ends are equal or in the wrong order gives index 0 throughout. Infinities are limited to the ends of
// the range; in eCyclic they count as NaN. NaN and excluded pixels get an index of their own.
//
// The object is small and holds nothing but its law; one may serve many images and threads.
class VORIP_API KrColourIndex {
public:
    enum Law : int { eLinear = 0, eLogarithmic = 1, eDecades = 2, ePower = 3, eCyclic = 4 };

    // `parameter` is ignored by eLinear and eDecades. `reserved` (0 ... 255) is the index of what has no value; it
    // should lie outside 0 ... count - 1 to be told from values. Throws KrException when the count is not 1 ... 256,
    // `reserved` no index, a range no number (eCyclic: `upper` does not matter), c, gamma or the period not above 0 and
    // finite, or the lower end of decades not above 0.
    KrColourIndex(Law law, double lower, double upper, int count = 255, double parameter = kDefaultParameter,
                  int reserved = 255);
    KrColourIndex(const KrColourIndex&);
    KrColourIndex& operator=(const KrColourIndex&);
    virtual ~KrColourIndex();

    // The indices of 8-, 16-, 32-bit, float and double images in an 8-bit image, over the common region. Pixels whose
    // mask value is 64 or more are excluded (null: no mask; pixels beyond a smaller mask count as its nearest one).
    // Other types throw KrNotImplementedException (file "C\ipColourIndex", line 50).
    void Execute(const KrAOI* src, KrAOI* dst, const KrAOI8* mask = nullptr) const;
    // The index of one value.
    std::uint8_t IndexOf(double value) const;
    // The value in the middle of those that have this index: scale bars are drawn by it. Indices beyond the ends count
    // as these.
    double ValueOf(int index) const;
    // The value at which index `index` begins, up to `count`, where the last one ends.
    double BeginOf(int index) const;

    // How many indices there are, and the one of pixels without a value.
    int Count() const { return mCount; }
    std::uint8_t Reserved() const { return mReserved; }

    static constexpr double kDefaultParameter = 100.0;

    template <class>
    friend struct OperationsOf;

protected:
    virtual void Execute88SW(const KrAOI8* src, KrAOI8* dst, const KrAOI8* mask) const;
    virtual void Execute168SW(const KrAOI16* src, KrAOI8* dst, const KrAOI8* mask) const;
    virtual void Execute328SW(const KrAOI32* src, KrAOI8* dst, const KrAOI8* mask) const;
    virtual void ExecuteF8SW(const KrAOI32Float* src, KrAOI8* dst, const KrAOI8* mask) const;
    virtual void ExecuteD8SW(const KrAOI64Double* src, KrAOI8* dst, const KrAOI8* mask) const;

private:
    double Fraction(double value) const;    // f
    double ValueAt(double fraction) const;  // its inverse

    Law mLaw;
    double mLower, mUpper, mParameter;
    int mCount;
    std::uint8_t mReserved;
};

}  // namespace KrN
