// Shifts by parts of pixels.
#include "ipbase/geometry/fourier.h"
#include "ipbase/geometry/taps.h"

namespace KrN {

using namespace geometry;

namespace {

// The taps whose weights are not 0, as a row function takes them.
template <class R>
struct ShiftTaps {
    int first;  // of the source, for pixel 0 of the destination
    std::vector<R> weights;

    ShiftTaps(double shift, int size, const KrSampling& how) {
        const Taps taps = TapsAt(-ReduceShift(shift, size, how.border), how.mode);
        std::size_t begin = 0, end = taps.count;
        while (taps.weights[begin] == 0.0) ++begin;
        while (taps.weights[end - 1] == 0.0) --end;
        first = taps.first + static_cast<int>(begin);
        weights.assign(taps.weights + begin, taps.weights + end);
    }
};

// Down the columns first, into a row that continues beyond both edges, then along it.
template <class T, class S>
class Shifter {
public:
    using R = Precision<T>;

    Shifter(const Source<S>& source, double dx, double dy, const KrSampling& how, T fill, KrTSize<int> size)
        : mPlane(source.Plane()),
          mHow(how),
          mDx(dx),
          mDy(dy),
          mFill(fill),
          mSize(size),
          mX(dx, source.Width(), how),
          mY(dy, source.Height(), how),
          mOutside(static_cast<std::size_t>(source.Width()), static_cast<S>(fill)),
          mRow(static_cast<std::size_t>(size.cx) + mX.weights.size() - 1),
          mRows(mY.weights.size()) {
        for (std::size_t k = 0; k < mX.weights.size(); ++k) mTaps.push_back(mRow.data() + k);
    }

    void Run(KrTAOI<T>& dst) {
        Output<T> output(dst, mSize, mHow.excluded);
        for (int y = 0; y < mSize.cy; ++y) {
            BlendRows(y);
            KernelOf<BlendRow<R, R>>(GetGeometryKernels().blend)(output.Line(y), mTaps.data(), mX.weights.data(),
                                                                 mTaps.size(), output.Width());
            output.Finish(y, mFill, [&](int x) { return ValueAt(mPlane, x - mDx, y - mDy, mHow, mFill); });
        }
    }

private:
    void BlendRows(int y) {
        for (std::size_t k = 0; k < mRows.size(); ++k) {
            const int from = MapBorder(y + mY.first + static_cast<int>(k), mPlane.height, mHow.border);
            mRows[k] = from < 0 ? mOutside.data() : mPlane.Row(from);
        }
        const auto blend = KernelOf<BlendRow<R, S>>(GetGeometryKernels().blend);
        const int count = static_cast<int>(mRow.size());
        const int begin = std::clamp(-mX.first, 0, count), end = std::clamp(mPlane.width - mX.first, begin, count);
        std::vector<const S*>& taps = mMoved;
        taps.clear();
        for (const S* row : mRows) taps.push_back(row + mX.first + begin);
        if (begin < end)
            blend(mRow.data() + begin, taps.data(), mY.weights.data(), taps.size(),
                  static_cast<std::size_t>(end - begin));
        const auto beyond = [&](int i) {
            const int x = MapBorder(i + mX.first, mPlane.width, mHow.border);
            R& value = mRow[static_cast<std::size_t>(i)];
            value = static_cast<R>(mFill);
            if (x < 0) return;
            for (std::size_t k = 0; k < taps.size(); ++k) taps[k] = mRows[k] + x;
            blend(&value, taps.data(), mY.weights.data(), taps.size(), 1);
        };
        for (int i = 0; i < begin; ++i) beyond(i);
        for (int i = end; i < count; ++i) beyond(i);
    }

    PixelPlane<S> mPlane;
    const KrSampling& mHow;
    double mDx, mDy;
    T mFill;
    KrTSize<int> mSize;
    ShiftTaps<R> mX, mY;
    std::vector<S> mOutside;
    std::vector<R> mRow;
    std::vector<const S*> mRows, mMoved;
    std::vector<const R*> mTaps;
};

// Everything is outside.
template <class T>
void FillAll(KrTAOI<T>& dst, KrTSize<int> size, T fill, KrAOI8* excluded) {
    Output<T> output(dst, size, excluded);
    for (int y = 0; y < size.cy; ++y) output.Commit(y, fill, [](std::size_t) { return true; });
}

template <class T>
void ShiftFourier(const KrTAOI<T>& src, KrTAOI<T>& dst, KrTSize<int> size, double dx, double dy, KrAOI8* excluded) {
    cv::Mat1d image(src.AOIHeight(), src.AOIWidth());
    const Source<T> source(src, static_cast<KrTAOI<T>*>(nullptr));
    for (int y = 0; y < image.rows; ++y) std::copy_n(source.Plane().Row(y), image.cols, image[y]);
    const auto constant = [](double shift) { return [shift](int) { return shift; }; };
    ShiftRowsFourier(image, constant(dx));
    image = image.t();
    ShiftRowsFourier(image, constant(dy));
    image = image.t();
    Output<T> output(dst, size, excluded);
    for (int y = 0; y < size.cy; ++y) {
        std::copy_n(image[y], size.cx, output.Row(y));
        output.Commit(y);
    }
}

template <class T>
void ShiftPixels(const KrTAOI<T>* src, KrTAOI<T>* dst, double dx, double dy, const KrSampling& how) {
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    const T fill = FillValue<T>(how.fill);
    if (!std::isfinite(dx) || !std::isfinite(dy)) return FillAll(*dst, size, fill, how.excluded);
    if constexpr (std::is_floating_point_v<T>)
        if (how.mode == eFourier) return ShiftFourier(*src, *dst, size, dx, dy, how.excluded);
    WithSource(*src, dst, how, [&](const auto& source) {
        using S = std::decay_t<decltype(source.Plane().first[0])>;
        Shifter<T, S>(source, dx, dy, how, fill, size).Run(*dst);
    });
}

}  // namespace

void KrLGeomet::ShiftSubPixel88SW(const KrAOI8* s, KrAOI8* d, double dx, double dy, const KrSampling& how) {
    ShiftPixels<u8>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixel1616SW(const KrAOI16* s, KrAOI16* d, double dx, double dy, const KrSampling& how) {
    ShiftPixels<u16>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixelFFSW(const KrAOI32Float* s, KrAOI32Float* d, double dx, double dy, const KrSampling& how) {
    ShiftPixels<float>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixelDDSW(const KrAOI64Double* s, KrAOI64Double* d, double dx, double dy,
                                  const KrSampling& how) {
    ShiftPixels<double>(s, d, dx, dy, how);
}

}  // namespace KrN
