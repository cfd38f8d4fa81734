#pragma once

#include <string>

namespace measure {

// What a module exports under the name `symbol`. Parts of OpenCV that few runs need bring many libraries along, so they
// are linked to modules of their own, which stand beside this library and are loaded when they are needed. Null when
// there is no such module; `error` then says why.
const void* LoadModule(const std::string& module, const char* symbol, std::string& error);

}  // namespace measure
