#include "imagemodel/krboard.h"

#include <algorithm>

namespace KrN {

KrBoard::~KrBoard() = default;
KrBoard::KrJob::~KrJob() = default;

void KrBoardMgr::SetCurrBoard(KrBoard* board) {
    if (board == mCurrent) return;
    SChangeInfo info{mCurrent, board};
    mCurrent = board;
    // A handler may add and remove observers, itself included; those removed meanwhile are not called any more.
    const std::list<Observer> observers = mObservers;
    for (const Observer& observer : observers) {
        const auto isSame = [&](const Observer& o) {
            return o.object == observer.object && o.handler == observer.handler;
        };
        if (std::any_of(mObservers.begin(), mObservers.end(), isSame)) observer.handler(observer.object, info);
    }
}

void KrBoardMgr::RemoveObserver(void* object) {
    mObservers.remove_if([object](const Observer& observer) { return observer.object == object; });
}

namespace {
KrBoardMgr boardMgr;
}
KrBoardMgr* const pBoardMgr = &boardMgr;

}  // namespace KrN
