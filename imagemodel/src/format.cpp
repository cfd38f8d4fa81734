#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>

#include "imagemodel/krexception.h"
#include "imagemodel/krstring.h"

// Texts know nothing of exceptions, which hold texts: only printing throws one.
namespace KrN {

void KrString::Print(const wchar_t* format, std::initializer_list<FormatArg> args) {
    fmt::dynamic_format_arg_store<fmt::wprintf_context> store;
    for (const FormatArg& arg : args) switch (arg.kind) {
            case FormatArg::eInteger: store.push_back(arg.integer); break;
            case FormatArg::eFloat: store.push_back(arg.number); break;
            case FormatArg::eText: store.push_back(std::wstring(arg.text)); break;
        }
    try {
        mText = fmt::vsprintf(fmt::wstring_view(format), fmt::basic_format_args<fmt::wprintf_context>(store));
    } catch (const fmt::format_error& error) {
        throw new KrException(error);
    }
}

}  // namespace KrN
