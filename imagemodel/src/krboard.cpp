#include "imagemodel/krboard.h"

#include <algorithm>

namespace KrN {

KrBoard::~KrBoard() = default;
KrBoard::KrJob::~KrJob() = default;

void KrBoardMgr::SetCurrBoard(KrBoard* board) {
    SChangeInfo info{mCurrent.exchange(board), board};
    if (info.previous == board) return;
    // A handler may add and remove observers, itself included; those removed meanwhile are not called any more.
    for (const Observer& observer : Observers()) {
        const std::list<Observer> registered = Observers();
        const auto isSame = [&](const Observer& o) {
            return o.object == observer.object && o.handler == observer.handler;
        };
        if (std::any_of(registered.begin(), registered.end(), isSame)) observer.handler(observer.object, info);
    }
}

std::list<KrBoardMgr::Observer> KrBoardMgr::Observers() const {
    const std::lock_guard lock(mMutex);
    return mObservers;
}

void KrBoardMgr::AddObserver(void* object, Handler handler) {
    const std::lock_guard lock(mMutex);
    mObservers.push_back({object, handler});
}

void KrBoardMgr::RemoveObserver(void* object) {
    const std::lock_guard lock(mMutex);
    mObservers.remove_if([object](const Observer& observer) { return observer.object == object; });
}

namespace {
KrBoardMgr boardMgr;
}
KrBoardMgr* const pBoardMgr = &boardMgr;

}  // namespace KrN
