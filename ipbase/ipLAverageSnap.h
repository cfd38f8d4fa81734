#pragma once

#include <vector>

#include "imagemodel/krboard.h"
#include "imagemodel/krbufferaoi.h"
#include "ipbase/ipLArith.h"
#include "ipbase/ipLTrans.h"

namespace KrN {

// What the averagers of 8- and of 16-bit camera images have in common: the snap buffers of the boards, the accumulators
// and the course of an averaging. While the board fills one buffer, the one before it is added to the accumulator.
//
// Objects follow the changes of the current board for as long as they live. A change in the middle of an averaging, by
// the board or by whoever it calls, does not disturb it: it goes on with the board that it began with, and the snap
// buffers are renewed at its end. Buffers are all that objects hold; a copy makes its own ones, and so does an object
// that is assigned to. One object serves one thread; objects may be made, used and destroyed in several threads as long
// as none of them changes the current board meanwhile.
template <class Buffer, class Sums>
class VORIP_API KrTAverageSnap {
public:
    using AOI = KrTAOI<typename Buffer::Pixel>;

    KrTAverageSnap();
    virtual ~KrTAverageSnap();
    KrTAverageSnap(const KrTAverageSnap&);
    KrTAverageSnap& operator=(const KrTAverageSnap& other);

    // Provides the snap buffer of slot 1 or 2 for the current board: an image of the board's own if it supplies one of
    // the right pixel type, else a new one. The second argument has no meaning. Does nothing without a current board. A
    // derived class that replaces it sets the entry with SetSnapEntry; what it leaves out is provided when it is
    // needed.
    virtual void AllocateSnapAOI(unsigned short slot, unsigned short reserved);
    // Gives up the snap buffers of all boards. Not to be called during an averaging.
    virtual void DeleteBoardAOIs();

    // What a change of the board calls: gives up the snap buffers and provides those for the new board.
    void OnBoardChangedHandler(KrBoardMgr::SChangeInfo& info);
    static void Slot_OnBoardChangedHandler(void* object, KrBoardMgr::SChangeInfo& info);

protected:
    // The snap buffer of slot 1 or 2 for the current board; null when there is none yet. Both throw KrException for
    // another slot and without a current board.
    KrAOI* GetSnapAOI(unsigned short slot) { return EntryOf(slot).aoi; }
    // Replaces it. One that is owned is deleted with the entry, also when this throws. Images of another pixel type
    // are not used.
    void SetSnapEntry(unsigned short slot, KrAOI* aoi, bool owned);

    // The course of an averaging, as the Execute operations describe it. A null image or job throws KrException.
    void AverageImage(AOI* out, unsigned short n);
    void AverageJob(KrBoard::KrJob* job, unsigned short n);

private:
    struct Entry {
        KrAOI* aoi = nullptr;
        bool owned = false;
    };
    class Run;

    void RenewBoardAOIs();
    void TakeImage(KrBoard& board, AOI* out, unsigned short n);
    void TakeJob(KrBoard& board, KrBoard::KrJob* job, unsigned short n);
    // A view of the given size in a buffer of at least the other size, at the place of the current board.
    AOI* PrepareSnap(unsigned short slot, const KrTSize<short>& view, const KrTSize<short>& buffer);
    Entry& EntryOf(unsigned short slot);

    std::vector<Entry> mSlots[2];  // for each board
    bool mIsRunning = false;
    bool mIsOutdated = false;  // the board has changed during the run
    Buffer mSecondPair[2];     // of the images of a job
    Sums mSums[2];
    KrLArithmetic mArithmetic;
    KrLTransfer mTransfer;
};

extern template class VORIP_API KrTAverageSnap<KrBufferAOI8, KrBufferAOI16>;
extern template class VORIP_API KrTAverageSnap<KrBufferAOI16, KrBufferAOI32>;

// Averages n successive images of the current board's camera.
//
// Execute(out, n) delivers the average into an image: a plain snap for n = 1; the board's own average when it can do
// that; floor((a + b) / 2) for n = 2; else the sum, which is 16 bits wide and wraps beyond 257 images of full
// brightness, times 1/n, rounded. n = 0 takes a snap and throws KrFloatDivideByZeroException.
//
// Execute(job, n) does the same with a job of one or two images, which receive their averages (the board's own
// averaging does not apply). More of them, or images of another pixel type, throw KrNotImplementedException (file
// "C\ipLAverageSnap", line 304). Whatever is thrown, the board has finished and the job has its own images then.
//
// A missing image, job or current board, and a read-only image, throw KrException.
class VORIP_API KrLAverageSnap : public KrTAverageSnap<KrBufferAOI8, KrBufferAOI16> {
public:
    virtual void Execute(KrAOI8* out, unsigned short n);
    virtual void Execute(KrBoard::KrJob* job, unsigned short n);

protected:
    // What the Execute operations call; they get what those were given, which may be null. `owner` is the object whose
    // buffers are used.
    virtual void ExecuteJobSW(KrBoard::KrJob* job, unsigned short n, KrLAverageSnap* owner);
    virtual void ExecuteSW(KrAOI8* out, unsigned short n, KrLAverageSnap* owner);
};

// The same for 16-bit camera images. Sums are unsigned 32-bit, which holds 65535 images; the average of more than two
// is rounded to the nearest, halves up.
class VORIP_API KrLAverageSnap2 : public KrTAverageSnap<KrBufferAOI16, KrBufferAOI32> {
public:
    virtual void Execute(KrAOI16* out, unsigned short n);
    virtual void Execute(KrBoard::KrJob* job, unsigned short n);

protected:
    virtual void ExecuteJobSW(KrBoard::KrJob* job, unsigned short n, KrLAverageSnap2* owner);
    virtual void ExecuteSW(KrAOI16* out, unsigned short n, KrLAverageSnap2* owner);
};

}  // namespace KrN
