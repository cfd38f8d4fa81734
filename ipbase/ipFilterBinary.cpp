#include "imagemodel/krexception.h"
#include "ipbase/ipFilterBlock.h"
#include "ipbase/ipFilterColumns.h"

// Edges of a foreground. The windows in which an edge fills samples are one maximum over bytes that mark the edges.
namespace KrN {

namespace {

using Byte = std::uint8_t;

// The mark of an edge stands where the samples begin that it fills, which may be up to `reach - 1` samples before the
// line. Sample i is filled when one of the marks from i - (reach - 1) to i is set.
LineWindow FillWindow(std::uint32_t reach) { return {WindowKind::eMaximum, reach, 0, KrTBuf1D<std::int32_t>(), 1.0}; }

// Filled along the rows.
template <class T>
class FilledRows {
public:
    FilledRows(const EdgeFill<T>& fill, std::uint32_t reach, Extent size, RowReader<T>& reader, std::size_t kept,
               bool grounds)
        : mFill(fill),
          mReach(static_cast<std::uint32_t>(std::min<std::size_t>(reach, size.width))),
          mSize(size),
          mReader(reader),
          mRows(size.width, std::min(kept, size.height)),
          mGrounds(size.width, grounds ? mRows.Height() : 0),
          mPadded(size.width + 2),
          mGround(size.width + 2 * mReach),
          mMarks(size.width),
          mWindow(FillWindow(std::max(mReach, 1u)), size.width) {}
    const T* Row(std::size_t y) { return mRows.Row(Fetched(y)); }
    // 255 where the row belongs to the side of the edges that is filled.
    const Byte* Ground(std::size_t y) { return mGrounds.Row(Fetched(y)); }

private:
    std::size_t Fetched(std::size_t y) {
        for (; mNext <= y; ++mNext) Fetch(mNext % mRows.Height());
        return y % mRows.Height();
    }
    void Fetch(std::size_t at) {
        const auto& edges = std::get<rows::EdgeRows<T>>(rows::GetWindowRows().edges);
        const std::size_t width = mSize.width;
        const T* row = mReader.Row(mNext);
        if (mReach == 0) {
            std::copy_n(row, width, mRows.Row(at));
        } else if (mReach == 1) {
            PadLine(row, width, 1, 1, mPadded.data());
            edges.border(mRows.Row(at), mPadded.data() + 1, mPadded.data(), mPadded.data() + 2, mFill.foreground,
                         mFill.outwards, mFill.value, width);
        } else {
            Byte* ground = mGround.data();
            edges.ground(ground + mReach, row, mFill.foreground, mFill.outwards, width);
            std::fill_n(ground, mReach, ground[mReach]);
            std::fill_n(ground + mReach + width, mReach, ground[mReach + width - 1]);
            rows::GetWindowRows().mark(mWindow.Padded(), ground + 1, ground, ground + mReach, ground + mReach + 1,
                                       width + mReach - 1);
            mWindow.RunPadded(mMarks.data());
            edges.fill(mRows.Row(at), row, mMarks.data(), mFill.value, width);
        }
        if (mGrounds.Height() > 0)
            edges.ground(mGrounds.Row(at), mRows.Row(at), mFill.foreground, mFill.outwards, width);
    }

    EdgeFill<T> mFill;
    std::uint32_t mReach;
    Extent mSize;
    RowReader<T>& mReader;
    std::size_t mNext = 0;
    KrTBuf2D<T> mRows;
    KrTBuf2D<Byte> mGrounds;
    std::vector<T> mPadded;
    std::vector<Byte> mGround, mMarks;
    AlongRow<Byte> mWindow;
};

// The marks of the edges along the columns, from `reach - 1` rows above the image on.
template <class T>
class MarkedRows {
public:
    MarkedRows(FilledRows<T>& filled, std::uint32_t reach, Extent size)
        : mFilled(filled), mReach(reach), mSize(size), mRows(size.width, std::max<std::size_t>(reach, 2)) {}
    const Byte* Row(std::size_t mark) {
        for (; mNext <= mark; ++mNext) Fetch(mRows.Row(mNext % mRows.Height()));
        return mRows.Row(mark % mRows.Height());
    }

private:
    void Fetch(Byte* marks) {
        // The first row of what the mark fills, and the last one.
        const std::size_t last = mNext, first = last - std::min<std::size_t>(last, mReach - 1);
        const std::size_t above = last - std::min<std::size_t>(last, mReach), end = mSize.height - 1;
        rows::GetWindowRows().mark(marks, mFilled.Ground(first), mFilled.Ground(above),
                                   mFilled.Ground(std::min(last, end)), mFilled.Ground(std::min(last + 1, end)),
                                   mSize.width);
    }

    FilledRows<T>& mFilled;
    std::uint32_t mReach;
    Extent mSize;
    std::size_t mNext = 0;
    KrTBuf2D<Byte> mRows;
};

// Takes the rows of filled marks and writes pixels.
template <class T>
class FillWriter {
public:
    FillWriter(const EdgeFill<T>& fill, FilledRows<T>& filled, RowWriter<T>& writer, std::size_t width)
        : mFill(fill), mFilled(filled), mWriter(writer), mMarks(width) {}
    Byte* Row(std::size_t) { return mMarks.data(); }
    void Finish(std::size_t y) {
        const auto& edges = std::get<rows::EdgeRows<T>>(rows::GetWindowRows().edges);
        edges.fill(mWriter.Row(y), mFilled.Row(y), mMarks.data(), mFill.value, mMarks.size());
        mWriter.Finish(y);
    }

private:
    EdgeFill<T> mFill;
    FilledRows<T>& mFilled;
    RowWriter<T>& mWriter;
    std::vector<Byte> mMarks;
};

}  // namespace

template <class T>
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Extent size, RowReader<T>& reader,
               RowWriter<T>& writer) {
    if (size.width == 0 || size.height == 0) return;
    const auto reach = static_cast<std::uint32_t>(std::min<std::size_t>(reachY, size.height));
    FilledRows<T> filled(fill, reachX, size, reader, std::size_t{reach} + 2, reach > 1);
    if (reach < 2) {
        const auto border = std::get<rows::EdgeRows<T>>(rows::GetWindowRows().edges).border;
        for (std::size_t y = 0; y < size.height; ++y) {
            const T* after = filled.Row(std::min(y + reach, size.height - 1));
            const T *row = filled.Row(y), *before = filled.Row(y - (y > 0));
            if (reach == 0)
                std::copy_n(row, size.width, writer.Row(y));
            else
                border(writer.Row(y), row, before, after, fill.foreground, fill.outwards, fill.value, size.width);
            writer.Finish(y);
        }
        return;
    }
    MarkedRows<T> marked(filled, reach, size);
    FillWriter<T> out(fill, filled, writer, size.width);
    RunColumns<Byte>(FillWindow(reach), size, marked, out, size.height + reach - 1);
}

namespace {

void RefuseMask(bool useMask, std::uint32_t line, const wchar_t* message) {
    if (useMask) throw new KrNotImplementedException(L"Core\\vorTools\\Inc\\syfilt2d", line, message);
}

}  // namespace

void BinaryErosion::CheckMask(bool useMask) { RefuseMask(useMask, 1028, L"KrTFilterFastBinary2DErosion with Mask"); }
void BinaryDilatation::CheckMask(bool useMask) {
    RefuseMask(useMask, 1218, L"KrTFilterFastBinary2DDilatation with Mask");
}

#define VORIP_INSTANTIATE(T) \
  template void FillEdges<T>(const EdgeFill<T>&, std::uint32_t, std::uint32_t, Extent, RowReader<T>&, RowWriter<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
