#include "ipbase/ipLAverageSnap.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/average.h"
#include "ipbase/kernels/transfer.h"

namespace KrN {

using namespace kernels;

namespace {

constexpr const wchar_t* kFile = L"C\\ipLAverageSnap";

KrBoard& CurrentBoard() {
    KrBoard* board = pBoardMgr->GetCurrBoard();
    if (!board) throw new KrException(kFile, 58, L"There is no current board to take images from");
    return *board;
}

// For what must not fail while another error is on its way.
template <class F>
void Quietly(const F& run) {
    try {
        run();
    } catch (KrException* error) {
        delete error;
    } catch (...) {
    }
}

// A snap or job that runs in the background. It is waited for before anything else happens to its buffers, even when
// adding the previous image fails.
class Acquisition {
public:
    explicit Acquisition(KrBoard& board) : mBoard(board) {}
    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;
    ~Acquisition() {
        Quietly([this] { Wait(); });
    }
    void Start(KrAOI& into) {
        mBoard.StartSnap(into);
        mRunning = true;
    }
    void Start(KrBoard::KrJob& job) {
        mBoard.Start(job);
        mRunning = true;
    }
    void Wait() {
        if (!mRunning) return;
        mRunning = false;
        mBoard.Wait();
    }

private:
    KrBoard& mBoard;
    bool mRunning = false;
};

// Lends other images to a job. Its own ones come back with Restore, or at the end when an error is on its way.
class JobImages {
public:
    JobImages(KrBoard::KrJob& job, int count) : mJob(job), mCount(count) {}
    JobImages(const JobImages&) = delete;
    JobImages& operator=(const JobImages&) = delete;
    ~JobImages() {
        while (mDetached > 0) Quietly([this] { PutBack(); });
    }
    void Restore() {
        while (mDetached > 0) PutBack();
    }
    void Attach(KrAOI* const* images) {
        for (int i = 0; i < mCount; ++i) {
            KrAOI* previous = mJob.DetachAOI(i);
            if (i == mDetached) {
                mOwn[i] = previous;
                ++mDetached;
            }
            mJob.AttachAOI(i, images[i]);
        }
    }

private:
    void PutBack() {
        const int i = --mDetached;
        mJob.DetachAOI(i);
        mJob.AttachAOI(i, mOwn[i]);
    }

    KrBoard::KrJob& mJob;
    int mCount, mDetached = 0;
    KrAOI* mOwn[2] = {};
};

// The sums of 8-bit images go through the front ends; these have no 32-bit images.
void Begin(KrLTransfer& transfer, const KrTAOI<u8>* snap, KrAOI16* sums) { transfer.Copy(snap, sums); }
void Add(KrLArithmetic& arithmetic, const KrTAOI<u8>* snap, KrAOI16* sums) { arithmetic.AddModulo(snap, sums, sums); }
void Divide(KrLArithmetic& arithmetic, const KrAOI16* sums, unsigned short n, KrTAOI<u8>* out) {
    arithmetic.DivideModulo(sums, n, out);
}

void Begin(KrLTransfer&, const KrTAOI<u16>* snap, KrAOI32* sums) {
    WalkRows(Access::eSwitched, std::get<UnaryRow<i32, u16>>(GetTransferKernels().convert), sums, snap);
}
void Add(KrLArithmetic&, const KrTAOI<u16>* snap, KrAOI32* sums) {
    const KrTAOI<i32>* old = sums;
    WalkRows(Access::eSwitched, GetAverageKernels().add, sums, snap, old);
}
void Divide(KrLArithmetic& arithmetic, const KrAOI32* sums, unsigned short n, KrTAOI<u16>* out) {
    if (n == 0) return arithmetic.DivideModulo(out, 0.0, out);  // throws
    const auto row = GetAverageKernels().divide;
    WalkRows(
        Access::eSwitched, [=](u16* d, const i32* s, std::size_t count) { row(d, s, n, count); }, out,
        static_cast<const KrTAOI<i32>*>(sums));
}

template <class Buffer>
void Fit(Buffer& buffer, const KrTSize<short>& view, const KrTSize<short>& size) {
    if (buffer.GetBufferSize() != size) buffer.Resize(size);
    buffer.SetAOIRect({0, 0, view.cx, view.cy});
}

KrTSize<short> Larger(const KrTSize<short>& a, const KrTSize<short>& b) {
    return {std::max(a.cx, b.cx), std::max(a.cy, b.cy)};
}

}  // namespace

template <class Buffer, class Sums>
KrTAverageSnap<Buffer, Sums>::KrTAverageSnap() {
    pBoardMgr->AddObserver(this, &Slot_OnBoardChangedHandler);
}

template <class Buffer, class Sums>
KrTAverageSnap<Buffer, Sums>::KrTAverageSnap(const KrTAverageSnap&) : KrTAverageSnap() {}

template <class Buffer, class Sums>
KrTAverageSnap<Buffer, Sums>& KrTAverageSnap<Buffer, Sums>::operator=(const KrTAverageSnap& other) {
    if (this != &other) DeleteBoardAOIs();
    return *this;
}

template <class Buffer, class Sums>
KrTAverageSnap<Buffer, Sums>::~KrTAverageSnap() {
    pBoardMgr->RemoveObserver(this);
    KrTAverageSnap::DeleteBoardAOIs();
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::Slot_OnBoardChangedHandler(void* object, KrBoardMgr::SChangeInfo& info) {
    static_cast<KrTAverageSnap*>(object)->OnBoardChangedHandler(info);
}

// Keeps the buffers while they are in use. What has become outdated meanwhile is renewed by End, or at the end when an
// error is on its way.
template <class Buffer, class Sums>
class KrTAverageSnap<Buffer, Sums>::Run {
public:
    explicit Run(KrTAverageSnap& object) : mObject(object), mWasRunning(std::exchange(object.mIsRunning, true)) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() {
        Quietly([this] { End(); });
    }
    void End() {
        mObject.mIsRunning = mWasRunning;
        if (!mWasRunning && std::exchange(mObject.mIsOutdated, false)) mObject.RenewBoardAOIs();
    }

private:
    KrTAverageSnap& mObject;
    bool mWasRunning;
};

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::OnBoardChangedHandler(KrBoardMgr::SChangeInfo&) {
    if (mIsRunning)
        mIsOutdated = true;
    else
        RenewBoardAOIs();
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::RenewBoardAOIs() {
    DeleteBoardAOIs();
    AllocateSnapAOI(1, 0);
    AllocateSnapAOI(2, 0);
}

template <class Buffer, class Sums>
typename KrTAverageSnap<Buffer, Sums>::Entry& KrTAverageSnap<Buffer, Sums>::EntryOf(unsigned short slot) {
    if (slot < 1 || slot > 2) throw new KrException(kFile, 74, L"The slots of snap buffers are 1 and 2");
    std::vector<Entry>& entries = mSlots[slot - 1];
    const std::size_t board = CurrentBoard().GetIndex();
    if (entries.size() <= board) entries.resize(board + 1);
    return entries[board];
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::AllocateSnapAOI(unsigned short slot, unsigned short) {
    KrBoard* board = pBoardMgr->GetCurrBoard();
    if (!board || slot < 1 || slot > 2) return;
    SetSnapEntry(slot, nullptr, false);
    auto* supplied = dynamic_cast<AOI*>(board->CreateAOI(slot));
    SetSnapEntry(slot, supplied ? supplied : new Buffer, !supplied);
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::SetSnapEntry(unsigned short slot, KrAOI* aoi, bool owned) {
    std::unique_ptr<KrAOI> taken(owned ? aoi : nullptr);
    Entry& entry = EntryOf(slot);
    if (entry.owned && entry.aoi != aoi) delete entry.aoi;
    taken.release();
    entry = {aoi, owned};
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::DeleteBoardAOIs() {
    for (std::vector<Entry>& entries : mSlots)
        for (Entry& entry : entries) {
            if (entry.owned) delete entry.aoi;
            entry = {};
        }
}

template <class Buffer, class Sums>
auto KrTAverageSnap<Buffer, Sums>::PrepareSnap(unsigned short slot, const KrTSize<short>& view,
                                               const KrTSize<short>& size) -> AOI* {
    if (!EntryOf(slot).aoi) AllocateSnapAOI(slot, 0);
    Entry& entry = EntryOf(slot);
    auto* buffer = dynamic_cast<Buffer*>(entry.aoi);
    auto* aoi = dynamic_cast<AOI*>(entry.aoi);
    if (!buffer && aoi && aoi->AOIWidth() >= view.cx && aoi->AOIHeight() >= view.cy) return aoi;
    if (!buffer) {
        buffer = new Buffer;
        SetSnapEntry(slot, buffer, true);
    }
    Fit(*buffer, view, size);
    return buffer;
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::AverageImage(AOI* out, unsigned short n) {
    if (!out) throw new KrException(kFile, 152, L"There is no image to average into");
    out->RequireWritable();
    KrBoard& board = CurrentBoard();
    Run run(*this);
    TakeImage(board, out, n);
    run.End();
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::TakeImage(KrBoard& board, AOI* out, unsigned short n) {
    if (n == 1) return board.Snap(*out);
    if (board.CanAverage()) return board.Average(*out, n);

    const KrTSize<short> size = out->AOISize();
    AOI* const snaps[2] = {PrepareSnap(1, size, size), PrepareSnap(2, size, size)};
    board.Snap(*snaps[0]);
    if (n == 2) {
        board.Snap(*snaps[1]);
        return mArithmetic.AddDiv2(snaps[0], snaps[1], out);
    }
    Sums& sums = mSums[0];
    Fit(sums, size, size);
    for (int i = 0; i < n; ++i) {
        Acquisition next(board);
        if (i + 1 < n) next.Start(*snaps[(i + 1) % 2]);
        i == 0 ? Begin(mTransfer, snaps[0], &sums) : Add(mArithmetic, snaps[i % 2], &sums);
        next.Wait();
    }
    Divide(mArithmetic, &sums, n, out);
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::AverageJob(KrBoard::KrJob* job, unsigned short n) {
    if (!job) throw new KrException(kFile, 290, L"There is no job to average");
    KrBoard& board = CurrentBoard();
    Run run(*this);
    TakeJob(board, job, n);
    run.End();
}

template <class Buffer, class Sums>
void KrTAverageSnap<Buffer, Sums>::TakeJob(KrBoard& board, KrBoard::KrJob* job, unsigned short n) {
    const int count = job->GetAOICount();
    for (int i = 0; i < count; ++i)
        if (const KrAOI* aoi = job->GetAOI(i)) aoi->RequireWritable();
    if (n == 1) return board.Execute(*job);
    AOI* own[2] = {};
    const auto reject = [] { throw new KrNotImplementedException(kFile, 304, L"KrLAverageSnap::Execute( pJob )"); };
    if (count > 2) reject();
    for (int i = 0; i < count; ++i) {
        own[i] = dynamic_cast<AOI*>(job->GetAOI(i));
        if (!own[i]) reject();
    }

    KrAOI* pairs[2][2] = {};
    AOI* snaps[2][2] = {};
    for (int i = 0; i < count; ++i) {
        const KrTSize<short> view = own[i]->AOISize(), size = Larger(view, board.GetSnapSize());
        Fit(mSecondPair[i], view, size);
        pairs[0][i] = snaps[0][i] = PrepareSnap(static_cast<unsigned short>(i + 1), view, size);
        pairs[1][i] = snaps[1][i] = &mSecondPair[i];
        Fit(mSums[i], view, view);
    }
    board.Execute(*job);
    for (int i = 0; i < count; ++i) mTransfer.Copy(own[i], snaps[0][i]);
    if (n == 2) {
        board.Execute(*job);
        for (int i = 0; i < count; ++i) mArithmetic.AddDiv2(snaps[0][i], own[i], own[i]);
        return;
    }
    {
        JobImages images(*job, count);
        for (int turn = 0; turn < n; ++turn) {
            Acquisition next(board);
            if (turn + 1 < n) {
                images.Attach(pairs[(turn + 1) % 2]);
                next.Start(*job);
            }
            for (int i = 0; i < count; ++i)
                turn == 0 ? Begin(mTransfer, snaps[0][i], &mSums[i]) : Add(mArithmetic, snaps[turn % 2][i], &mSums[i]);
            next.Wait();
        }
        images.Restore();
    }
    for (int i = 0; i < count; ++i) Divide(mArithmetic, &mSums[i], n, own[i]);
}

template class KrTAverageSnap<KrBufferAOI8, KrBufferAOI16>;
template class KrTAverageSnap<KrBufferAOI16, KrBufferAOI32>;

void KrLAverageSnap::Execute(KrAOI8* out, unsigned short n) { ExecuteSW(out, n, this); }
void KrLAverageSnap::Execute(KrBoard::KrJob* job, unsigned short n) { ExecuteJobSW(job, n, this); }
void KrLAverageSnap::ExecuteSW(KrAOI8* out, unsigned short n, KrLAverageSnap* owner) { owner->AverageImage(out, n); }
void KrLAverageSnap::ExecuteJobSW(KrBoard::KrJob* job, unsigned short n, KrLAverageSnap* owner) {
    owner->AverageJob(job, n);
}

void KrLAverageSnap2::Execute(KrAOI16* out, unsigned short n) { ExecuteSW(out, n, this); }
void KrLAverageSnap2::Execute(KrBoard::KrJob* job, unsigned short n) { ExecuteJobSW(job, n, this); }
void KrLAverageSnap2::ExecuteSW(KrAOI16* out, unsigned short n, KrLAverageSnap2* owner) { owner->AverageImage(out, n); }
void KrLAverageSnap2::ExecuteJobSW(KrBoard::KrJob* job, unsigned short n, KrLAverageSnap2* owner) {
    owner->AverageJob(job, n);
}

}  // namespace KrN
