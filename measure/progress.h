#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "measure/error.h"

namespace measure {

// How a long operation reports to its caller and learns that it shall stop: the function gets what is being done and
// the share that is done, 0 to 1; when it returns false the operation throws Stopped and leaves no result. The caller's
// thread calls it, on 6 megapixels some times a second if nothing else runs; the search of a chessboard takes longer.
class Progress {
public:
    using Function = std::function<bool(const char* stage, double share)>;

    Progress() = default;
    // From any callable (stage, share) -> bool.
    template <class Callable, class = std::enable_if_t<std::is_constructible_v<Function, Callable> &&
                                                       !std::is_same_v<std::decay_t<Callable>, Progress>>>
    Progress(Callable callable) : mFunction(std::move(callable)) {}

    // Calls the function; throws Stopped when it returns false.
    void Report(const char* stage, double share = 0) const {
        if (mFunction && !mFunction(stage, share)) throw Stopped();
    }

private:
    Function mFunction;
};

}  // namespace measure
