#pragma once

#include <atomic>
#include <list>
#include <mutex>

#include "imagemodel/kraoi.h"

namespace KrN {

// An acquisition board with a camera: delivers snaps (camera images), one by one or as jobs of several images. Images
// that a board is given stay the caller's. What a board cannot do it refuses by throwing; a board serves one thread at
// a time, whatever it runs in the background itself.
class VORIP_API KrBoard {
public:
    // A prepared acquisition that fills all its images with each execution.
    class VORIP_API KrJob {
    public:
        virtual ~KrJob();
        // Number of images per execution.
        virtual int GetAOICount() const = 0;
        // The image at i, from 0, that the next execution fills; null when none is attached.
        virtual KrAOI* GetAOI(int i) = 0;
        // Takes the image at i out of the job and returns it; nothing is filled there until another one is attached.
        virtual KrAOI* DetachAOI(int i) = 0;
        // Puts an image, which the job does not own, where none is attached.
        virtual void AttachAOI(int i, KrAOI* aoi) = 0;
    };

    virtual ~KrBoard();
    // Number of the board among those of the system, from 0.
    virtual unsigned short GetIndex() const = 0;
    // Whether the board averages by itself, and if so, the average of n snaps.
    virtual bool CanAverage() const = 0;
    virtual void Average(KrAOI& into, unsigned short n) = 0;
    // Fills the view with the next camera image, whose top left part it shows when it is smaller.
    virtual void Snap(KrAOI& into) = 0;
    // Starts a snap or a job in the background; Wait returns when it has finished. One runs at a time, and its images
    // are left alone meanwhile.
    virtual void StartSnap(KrAOI& into) = 0;
    virtual void Wait() = 0;
    // Fills all images of the job, at once or in the background.
    virtual void Execute(KrJob& job) = 0;
    virtual void Start(KrJob& job) = 0;
    // Size of the camera's images.
    virtual KrTSize<short> GetSnapSize() const = 0;
    // A snap image of the board's own, or null when the board has none. The board keeps it.
    virtual KrAOI* CreateAOI(unsigned short slot) = 0;
};

// Knows the current board and tells observers when it changes. It does not own boards.
//
// All operations may be called from any thread, also by handlers. Handlers run in the thread that changes the board,
// one after the other and without a lock held. An object must therefore not be destroyed in one thread while another
// one changes the board: its handler may be running. Register objects and change boards in one thread, or see to it
// otherwise that the two do not meet.
class VORIP_API KrBoardMgr {
public:
    struct SChangeInfo {
        KrBoard* previous;
        KrBoard* current;
    };
    // A registered notification: `handler(object, info)`. Handlers run in the order in which they were registered; what
    // one throws goes to whoever changes the board, and the others are then not called.
    using Handler = void (*)(void* object, SChangeInfo& info);

    // Null when there is no current board.
    KrBoard* GetCurrBoard() const { return mCurrent; }
    // Calls the handlers unless the board is the current one already.
    void SetCurrBoard(KrBoard* board);
    // From now on `handler` is called with the object when the current board changes.
    void AddObserver(void* object, Handler handler);
    // Removes all handlers of the object.
    void RemoveObserver(void* object);

private:
    struct Observer {
        void* object;
        Handler handler;
    };
    std::list<Observer> Observers() const;

    std::atomic<KrBoard*> mCurrent{nullptr};
    mutable std::mutex mMutex;  // of the list
    std::list<Observer> mObservers;
};

// The process's board manager.
VORIP_API extern KrBoardMgr* const pBoardMgr;

}  // namespace KrN
