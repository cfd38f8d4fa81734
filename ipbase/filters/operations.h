#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations that every filter class declares; the compiler's own serve.
#define VORIP_FILTER_DEFAULTS(Class)               \
  Class::Class() = default;                        \
  Class::Class(const Class&) = default;            \
  Class& Class::operator=(const Class&) = default; \
  Class::~Class() = default

// The operations of each family of this room with their supported combinations.
std::vector<OperationInfo> LineFilterOperations();
std::vector<OperationInfo> ImageFilterOperations();

}  // namespace KrN
