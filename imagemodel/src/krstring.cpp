#include "imagemodel/krstring.h"

#include <codecvt>
#include <locale>

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

}  // namespace KrN
