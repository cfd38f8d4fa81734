#include "ipbase/ipGradient.h"

#include <limits>

#include "ipbase/base/overlap.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/gradient/sums.h"
#include "ipbase/kernels/transfer.h"

namespace KrN {

using namespace kernels;

namespace {

template <class T>
bool IsDirect(const KrTAOI<T>* aoi) {
    return RouteOf(Access::eSwitched, aoi) == Route::eAddress;
}

// Lets `change(y, pixels)` change the columns first ... last - 1 of the rows top ... bottom - 1.
template <class T, class Change>
void ChangeRows(KrTAOI<T>* aoi, int top, int bottom, int first, int last, const Change& change) {
    if (first >= last || top >= bottom) return;
    TargetRows<T> rows(aoi, RouteOf(Access::eSwitched, aoi), last - first);
    for (int y = top; y < bottom; ++y) {
        change(y, rows.Row(y, first));
        rows.Finish(y, first, last - first);
    }
}

template <class T>
void FillBorder(KrTAOI<T>* aoi, const KrTSize<int>& size, int dx, int dy, T fill) {
    const int left = std::min(Length(dx), size.cx), right = std::max(left, size.cx - left);
    const int top = std::min(Length(dy), size.cy), bottom = std::max(top, size.cy - top);
    const auto row = std::get<FillRow<T>>(GetTransferKernels().fill);
    const auto rectangle = [&](int y0, int y1, int x0, int x1) {
        ChangeRows(aoi, y0, y1, x0, x1, [&](int, T* pixels) { row(pixels, fill, static_cast<std::size_t>(x1 - x0)); });
    };
    rectangle(0, top, 0, size.cx);
    rectangle(top, bottom, 0, left);
    rectangle(top, bottom, right, size.cx);
    rectangle(bottom, size.cy, 0, size.cx);
}

// Sets the columns |dx| ... W - |dx| - 1 of the rows |dy| ... H - |dy| - 1 by `difference(pixels, here, before,
// count)`; `sums` has the size of the region. False when S is too narrow for the sums; the pixels are wrong then.
template <class C, class T, class S, class D, class Difference>
bool FillInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, const Baselines& lines, KrTAOI<D>* dst,
                const Difference& difference) {
    const int a = lines.a, b = lines.b, width = sums.AOIWidth(), height = sums.AOIHeight();
    GradientSums<T, C, S> walk(phase, sums, lines);
    for (int k = 0; k < b; ++k) walk.Add(k);
    const auto count = static_cast<std::size_t>(width - 2 * a);
    ChangeRows(dst, b, height - b, a, width - a, [&](int y, D* pixels) {
        if (!walk.Fit()) return;
        const S* last = walk.Add(y);
        const S* first = walk.Row(y - b);
        const S* here = (lines.signY < 0 ? first : last) + (a - lines.firstX);
        const S* before = (lines.signY < 0 ? last : first) + lines.firstX;
        InBlocks<S>(count, [&](std::size_t x, std::size_t n) { difference(pixels + x, here + x, before + x, n); });
    });
    return walk.Fit();
}

// The same stretched, together with the border's 0, which `border` becomes. Nothing changes when it is false.
template <class C, class T, class S>
bool StretchInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, const Baselines& lines, KrTAOI<u8>* dst, u8& border) {
    const int a = lines.a, b = lines.b, width = sums.AOIWidth(), height = sums.AOIHeight();
    const short top = b > 0 ? 1 : 0;  // the gradient's row |dy| stands below the |dy| + 1 rows of sums
    KrTAOI<S> gradient(sums, {0, top, static_cast<short>(width), static_cast<short>(height - top)});
    Extremes<S> extremes{kNoGradient<S>, kNoGradient<S>};
    const auto subtract = std::get<GradientRow<S>>(GetGradientKernels().gradient);
    const auto difference = [&](S* pixels, const S* here, const S* before, std::size_t count) {
        subtract(pixels, here, before, count, extremes);
    };
    if (!FillInside<C>(phase, sums, lines, &gradient, difference)) return false;
    const Stretched<S> range(extremes);
    const auto stretch = std::get<ConstantRow<u8, S, Stretched<S>>>(GetGradientKernels().stretch);
    ChangeRows(dst, b, height - b, a, width - a, [&](int y, u8* pixels) {
        const S* row = gradient.GetRowPointer(y) + a;
        InBlocks<u8>(static_cast<std::size_t>(width - 2 * a),
                     [&](std::size_t x, std::size_t n) { stretch(pixels + x, row + x, range, n); });
    });
    stretch(&border, &kNoGradient<S>, range, 1);
    return true;
}

template <class C, class T, class S, class D>
bool ComputeInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, const Baselines& lines, KrTAOI<D>* dst, D& border) {
    if constexpr (std::is_same_v<D, u8>)
        return StretchInside<C>(phase, sums, lines, dst, border);
    else
        return FillInside<C>(phase, sums, lines, dst, std::get<PairRow<D, S, S>>(GetGradientKernels().difference));
}

template <class T>
void CopyPhase(const KrTAOI<T>* src, KrTAOI<T>* phase) {
    WalkRows(
        Access::eSwitched, [](T* d, const T* s, std::size_t n) { std::copy(s, s + n, d); }, phase, src);
}
void CopyPhase(const KrTAOI<double>* src, KrTAOI<u8>* phase) {
    WalkRows(Access::eSwitched, GetGradientKernels().wrap, phase, src);
}

template <class T>
T Fill(int infiniteBorder) {
    return infiniteBorder ? std::numeric_limits<T>::infinity() : T{0};
}

}  // namespace

template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::KrTGradient() = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::KrTGradient(const KrTGradient&) = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>& KrTGradient<Step, Sums, Phase>::operator=(const KrTGradient&) = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::~KrTGradient() = default;

template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::Init(const KrTSize<short>& size) {
    std::apply([&](auto&... sums) { (sums.Resize(size, 1), ...); }, mSums);
    mPhase.Resize(size, 1);
}

template <class Step, class Sums, class Phase>
template <class T, class D>
void KrTGradient<Step, Sums, Phase>::Compute(const KrTAOI<T>* src, int dx, int dy, KrTAOI<D>* dst, D border) {
    using P = typename Phase::Pixel;
    const KrTSize<int> size = CommonRegion(src, dst, &mPhase);
    if (size.cx == 0) return;
    dst->RequireWritable();
    const KrTRectangle<short> region(0, 0, static_cast<short>(size.cx), static_cast<short>(size.cy));
    const Baselines lines(dx, dy);
    if (2 * lines.a >= size.cx || 2 * lines.b >= size.cy) return FillBorder(dst, size, dx, dy, border);

    KrTAOI<P> copy(mPhase, region);
    const KrTAOI<P>* phase = &copy;
    if constexpr (std::is_same_v<T, P>)
        if (IsDirect(src) && (std::is_same_v<D, u8> || (IsDirect(dst) && !SharePixels(*src, size, *dst, size))))
            phase = src;
    if (phase == &copy) CopyPhase(src, &copy);

    const auto compute = [&](auto step, auto& buffer) {
        KrTAOI sums(buffer, region);
        return ComputeInside<decltype(step)>(*phase, sums, lines, dst, border);
    };
    if constexpr (std::is_same_v<P, u8>) {
        const bool narrow = std::max(lines.a, lines.b) <= kNarrowBaseline;
        if (!narrow || !compute(i8{}, std::get<0>(mSums))) compute(i16{}, std::get<1>(mSums));
    } else {
        compute(P{}, std::get<0>(mSums));
    }
    FillBorder(dst, size, dx, dy, border);
}

namespace {

// Reads rows of one image and adds what is computed from them to rows of another.
template <class T, class S>
class RowAdder {
public:
    RowAdder(const KrTAOI<T>* values, KrTAOI<S>* sums)
        : mSize(CommonRegion(values, sums)),
          mValues(values, RouteOf(Access::eSwitched, values, sums), mSize.cx),
          mSums(sums, RouteOf(Access::eSwitched, values, sums), mSize.cx) {}

    const KrTSize<int>& Size() const { return mSize; }
    std::size_t Width() const { return static_cast<std::size_t>(mSize.cx); }

    const T* Values(int y) { return mValues.Row(y); }
    void Add(int y, std::size_t first, const S* values, std::size_t count, S sign) {
        S* row = mSums.Load(y) + first;
        mSignedSum(row, row, values, S{1}, sign, count);
        mSums.Finish(y);
    }

private:
    const SignedSumRow<S> mSignedSum = std::get<SignedSumRow<S>>(GetGradientKernels().sum);
    KrTSize<int> mSize;
    SourceRows<T> mValues;
    TargetRows<S> mSums;
};

template <class T, class S>
void AddRowSums(const KrTAOI<T>* steps, int baseline, KrTAOI<S>* sums, bool back) {
    RowAdder<T, S> adder(steps, sums);
    if (baseline <= 0 || (back && baseline >= adder.Size().cx)) return;
    const std::size_t width = adder.Width(), n = std::min(static_cast<std::size_t>(baseline), width);
    const Windows windows{n, back ? width - n : width - n + 1, back};
    const auto row = std::get<WindowRow<T, S>>(GetGradientKernels().windows);
    KrTBuf1D<S> found(width + 1);
    for (int y = 0; y < adder.Size().cy; ++y) {
        row(adder.Values(y), width, found.Data(), width, 1, windows);
        adder.Add(y, back ? n : 0, found.Data(), windows.count, static_cast<S>(back ? -1 : 1));
    }
}

template <class T, class S>
void AddColumnSums(const KrTAOI<T>* steps, int baseline, KrTAOI<S>* sums, bool back) {
    RowAdder<T, S> adder(steps, sums);
    const int height = adder.Size().cy;
    if (baseline <= 0 || (back && baseline >= height)) return;
    const int n = std::min(baseline, height);
    const std::size_t width = adder.Width();
    const auto enter = std::get<EnterRow<T, S>>(GetGradientKernels().enter);
    const auto slide = std::get<SlideRow<T, S>>(GetGradientKernels().slide);
    KrTBuf1D<S> sum(width);
    KrTBuf1D<T> leaving(width);
    for (int y = 0; y < n; ++y) enter(sum.Data(), adder.Values(y), width);
    for (int k = 0; k < height - n + (back ? 0 : 1); ++k) {
        if (k > 0) {
            const T* leave = adder.Values(k - 1);
            std::copy(leave, leave + width, leaving.Data());
            slide(sum.Data(), leaving.Data(), adder.Values(k + n - 1), width);
        }
        adder.Add(back ? k + n : k, 0, sum.Data(), width, static_cast<S>(back ? -1 : 1));
    }
}

}  // namespace

template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::RowSum(const StepAOI* steps, int n, SumAOI* sums) {
    AddRowSums(steps, n, sums, false);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::RowSumBack(const StepAOI* steps, int n, SumAOI* sums) {
    AddRowSums(steps, n, sums, true);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::ColSum(const StepAOI* steps, int n, SumAOI* sums) {
    AddColumnSums(steps, n, sums, false);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::ColSumBack(const StepAOI* steps, int n, SumAOI* sums) {
    AddColumnSums(steps, n, sums, true);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::MaskBoundary(SumAOI* image, int dx, int dy, Sum fill) {
    FillBorder(image, CommonRegion(image), dx, dy, fill);
}

template class KrTGradient<std::uint8_t, KrBufferAOI32Float, KrBufferAOI8>;
template class KrTGradient<double, KrBufferAOI64Double, KrBufferAOI8>;
template class KrTGradient<float, KrBufferAOI32Float, KrBufferAOI32Float>;

void KrGradient::Execute(const KrAOI8* src, int dx, int dy, KrAOI8* dst) { Compute(src, dx, dy, dst, u8{0}); }

void KrGradientDouble::Execute(const KrAOI64Double* src, int dx, int dy, KrAOI64Double* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<double>(infiniteBorder));
}

void KrGradientFloatNonModulo::Execute(const KrAOI32Float* src, int dx, int dy, KrAOI32Float* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<float>(infiniteBorder));
}

}  // namespace KrN
