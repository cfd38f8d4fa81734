#include "imagemodel/krstring.h"

#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>

#include <codecvt>
#include <locale>

#include "imagemodel/krexception.h"

namespace KrN {

namespace {
using Utf8 = std::wstring_convert<std::codecvt_utf8<wchar_t>, wchar_t>;
}

KrString::KrString(const char* text) {
    if (!text) return;
    Utf8 converter("", L"");
    mText = converter.from_bytes(text);
    if (mText.empty())  // not UTF-8: keep the bytes
        for (const char* c = text; *c; ++c) mText.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*c)));
}

std::string KrString::ToUtf8() const {
    Utf8 converter("?", L"?");
    return converter.to_bytes(mText);
}

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
