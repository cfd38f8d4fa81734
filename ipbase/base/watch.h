#pragma once

#include <functional>

#include "imagemodel/export.h"

namespace KrN {

// Long work whose images are not asked for anything meanwhile tells here how far it has come. An object of this class
// hears it, of its own thread and as long as it lives; what its function throws ends the work, as an image that throws
// does.
class VORIP_API WorkWatch {
public:
    using Function = std::function<void(double share)>;

    explicit WorkWatch(Function function);
    ~WorkWatch();
    WorkWatch(const WorkWatch&) = delete;
    WorkWatch& operator=(const WorkWatch&) = delete;

    // For the work: the share that is done, 0 to 1. To be called some hundred times.
    static void Tell(double share);

private:
    Function mFunction;
    WorkWatch* mOuter;
};

}  // namespace KrN
