#pragma once

#include "ipbase/base/rowaccess.h"
#include "ipbase/filters/line.h"

// Filters of images row by row: a stage hands its rows to the next one, so that they stay in the cache.
namespace KrN {

// The rows of a source, filtered; as many are kept as a window along the columns needs.
template <class T, class Source = RowReader<T>>
class FilteredRows {
public:
    FilteredRows(Source& reader, const LineWindow& window, Extent size, std::size_t kept)
        : mReader(reader),
          mFilter(window, size.width),
          mRing(std::min(kept, size.height)),
          mRows(size.width, mRing.Size()) {}
    const T* Row(std::size_t y) {
        return mRows.Row(mRing.Reach(
            y, [this](std::size_t row, std::size_t place) { mFilter.Run(mReader.Row(row), mRows.Row(place)); }));
    }

private:
    Source& mReader;
    AlongRow<T> mFilter;
    Ring mRing;
    KrTBuf2D<T> mRows;
};

// The rows of extremes of 2, 4, 8, ... rows that a window of more than two taps is made of. Each level keeps as many of
// its rows as the next one looks back.
template <class T>
class DoubledRows {
public:
    DoubledRows(const LineWindow& window, std::size_t width);
    // Takes the rows of the window samples of the first output row, then the next sample of each further one, which
    // stay in place until the next call. From the time when a whole window has been seen, gives the result.
    void Add(const T* row, T* out);

private:
    struct Level {
        std::size_t reach;  // rows that one of its rows covers
        Ring ring;
        KrTBuf2D<T> rows;
        const T* Row(std::size_t r) const { return rows.Row(ring[r]); }
    };
    kernels::TapRow<T> mExtreme;
    std::size_t mTaps, mWidth, mSeen = 0;
    const T* mPrevious = nullptr;
    std::vector<Level> mLevels;
};

// A filter down the columns, whole rows at a time. The samples 0, 1, ... are those of the window of the first output
// row, and then the next one of each further row; rows beyond the image are the nearest one.
template <class T, class Rows, class Writer>
class ColumnFilter {
public:
    // A window of at least one tap; `rows` keeps as many rows as it has taps.
    ColumnFilter(const LineWindow& window, Extent size, Rows& rows, Writer& writer)
        : mWindow(CutToLine(window, size.height)), mSize(size), mRows(rows), mWriter(writer) {}
    void Run() {
        InBestWay<T>(mWindow, [this](auto way) { this->Filter(way); });
    }

private:
    void Filter(TapByTap) {
        std::vector<const T*> taps(mWindow.taps);
        for (std::size_t k = 0; k + 1 < taps.size(); ++k) taps[k + 1] = Sample(k);
        Deliver([&](std::size_t y, T* out) {
            std::move(taps.begin() + 1, taps.end(), taps.begin());
            taps.back() = Sample(y + taps.size() - 1);
            RunWindow(mWindow, out, taps.data(), mSize.width);
        });
    }
    void Filter(Doubling) {
        DoubledRows<T> doubled(mWindow, mSize.width);
        for (std::size_t k = 0; k + 1 < mWindow.taps; ++k) doubled.Add(Sample(k), nullptr);
        Deliver([&](std::size_t y, T* out) { doubled.Add(Sample(y + mWindow.taps - 1), out); });
    }
    template <class S>
    void Filter(RunningSum<S>) {
        const auto& mean = std::get<kernels::MeanRows<T, S>>(kernels::GetWindowKernels().mean);
        std::vector<S> sums(mSize.width);
        for (std::size_t k = 0; k + 1 < mWindow.taps; ++k) mean.add(sums.data(), Sample(k), mSize.width);
        Deliver([&](std::size_t y, T* out) {
            const T* added = Sample(y + mWindow.taps - 1);
            mean.slide(out, sums.data(), added, Sample(y), mWindow.rounding, mSize.width);
        });
    }

    const T* Sample(std::size_t sample) {
        return mRows.Row(std::min(sample - std::min<std::size_t>(sample, mWindow.left), mSize.height - 1));
    }
    template <class F>
    void Deliver(const F& row) {
        for (std::size_t y = 0; y < mSize.height; ++y) {
            row(y, mWriter.Row(y));
            mWriter.Finish(y);
        }
    }

    LineWindow mWindow;
    Extent mSize;
    Rows& mRows;
    Writer& mWriter;
};

template <class T, class Rows, class Writer>
void FilterDown(const LineWindow& window, Extent size, Rows& rows, Writer& writer) {
    ColumnFilter<T, Rows, Writer>(window, size, rows, writer).Run();
}

// Rows to keep for a window down the columns. A single row of a source that is its own destination would be handed out
// where it stands, and the row functions of windows do not write into the rows that they read.
inline std::size_t RowsToKeep(std::uint32_t taps) { return std::max(taps, 2u); }

}  // namespace KrN
