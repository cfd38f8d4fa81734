#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

// The operations of every family with their supported combinations, as the dispatch itself uses them: the tests and the
// reference pages read them here.
namespace KrN {

// The operations of a family, which has a short name.
struct OperationFamily {
    const char* name;
    std::vector<OperationInfo> (*operations)();
};
const std::vector<OperationFamily>& OperationFamilies();

}  // namespace KrN
