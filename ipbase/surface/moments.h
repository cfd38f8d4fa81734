#pragma once

#include <array>
#include <vector>

#include "ipbase/base/rowaccess.h"
#include "ipbase/kernels/bestfit.h"

// The sums over an image that the fit of a surface is solved from.
namespace KrN {

// Where there are pixels, counted from 1: columns x0 ... x1, rows y0 ... y1; x0 > x1 when there is none.
struct Box {
    int x0, x1, y0, y1;
};

Box FindBox(const KrTSize<int>& size, const KrAOI8* mask);

// Coordinates in which the sums of powers are well conditioned: (X - centre) / half.
struct Axis {
    double centre, half;
    double operator()(int x) const { return (x - centre) / half; }
};

// Sums over all pixels that take part: of s^p * t^q, and of the values times s^p * t^q.
class SurfaceMoments {
public:
    template <class T>
    SurfaceMoments(const KrTAOI<T>* src, const KrAOI8* mask, const Box& box, const Axis& s, const Axis& t);

    double powers[7][7] = {};
    double values[4][4] = {};

private:
    void SumPowers();
    template <class T>
    void AddRows(const T* const* rows, const std::uint8_t* const* masks, std::size_t n);
    void Combine(int y, int n, const Axis& t);

    std::size_t mFirst;
    KrTBuf1D<double> mS;
    std::vector<std::array<double, 7>> mTilePowers;
    std::array<double, 7> mWhole{};   // of s^p, in one row of the tiles that take part entirely
    kernels::ValueSums mValues = {};  // of the tiles beside each other at hand
    kernels::PowerSums mPowers = {};
};

}  // namespace KrN
