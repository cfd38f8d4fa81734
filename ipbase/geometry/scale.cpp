// Changes of size.
#include "ipbase/geometry/taps.h"

namespace KrN {

using namespace geometry;

namespace {

template <class T, class S>
void Pick(const Source<S>& source, KrTAOI<T>& dst, const KrSampling& how) {
    const std::vector<i32> columns = NearestIndices(source.Width(), dst.AOIWidth());
    const std::vector<i32> rows = NearestIndices(source.Height(), dst.AOIHeight());
    const auto pick = KernelOf<PickRow<S>>(GetGeometryKernels().pick);
    Output<T> output(dst, SizeOf(dst), how.excluded);
    std::vector<S> line(columns.size());
    for (int y = 0; y < dst.AOIHeight(); ++y) {
        pick(line.data(), source.Plane().Row(rows[static_cast<std::size_t>(y)]), columns.data(), columns.size());
        const auto isHole = [&](std::size_t x) { return !std::isfinite(static_cast<double>(line[x])); };
        T* out = output.Row(y);
        for (std::size_t x = 0; x < line.size(); ++x) out[x] = isHole(x) ? T{0} : static_cast<T>(line[x]);
        output.Commit(y, T{0}, isHole);
    }
}

// Down the columns first, along the whole row, then along the row.
template <class T, class S>
class Scaler {
public:
    using R = Precision<T>;

    Scaler(const Source<S>& source, KrTAOI<T>& dst, const KrSampling& how)
        : mPlane(source.Plane()),
          mHow(how),
          mX(ScaleTaps(source.Width(), dst.AOIWidth(), how.mode)),
          mY(ScaleTaps(source.Height(), dst.AOIHeight(), how.mode)),
          mWeights(mX.weights.begin(), mX.weights.end()),
          mFirst(mX.first) {
        // Columns beyond both edges are kept beside the row.
        const i32 last = *std::max_element(mFirst.begin(), mFirst.end()) + static_cast<i32>(mX.count);
        mLeft = std::max(0, -*std::min_element(mFirst.begin(), mFirst.end()));
        for (i32& first : mFirst) first += mLeft;
        mRow.resize(static_cast<std::size_t>(std::max(last, mPlane.width) + mLeft));
        mStep = UniformStep();
        for (std::size_t k = 0; k < mX.count; ++k) mTapWeights.push_back(mWeights[k * mFirst.size()]);
    }

    void Run(KrTAOI<T>& dst) {
        Output<T> output(dst, SizeOf(dst), mHow.excluded);
        for (int y = 0; y < dst.AOIHeight(); ++y) {
            BlendRows(y);
            TakeColumns(output.Line(y));
            if constexpr (std::is_integral_v<S>)
                output.Finish(y);
            else
                output.Finish(y, T{0}, [&](int x) { return Repair(x, y); });
        }
    }

private:
    // The distance between the taps of neighbouring pixels, where all have the same one and the same weights, as at
    // whole factors; else 0.
    std::size_t UniformStep() const {
        const std::size_t width = mFirst.size();
        if (width < 2 || mFirst[1] <= mFirst[0]) return 0;
        const i32 step = mFirst[1] - mFirst[0];
        for (std::size_t i = 1; i < width; ++i)
            if (mFirst[i] - mFirst[i - 1] != step) return 0;
        for (std::size_t i = 0; i < mWeights.size(); ++i)
            if (mWeights[i] != mWeights[i - i % width]) return 0;
        return static_cast<std::size_t>(step);
    }

    void TakeColumns(R* line) {
        const auto& kernels = GetGeometryKernels();
        const std::size_t width = mFirst.size();
        if (mStep == 0)
            return KernelOf<GatherRow<R>>(kernels.gather)(line, mRow.data(), mFirst.data(), mWeights.data(), mX.count,
                                                          width);
        KernelOf<StrideRow<R>>(kernels.stride)(line, mRow.data() + mFirst[0], mStep, mTapWeights.data(), mX.count,
                                               width);
    }

    void BlendRows(int y) {
        const AxisView taps = View(mY, y);
        mRows.clear();
        mRowWeights.clear();
        for (std::size_t k = 0; k < taps.count; ++k) {
            if (taps.Weight(k) == 0.0) continue;
            mRows.push_back(mPlane.Row(std::clamp(taps.first + static_cast<int>(k), 0, mPlane.height - 1)));
            mRowWeights.push_back(static_cast<R>(taps.Weight(k)));
        }
        R* inside = mRow.data() + mLeft;
        KernelOf<BlendRow<R, S>>(GetGeometryKernels().blend)(inside, mRows.data(), mRowWeights.data(), mRows.size(),
                                                             static_cast<std::size_t>(mPlane.width));
        std::fill(mRow.begin(), mRow.begin() + mLeft, inside[0]);
        std::fill(mRow.begin() + mLeft + mPlane.width, mRow.end(), inside[mPlane.width - 1]);
    }

    double Repair(int x, int y) {
        bool whole = false;
        const double value = MeanOfFinite(mPlane, eBorderReplicate, 0.0, View(mX, x), View(mY, y), whole);
        if (whole || mHow.mode != eCubic) return value;
        if (mLinearX.count == 0) {
            mLinearX = ScaleTaps(mPlane.width, static_cast<int>(mX.first.size()), eLinear);
            mLinearY = ScaleTaps(mPlane.height, static_cast<int>(mY.first.size()), eLinear);
        }
        return MeanOfFinite(mPlane, eBorderReplicate, 0.0, View(mLinearX, x), View(mLinearY, y), whole);
    }

    PixelPlane<S> mPlane;
    const KrSampling& mHow;
    AxisTaps mX, mY, mLinearX, mLinearY;
    std::vector<R> mWeights, mTapWeights, mRow, mRowWeights;
    std::vector<i32> mFirst;
    std::vector<const S*> mRows;
    int mLeft = 0;
    std::size_t mStep = 0;
};

template <class T>
void ScalePixels(const KrTAOI<T>* src, KrTAOI<T>* dst, const KrSampling& how) {
    if (IsEmpty(src) || IsEmpty(dst)) return;
    if (SharePixels(src, dst)) throw new KrNotImplementedException(L"C\\ipLGeomet", 121, L"Scale( pSrc == pDest )");
    WithSource(*src, dst, how, [&](const auto& source) {
        using S = std::decay_t<decltype(source.Plane().first[0])>;
        if (how.mode == eNearest)
            Pick<T, S>(source, *dst, how);
        else
            Scaler<T, S>(source, *dst, how).Run(*dst);
    });
}

}  // namespace

void KrLGeomet::Scale88SW(const KrAOI8* s, KrAOI8* d, const KrSampling& how) { ScalePixels<u8>(s, d, how); }
void KrLGeomet::Scale1616SW(const KrAOI16* s, KrAOI16* d, const KrSampling& how) { ScalePixels<u16>(s, d, how); }
void KrLGeomet::Scale3232SW(const KrAOI32* s, KrAOI32* d, const KrSampling& how) { ScalePixels<i32>(s, d, how); }
void KrLGeomet::ScaleFFSW(const KrAOI32Float* s, KrAOI32Float* d, const KrSampling& how) {
    ScalePixels<float>(s, d, how);
}
void KrLGeomet::ScaleDDSW(const KrAOI64Double* s, KrAOI64Double* d, const KrSampling& how) {
    ScalePixels<double>(s, d, how);
}

}  // namespace KrN
