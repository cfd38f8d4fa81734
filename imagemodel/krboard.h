#pragma once

#include <list>

#include "imagemodel/kraoi.h"

namespace KrN {

// An acquisition board with a camera: delivers snaps (camera images), one by one or as jobs of several images.
class VORIP_API KrBoard {
public:
    // A prepared acquisition that fills all its images with each execution.
    class VORIP_API KrJob {
    public:
        virtual ~KrJob();
        virtual int GetAOICount() const = 0;
        virtual KrAOI* GetAOI(int i) = 0;
        // Takes the image at i out of the job and returns it; nothing is filled there until another one is attached.
        virtual KrAOI* DetachAOI(int i) = 0;
        virtual void AttachAOI(int i, KrAOI* aoi) = 0;
    };

    virtual ~KrBoard();
    // Number of the board among those of the system, from 0.
    virtual unsigned short GetIndex() const = 0;
    // Whether the board averages by itself, and if so, the average of n snaps.
    virtual bool CanAverage() const = 0;
    virtual void Average(KrAOI& into, unsigned short n) = 0;
    virtual void Snap(KrAOI& into) = 0;
    // Starts a snap or a job in the background; Wait returns when it has finished.
    virtual void StartSnap(KrAOI& into) = 0;
    virtual void Wait() = 0;
    virtual void Execute(KrJob& job) = 0;
    virtual void Start(KrJob& job) = 0;
    virtual KrTSize<short> GetSnapSize() const = 0;
    // A snap image of the board's own, or null when the board has none. The board keeps it.
    virtual KrAOI* CreateAOI(unsigned short slot) = 0;
};

// Knows the current board and tells observers when it changes.
class VORIP_API KrBoardMgr {
public:
    struct SChangeInfo {
        KrBoard* previous;
        KrBoard* current;
    };
    // A registered notification: `handler(object, info)`. Handlers run in the order in which they were registered.
    using Handler = void (*)(void* object, SChangeInfo& info);

    KrBoard* GetCurrBoard() const { return mCurrent; }
    void SetCurrBoard(KrBoard* board);
    void AddObserver(void* object, Handler handler) { mObservers.push_back({object, handler}); }
    void RemoveObserver(void* object);

private:
    struct Observer {
        void* object;
        Handler handler;
    };
    KrBoard* mCurrent = nullptr;
    std::list<Observer> mObservers;
};

VORIP_API extern KrBoardMgr* const pBoardMgr;

}  // namespace KrN
