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
        while (mRing.Next() <= y) {
            const T* row = mReader.Row(mRing.Next());
            mFilter.Run(row, mRows.Row(mRing.Add()));
        }
        return mRows.Row(mRing[y]);
    }

private:
    Source& mReader;
    AlongRow<T> mFilter;
    Ring mRing;
    KrTBuf2D<T> mRows;
};

// The rows of extremes of 2, 4, 8, ... rows that a window of more than two taps is made of.
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

// The samples 0, 1, ... are those of the window of the first output row, and then the next one of each further row;
// rows beyond the image are the nearest one.
inline std::size_t SampleRow(const LineWindow& window, std::size_t sample, std::size_t rowCount) {
    return std::min(sample - std::min<std::size_t>(sample, window.left), rowCount - 1);
}

template <class T, class S, class Rows, class Writer>
void RunMeanColumns(const LineWindow& window, Extent size, Rows& rows, Writer& writer) {
    const auto& mean = std::get<kernels::MeanRows<T, S>>(kernels::GetWindowKernels().mean);
    std::vector<S> sums(size.width);
    for (std::size_t k = 0; k + 1 < window.taps; ++k)
        mean.add(sums.data(), rows.Row(SampleRow(window, k, size.height)), size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        const T* added = rows.Row(SampleRow(window, y + window.taps - 1, size.height));
        const T* removed = rows.Row(SampleRow(window, y, size.height));
        mean.slide(writer.Row(y), sums.data(), added, removed, window.rounding, size.width);
        writer.Finish(y);
    }
}

// A window of at least one tap along the columns. `rows` keeps as many rows as the window has taps.
template <class T, class Rows, class Writer>
void RunColumns(const LineWindow& all, Extent size, Rows& rows, Writer& writer) {
    const LineWindow window = CutToLine(all, size.height);
    switch (PathOf<T>(window)) {
        case WindowPath::eDoubled: {
            DoubledRows<T> doubled(window, size.width);
            for (std::size_t k = 0; k + 1 < window.taps; ++k)
                doubled.Add(rows.Row(SampleRow(window, k, size.height)), nullptr);
            for (std::size_t y = 0; y < size.height; ++y) {
                doubled.Add(rows.Row(SampleRow(window, y + window.taps - 1, size.height)), writer.Row(y));
                writer.Finish(y);
            }
            return;
        }
        case WindowPath::eNarrow:
            if constexpr (std::is_same_v<T, std::uint8_t>) RunMeanColumns<T, std::uint16_t>(window, size, rows, writer);
            return;
        case WindowPath::eInteger:
            if constexpr (std::is_same_v<T, std::uint16_t>)
                RunMeanColumns<T, std::uint32_t>(window, size, rows, writer);
            return;
        case WindowPath::eDouble:
            if constexpr (!std::is_same_v<T, float>) RunMeanColumns<T, double>(window, size, rows, writer);
            return;
        case WindowPath::eTaps: break;
    }
    std::vector<const T*> taps(window.taps);
    for (std::size_t y = 0; y < size.height; ++y) {
        for (std::size_t k = 0; k < taps.size(); ++k) taps[k] = rows.Row(SampleRow(window, y + k, size.height));
        RunWindow(window, writer.Row(y), taps.data(), size.width);
        writer.Finish(y);
    }
}

}  // namespace KrN
