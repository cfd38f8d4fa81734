#include "ipbase/ipLCombination.h"

#include <tuple>

#include "ipbase/geometry/operations.h"
#include "ipbase/geometry/source.h"
#include "ipbase/kernels/combine.h"

namespace KrN {

using namespace geometry;

KrLCombination::KrLCombination() = default;
KrLCombination::KrLCombination(const KrLCombination&) = default;
KrLCombination& KrLCombination::operator=(const KrLCombination&) = default;
KrLCombination::~KrLCombination() = default;

namespace {

template <class T>
void InsertPixels(const KrTAOI<T>* src, KrTAOI<T>* dst, std::int64_t dx, std::int64_t dy, const KrAOI8* mask) {
    const auto first = [](std::int64_t by) { return std::max<std::int64_t>(0, by); };
    const auto last = [](std::int64_t by, int from, int to) { return std::min<std::int64_t>(to, from + by); };
    const std::int64_t left = first(dx), right = last(dx, src->AOIWidth(), dst->AOIWidth());
    const std::int64_t top = first(dy), bottom = last(dy, src->AOIHeight(), dst->AOIHeight());
    if (left >= right || top >= bottom) return;
    const Source<T> source(*src, dst);
    KrSampling how;
    how.mask = mask;
    const MaskReader isExcluded(how);
    const int column = static_cast<int>(left), width = static_cast<int>(right - left);
    TargetRows<T> rows(dst, RouteOf(Access::eSwitched, dst), width);
    for (int y = static_cast<int>(top); y < bottom; ++y) {
        const int row = static_cast<int>(y - dy), first = static_cast<int>(left - dx);
        const T* const from = source.Plane().Row(row) + first;
        if (!isExcluded.IsActive()) {
            std::copy_n(from, width, rows.Row(y, column));
        } else {
            T* const to = rows.Load(y, column, width);
            for (int x = 0; x < width; ++x)
                if (!isExcluded(first + x, row)) to[x] = from[x];
        }
        rows.Finish(y, column, width);
    }
}

template <class T>
void CombinePixels(CombineRow<T> row, const KrTAOI<T>* a, const KrTAOI<T>* b, const KrTAOI<u8>* by, KrTAOI<T>* dst) {
    WalkRows(Access::eSwitched, row, dst, a, b, by);
}
template <class T>
void SelectPixels(const KrTAOI<T>* a, const KrTAOI<T>* b, const KrTAOI<u8>* mask, KrTAOI<T>* dst) {
    CombinePixels(KernelOf<CombineRow<T>>(GetCombineKernels().select), a, b, mask, dst);
}
template <class T>
void BlendPixels(const KrTAOI<T>* a, const KrTAOI<T>* b, const KrTAOI<u8>* weight, KrTAOI<T>* dst) {
    CombinePixels(KernelOf<CombineRow<T>>(GetCombineKernels().blend), a, b, weight, dst);
}
template <class D, class T>
void MergePixels(const KrTAOI<T>* a, const KrTAOI<T>* b, double saturation, double gain, KrTAOI<D>* dst) {
    if (std::isnan(saturation) || std::isnan(gain))
        throw new KrException(L"Saturation and gain of merged exposures must be numbers");
    const auto row = KernelOf<ExposureRow<D, T>>(GetCombineKernels().merge);
    const Exposures exposures{saturation, gain};
    WalkRows(
        Access::eSwitched,
        [&](D* out, const T* first, const T* second, std::size_t count) { row(out, first, second, exposures, count); },
        dst, a, b);
}

}  // namespace

template <>
struct OperationsOf<KrLCombination> {
    using T = KrLCombination;
    struct Inserting {
        T& self;
        const KrAOI8* mask;
    };
    template <class AOI, void (T::*kernel)(const AOI*, AOI*, int, int, const KrAOI8*)>
    static void Insert(const Inserting& inserting, const AOI* src, AOI* dst, int dx, int dy) {
        if (!AnyIsEmpty(src, dst)) (inserting.self.*kernel)(src, dst, dx, dy, inserting.mask);
    }
    using Placed = Operation<void(const Inserting&, const KrAOI*, KrAOI*, int, int)>;
    using Three = Operation<void(T&, const KrAOI*, const KrAOI*, const KrAOI*, KrAOI*)>;
    using Merged = Operation<void(T&, const KrAOI*, const KrAOI*, double, double, KrAOI*)>;

    static constexpr const wchar_t* kFile = L"C\\ipLCombination";
    static constexpr std::tuple all{
        Placed::Of<&Insert<KrAOI8, &T::Insert88SW>, &Insert<KrAOI16, &T::Insert1616SW>,
                   &Insert<KrAOI32, &T::Insert3232SW>, &Insert<KrAOI32Float, &T::InsertFFSW>,
                   &Insert<KrAOI64Double, &T::InsertDDSW>>(kFile, 50, L"Insert( %s, %s, %d, %d )"),
        Three::Of<&T::Select888SW, &T::Select161616SW, &T::Select323232SW, &T::SelectFFFSW, &T::SelectDDDSW>(
            kFile, 90, L"Select( %s, %s, %s, %s )"),
        Three::Of<&T::Blend888SW, &T::Blend161616SW, &T::BlendFFFSW, &T::BlendDDDSW>(kFile, 130,
                                                                                     L"Blend( %s, %s, %s, %s )"),
        Merged::Of<&T::MergeExposures888SW, &T::MergeExposures8816SW, &T::MergeExposures88FSW,
                   &T::MergeExposures161616SW, &T::MergeExposures1616FSW, &T::MergeExposuresFFFSW>(
            kFile, 170, L"MergeExposures( %s, %s, %g, %g )")};
};

namespace {

const auto& [kInsert, kSelect, kBlend, kMergeExposures] = OperationsOf<KrLCombination>::all;

}  // namespace

void KrLCombination::Insert(const KrAOI* src, KrAOI* dst, int dx, int dy, const KrAOI8* mask) {
    kInsert({*this, mask}, src, dst, dx, dy);
}
void KrLCombination::Select(const KrAOI* a, const KrAOI* b, const KrAOI* mask, KrAOI* dst) {
    kSelect(*this, a, b, mask, dst);
}
void KrLCombination::Blend(const KrAOI* a, const KrAOI* b, const KrAOI* weight, KrAOI* dst) {
    kBlend(*this, a, b, weight, dst);
}
void KrLCombination::MergeExposures(const KrAOI* a, const KrAOI* b, double saturation, double gain, KrAOI* dst) {
    kMergeExposures(*this, a, b, saturation, gain, dst);
}

void KrLCombination::Insert88SW(const KrAOI8* s, KrAOI8* d, int dx, int dy, const KrAOI8* mask) {
    InsertPixels<u8>(s, d, dx, dy, mask);
}
void KrLCombination::Insert1616SW(const KrAOI16* s, KrAOI16* d, int dx, int dy, const KrAOI8* mask) {
    InsertPixels<u16>(s, d, dx, dy, mask);
}
void KrLCombination::Insert3232SW(const KrAOI32* s, KrAOI32* d, int dx, int dy, const KrAOI8* mask) {
    InsertPixels<i32>(s, d, dx, dy, mask);
}
void KrLCombination::InsertFFSW(const KrAOI32Float* s, KrAOI32Float* d, int dx, int dy, const KrAOI8* mask) {
    InsertPixels<float>(s, d, dx, dy, mask);
}
void KrLCombination::InsertDDSW(const KrAOI64Double* s, KrAOI64Double* d, int dx, int dy, const KrAOI8* mask) {
    InsertPixels<double>(s, d, dx, dy, mask);
}
void KrLCombination::Select888SW(const KrAOI8* a, const KrAOI8* b, const KrAOI8* mask, KrAOI8* d) {
    SelectPixels<u8>(a, b, mask, d);
}
void KrLCombination::Select161616SW(const KrAOI16* a, const KrAOI16* b, const KrAOI8* mask, KrAOI16* d) {
    SelectPixels<u16>(a, b, mask, d);
}
void KrLCombination::Select323232SW(const KrAOI32* a, const KrAOI32* b, const KrAOI8* mask, KrAOI32* d) {
    SelectPixels<i32>(a, b, mask, d);
}
void KrLCombination::SelectFFFSW(const KrAOI32Float* a, const KrAOI32Float* b, const KrAOI8* mask, KrAOI32Float* d) {
    SelectPixels<float>(a, b, mask, d);
}
void KrLCombination::SelectDDDSW(const KrAOI64Double* a, const KrAOI64Double* b, const KrAOI8* mask, KrAOI64Double* d) {
    SelectPixels<double>(a, b, mask, d);
}
void KrLCombination::Blend888SW(const KrAOI8* a, const KrAOI8* b, const KrAOI8* weight, KrAOI8* d) {
    BlendPixels<u8>(a, b, weight, d);
}
void KrLCombination::Blend161616SW(const KrAOI16* a, const KrAOI16* b, const KrAOI8* weight, KrAOI16* d) {
    BlendPixels<u16>(a, b, weight, d);
}
void KrLCombination::BlendFFFSW(const KrAOI32Float* a, const KrAOI32Float* b, const KrAOI8* weight, KrAOI32Float* d) {
    BlendPixels<float>(a, b, weight, d);
}
void KrLCombination::BlendDDDSW(const KrAOI64Double* a, const KrAOI64Double* b, const KrAOI8* weight,
                                KrAOI64Double* d) {
    BlendPixels<double>(a, b, weight, d);
}
void KrLCombination::MergeExposures888SW(const KrAOI8* a, const KrAOI8* b, double saturation, double gain,
                                         KrAOI8* dst) {
    MergePixels<u8, u8>(a, b, saturation, gain, dst);
}
void KrLCombination::MergeExposures8816SW(const KrAOI8* a, const KrAOI8* b, double saturation, double gain,
                                          KrAOI16* dst) {
    MergePixels<u16, u8>(a, b, saturation, gain, dst);
}
void KrLCombination::MergeExposures88FSW(const KrAOI8* a, const KrAOI8* b, double saturation, double gain,
                                         KrAOI32Float* dst) {
    MergePixels<float, u8>(a, b, saturation, gain, dst);
}
void KrLCombination::MergeExposures161616SW(const KrAOI16* a, const KrAOI16* b, double saturation, double gain,
                                            KrAOI16* dst) {
    MergePixels<u16, u16>(a, b, saturation, gain, dst);
}
void KrLCombination::MergeExposures1616FSW(const KrAOI16* a, const KrAOI16* b, double saturation, double gain,
                                           KrAOI32Float* dst) {
    MergePixels<float, u16>(a, b, saturation, gain, dst);
}
void KrLCombination::MergeExposuresFFFSW(const KrAOI32Float* a, const KrAOI32Float* b, double saturation, double gain,
                                         KrAOI32Float* dst) {
    MergePixels<float, float>(a, b, saturation, gain, dst);
}

std::vector<OperationInfo> CombinationOperations() { return ListOperations(OperationsOf<KrLCombination>::all); }

}  // namespace KrN
