#pragma once

#include <initializer_list>
#include <string>
#include <type_traits>

#include "imagemodel/export.h"

namespace KrN {

// Wide-character text. Narrow text is taken as UTF-8; bytes that are not UTF-8 become one character each. Null pointers
// are empty texts. Objects share nothing: one may be read by several threads at a time, and written by one.
class VORIP_API KrString {
public:
    KrString() = default;
    KrString(const wchar_t* text) : mText(text ? text : L"") {}
    KrString(const char* text);
    KrString(std::wstring text) : mText(std::move(text)) {}
    KrString(const std::string& text) : KrString(text.c_str()) {}  // up to the first 0, if there is one

    const wchar_t* c_str() const { return mText.c_str(); }
    bool IsEmpty() const { return mText.empty(); }
    // A character that UTF-8 cannot hold turns the whole text into "?".
    std::string ToUtf8() const;

    friend bool operator==(const KrString& a, const KrString& b) { return a.mText == b.mText; }
    friend bool operator!=(const KrString& a, const KrString& b) { return a.mText != b.mText; }
    // By character codes.
    friend bool operator<(const KrString& a, const KrString& b) { return a.mText < b.mText; }
    friend KrString operator+(const KrString& a, const KrString& b) { return KrString(a.mText + b.mText); }
    KrString& operator+=(const KrString& other) {
        mText += other.mText;
        return *this;
    }

    // Replaces the text by one printed from a printf format; a null format is an empty one. "%s" and "%S" take wide and
    // narrow text and KrString. Integers and enumerators are printed as printf does: "%d" takes the low 32 bits as a
    // signed number, "%u" and "%x" take them as an unsigned one, "%hd" and "%hhx" take fewer, "%ld" and "%lld" 64.
    // Surplus arguments are ignored. Throws KrException, and keeps the text, when the format and the arguments do not
    // fit together.
    template <class... Args>
    void SPrintf(const wchar_t* format, const Args&... args) {
        Print(format, {FormatArg(args)...});  // which keeps texts made for the call alive
    }

private:
    struct FormatArg {
        enum Kind { eInteger, eFloat, eText } kind;
        long long integer = 0;
        unsigned bits = 0;  // of an integer, at least those of an int
        double number = 0;
        const wchar_t* text = L"";

        template <class T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, int> = 0>
        explicit FormatArg(T v)
            : kind(eInteger), integer(static_cast<long long>(v)), bits(sizeof(T) < sizeof(int) ? 32 : 8 * sizeof(T)) {}
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
