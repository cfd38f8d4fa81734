#include "imagemodel/krboard.h"

namespace KrN {

KrBoard::~KrBoard() = default;
KrBoard::KrJob::~KrJob() = default;

void KrBoardMgr::SetCurrBoard(KrBoard* board) {
    if (board == mCurrent) return;
    SChangeInfo info{mCurrent, board};
    mCurrent = board;
    for (const Observer& observer : mObservers) observer.handler(observer.object, info);
}

void KrBoardMgr::RemoveObserver(void* object) {
    mObservers.remove_if([object](const Observer& observer) { return observer.object == object; });
}

namespace {
KrBoardMgr boardMgr;
}
KrBoardMgr* const pBoardMgr = &boardMgr;

}  // namespace KrN
