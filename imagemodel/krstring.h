#pragma once

#include <initializer_list>
#include <string>
#include <type_traits>

#include "imagemodel/export.h"

namespace KrN {

// Wide-character text. Narrow text is taken as UTF-8.
class VORIP_API KrString {
public:
    KrString() = default;
    KrString(const wchar_t* text) : mText(text ? text : L"") {}
    KrString(const char* text);
    KrString(std::wstring text) : mText(std::move(text)) {}

    const wchar_t* c_str() const { return mText.c_str(); }
    bool IsEmpty() const { return mText.empty(); }
    std::string ToUtf8() const;

    friend bool operator==(const KrString& a, const KrString& b) { return a.mText == b.mText; }
    friend bool operator!=(const KrString& a, const KrString& b) { return a.mText != b.mText; }

    // Replaces the text by one printed from a printf format. "%s" takes wide text and KrString; surplus arguments are
    // ignored. Throws KrException when the format and the arguments do not fit together.
    template <class... Args>
    void SPrintf(const wchar_t* format, const Args&... args) {
        Print(format, {FormatArg(args)...});  // which keeps texts made for the call alive
    }

private:
    struct FormatArg {
        enum Kind { eInteger, eFloat, eText } kind;
        long long integer = 0;
        double number = 0;
        const wchar_t* text = L"";

        template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
        explicit FormatArg(T v) : kind(eInteger), integer(static_cast<long long>(v)) {}
        explicit FormatArg(double v) : kind(eFloat), number(v) {}
        explicit FormatArg(const wchar_t* v) : kind(eText), text(v ? v : L"") {}
        explicit FormatArg(const KrString& v) : kind(eText), text(v.c_str()) {}
    };
    void Print(const wchar_t* format, std::initializer_list<FormatArg> args);

    std::wstring mText;
};

namespace KrTools {
// Read access to a text for callers that keep a pointer to it.
class String {
public:
    explicit String(const KrString& text) : mText(text) {}
    const wchar_t* GetStr() const { return mText.c_str(); }

private:
    KrString mText;
};
}  // namespace KrTools

}  // namespace KrN
