#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>

#include <algorithm>
#include <cwchar>
#include <vector>

#include "imagemodel/krexception.h"
#include "imagemodel/krstring.h"

// Texts know nothing of exceptions, which hold texts: only printing throws one.
namespace KrN {

namespace {

// One "%…" of a format.
struct Conversion {
    std::size_t position = 0;   // of its argument as in "%2$d", from 1; 0: the next one
    std::size_t arguments = 0;  // that stand before it for a "*"
    unsigned bits = 32;
    wchar_t letter = 0;

    bool IsSigned() const { return letter == L'd' || letter == L'i'; }
    bool IsUnsigned() const { return letter == L'u' || letter == L'x' || letter == L'X' || letter == L'o'; }
};

// Reads a conversion behind its "%" and appends it without the length, which the formatter would take differently.
Conversion ReadConversion(const wchar_t*& at, std::wstring& format) {
    Conversion conversion;
    const wchar_t* digits = at;
    for (; *digits >= L'0' && *digits <= L'9'; ++digits)
        conversion.position = conversion.position * 10 + static_cast<std::size_t>(*digits - L'0');
    if (*digits != L'$') conversion.position = 0;
    while (*at && std::wcschr(L"-+ #0123456789.$*'", *at)) {
        conversion.arguments += *at == L'*';
        format += *at++;
    }
    for (; *at && std::wcschr(L"hlLqjzt", *at); ++at)
        conversion.bits = *at == L'h' ? std::max(conversion.bits / 2, 8u) : 64;
    if (!*at) return conversion;
    conversion.letter = *at == L'S' ? L's' : *at == L'C' ? L'c' : *at;
    format += conversion.letter;
    ++at;
    return conversion;
}

// The number that printf shows for an argument of so many bits, those of its type or of the conversion.
long long Shown(long long value, unsigned argumentBits, const Conversion& conversion) {
    const unsigned drop = 64 - (conversion.IsSigned() ? conversion.bits : std::min(argumentBits, conversion.bits));
    const auto high = static_cast<unsigned long long>(value) << drop;
    return conversion.IsSigned() ? static_cast<long long>(high) >> drop : static_cast<long long>(high >> drop);
}

}  // namespace

void KrString::Print(const wchar_t* format, std::initializer_list<FormatArg> args) {
    std::vector<FormatArg> shown(args);
    std::wstring plain;
    std::size_t next = 0;
    for (const wchar_t* at = format ? format : L""; *at;) {
        plain += *at;
        if (*at++ != L'%') continue;
        if (*at == L'%') {
            plain += *at++;
            continue;
        }
        const Conversion conversion = ReadConversion(at, plain);
        next += conversion.arguments;
        const std::size_t index = conversion.position > 0 ? conversion.position - 1 : next++;
        if (index >= shown.size() || shown[index].kind != FormatArg::eInteger) continue;
        if (conversion.IsSigned() || conversion.IsUnsigned())
            shown[index].integer = Shown(args.begin()[index].integer, shown[index].bits, conversion);
    }
    fmt::dynamic_format_arg_store<fmt::wprintf_context> store;
    for (const FormatArg& arg : shown) switch (arg.kind) {
            case FormatArg::eInteger: store.push_back(arg.integer); break;
            case FormatArg::eFloat: store.push_back(arg.number); break;
            case FormatArg::eText: store.push_back(std::wstring(arg.text)); break;
        }
    try {
        mText = fmt::vsprintf(fmt::wstring_view(plain), fmt::basic_format_args<fmt::wprintf_context>(store));
    } catch (const fmt::format_error& error) {
        throw new KrException(error);
    }
}

}  // namespace KrN
