#include "ipbase/ipLShift.h"

#include <cstring>

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/kernels/transfer.h"
#include "ipbase/transfer/operations.h"

namespace KrN {

using namespace kernels;

KrLShift::KrLShift() = default;
KrLShift::KrLShift(const KrLShift&) = default;
KrLShift& KrLShift::operator=(const KrLShift&) = default;
KrLShift::~KrLShift() = default;

namespace {

// The row [first, last) of the destination that a row of `sourceWidth` pixels shifted by dx reaches.
struct Reach {
    int first, last;
    Reach(int width, int sourceWidth, int dx)
        : first(std::clamp(dx, 0, width)), last(std::clamp(sourceWidth + dx, first, width)) {}
};

template <class T>
class RowShifter {
public:
    RowShifter(const KrTAOI<T>* src, KrTAOI<T>* dst, int dx, int dy, double fill)
        : mSrc(src),
          mDst(dst),
          mSize(CommonRegion(src, dst)),
          mReach(mSize.cx, src ? src->AOIWidth() : 0, dx),
          mDx(dx),
          mDy(dy),
          mFill(FillValue<T>(fill)),
          mFillRow(std::get<FillRow<T>>(GetTransferKernels().fill)),
          mFrom(src, RouteOf(Access::eSwitched, src, dst), src ? src->AOIWidth() : 0),
          mTo(dst, RouteOf(Access::eSwitched, src, dst), mSize.cx) {}

    // Rows are taken in the order in which no row is overwritten before it is read.
    void Run() {
        if (mSize.cx == 0) return;
        mDst->RequireWritable();
        const bool upwards = ReadsFromAbove();
        for (int i = 0; i < mSize.cy; ++i) ShiftRow(upwards ? mSize.cy - 1 - i : i);
    }

private:
    bool ReadsFromAbove() const {
        if (!HaveRowPointers(mSrc, mDst)) return mDy > 0;
        const auto from = reinterpret_cast<std::uintptr_t>(mSrc->GetRowPointer(-mDy));
        return reinterpret_cast<std::uintptr_t>(mDst->GetRowPointer(0)) > from;
    }

    void ShiftRow(int y) {
        const int from = y - mDy;
        const bool exists = from >= 0 && from < mSrc->AOIHeight();
        const int first = exists ? mReach.first : mSize.cx;
        const int last = exists ? mReach.last : mSize.cx;
        T* out = mTo.Row(y);
        if (first < last)
            std::memmove(out + first, mFrom.Row(from) + first - mDx,
                         static_cast<std::size_t>(last - first) * sizeof(T));
        mFillRow(out, mFill, static_cast<std::size_t>(first));
        mFillRow(out + last, mFill, static_cast<std::size_t>(mSize.cx - last));
        mTo.Finish(y);
    }

    const KrTAOI<T>* mSrc;
    KrTAOI<T>* mDst;
    KrTSize<int> mSize;
    Reach mReach;
    int mDx, mDy;
    T mFill;
    FillRow<T> mFillRow;
    SourceRows<T> mFrom;
    TargetRows<T> mTo;
};

template <class T>
void ShiftRows(const KrTAOI<T>* src, KrTAOI<T>* dst, int dx, int dy, double fill) {
    RowShifter<T>(src, dst, dx, dy, fill).Run();
}

// Whether the buffer is viewed whole, and its rows lie behind one another without gaps.
template <class Buffer>
bool IsBlock(const Buffer& buffer) {
    const auto width = static_cast<std::uint32_t>(buffer.AOIWidth());
    return buffer.AOISize() == buffer.GetBufferSize() && HaveRowPointers(&buffer) &&
           buffer.GetRowIncInBytes() == width * sizeof(typename Buffer::Pixel);
}

// One block move of the whole buffer. Pixels that leave a row on one side enter the neighbouring row on the other, and
// are then overwritten with the fill value, as are the rows that received nothing.
template <class Buffer>
void ShiftMemory(const Buffer* src, Buffer* dst, int dx, int dy, double fill) {
    using T = typename Buffer::Pixel;
    const int width = dst->AOIWidth();
    const int height = dst->AOIHeight();
    if (width == 0 || height == 0) return;
    dst->RequireWritable();
    if (src->AOISize() != dst->AOISize() || !IsBlock(*src) || !IsBlock(*dst))
        return ShiftRows<T>(src, dst, dx, dy, fill);
    const T value = FillValue<T>(fill);
    if (std::abs(dx) >= width || std::abs(dy) >= height) return KrLTransfer().Clear(dst, value);

    const std::ptrdiff_t offset = std::ptrdiff_t{dy} * width + dx;
    const auto kept = static_cast<std::size_t>(std::ptrdiff_t{width} * height - std::abs(offset));
    T* out = dst->GetRowPointer(0);
    const T* in = src->GetRowPointer(0);
    std::memmove(out + std::max<std::ptrdiff_t>(offset, 0), in - std::min<std::ptrdiff_t>(offset, 0), kept * sizeof(T));

    const auto fillRow = std::get<FillRow<T>>(GetTransferKernels().fill);
    const auto fillCount = static_cast<std::size_t>(std::abs(dy)) * static_cast<std::size_t>(width);
    fillRow(dy > 0 ? out : dst->GetRowPointer(height) - fillCount, value, fillCount);
    for (int y = 0; y < height; ++y)
        fillRow(dst->GetRowPointer(y) + (dx > 0 ? 0 : width + dx), value, static_cast<std::size_t>(std::abs(dx)));
}

}  // namespace

template <>
struct OperationsOf<KrLShift> {
    using T = KrLShift;

    // Owning buffers can be moved as one block, views row by row.
    template <class Buffer, class AOI, auto rowKernel, auto memoryKernel>
    static void Integer(T& self, const AOI* src, AOI* dst, short dx, short dy, double fill) {
        const auto* from = dynamic_cast<const Buffer*>(src);
        auto* to = dynamic_cast<Buffer*>(dst);
        if (from && to && AllowsDirect(Access::eSwitched))
            (self.*memoryKernel)(from, to, dx, dy, fill);
        else
            (self.*rowKernel)(src, dst, dx, dy, fill);
    }

    static constexpr std::tuple all{Operation<void(T&, const KrAOI*, KrAOI*, short, short, double)>::Of<
        &Integer<KrBufferAOI8, KrAOI8, &T::Shift88, &T::Shift88Mem>,
        &Integer<KrBufferAOI16, KrAOI16, &T::Shift1616, &T::Shift1616Mem>, &T::ShiftFFSW, &T::ShiftDDSW>(
        L"C\\ipLShift", 104, L"Shift( %s, %s )")};
};

namespace {

const auto& [kShift] = OperationsOf<KrLShift>::all;

}  // namespace

void KrLShift::Shift(const KrAOI* src, KrAOI* dst, short dx, short dy, double fill) {
    kShift(*this, src, dst, dx, dy, fill);
}

void KrLShift::Shift88(const KrAOI8* src, KrAOI8* dst, short dx, short dy, double fill) {
    ShiftRows<u8>(src, dst, dx, dy, fill);
}
void KrLShift::Shift88Mem(const KrBufferAOI8* src, KrBufferAOI8* dst, short dx, short dy, double fill) {
    ShiftMemory(src, dst, dx, dy, fill);
}
void KrLShift::Shift1616(const KrAOI16* src, KrAOI16* dst, short dx, short dy, double fill) {
    ShiftRows<u16>(src, dst, dx, dy, fill);
}
void KrLShift::Shift1616Mem(const KrBufferAOI16* src, KrBufferAOI16* dst, short dx, short dy, double fill) {
    ShiftMemory(src, dst, dx, dy, fill);
}
void KrLShift::ShiftFFSW(const KrAOI32Float* src, KrAOI32Float* dst, short dx, short dy, double fill) {
    ShiftRows<float>(src, dst, dx, dy, fill);
}
void KrLShift::ShiftDDSW(const KrAOI64Double* src, KrAOI64Double* dst, short dx, short dy, double fill) {
    ShiftRows<double>(src, dst, dx, dy, fill);
}

std::vector<OperationInfo> ShiftOperations() { return ListOperations(OperationsOf<KrLShift>::all); }

}  // namespace KrN
