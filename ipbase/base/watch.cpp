#include "ipbase/base/watch.h"

#include <utility>

namespace KrN {

namespace {

thread_local WorkWatch* innermost = nullptr;

}  // namespace

WorkWatch::WorkWatch(Function function) : mFunction(std::move(function)), mOuter(innermost) { innermost = this; }

WorkWatch::~WorkWatch() { innermost = mOuter; }

void WorkWatch::Tell(double share) {
    if (innermost) innermost->mFunction(share);
}

}  // namespace KrN
