#include "imagemodel/krexception.h"

#include <algorithm>
#include <cwchar>

namespace KrN {

KrCompatibleException::~KrCompatibleException() = default;

KrException::KrException(const KrString& message) : mText(message) {}

KrException::KrException(const KrString& file, std::uint32_t line, const KrString& message)
    : mFile(file), mLine(static_cast<std::int32_t>(line)), mText(message) {}

KrException::KrException(const std::exception& error) : mText(error.what()) {}

KrException::~KrException() = default;

KrString KrException::BuildMessage() const {
    if (mFile.IsEmpty()) return mText;
    KrString message;
    message.SPrintf(L"%s (%s, line %d)", mText, mFile, mLine);
    return message;
}

int KrException::GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* help) const {
    if (help) *help = 0;
    if (!buffer || size == 0) return 0;
    const KrString message = BuildMessage();
    const std::size_t length = std::min<std::size_t>(std::wcslen(message.c_str()), size - 1);
    std::wmemcpy(buffer, message.c_str(), length);
    buffer[length] = 0;
    return 1;
}

const char* KrException::what() const noexcept {
    try {
        mWhat = BuildMessage().ToUtf8();
        return mWhat.c_str();
    } catch (...) {
        return "error";
    }
}

KrNotImplementedException::KrNotImplementedException(const KrString& file, std::uint32_t line, const KrString& message,
                                                     const KrString& pixelTypes)
    : KrException(file, line, message), mPixelTypes(pixelTypes) {}

KrNotImplementedException::~KrNotImplementedException() = default;

KrString KrNotImplementedException::BuildMessage() const {
    const KrString what = mPixelTypes.IsEmpty() ? L"Not implemented: " : L"Not implemented for the pixel types ";
    return what + (mPixelTypes.IsEmpty() ? L"" : mPixelTypes + L": ") + KrException::BuildMessage();
}

KrFloatMathException::~KrFloatMathException() = default;

KrFloatDivideByZeroException::KrFloatDivideByZeroException(const KrString& file, std::uint32_t line)
    : KrFloatMathException(file, line, L"") {}

KrFloatDivideByZeroException::~KrFloatDivideByZeroException() = default;

KrString KrFloatDivideByZeroException::BuildMessage() const {
    KrString message;
    message.SPrintf(L"Division by zero (%s, line %d)", GetFile(), GetLine());
    return message;
}

}  // namespace KrN
