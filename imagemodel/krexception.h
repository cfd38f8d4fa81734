#pragma once

#include <cstdint>
#include <exception>

#include "imagemodel/krstring.h"

namespace KrN {

// What every exception of the system can say about itself, whatever framework it came from.
class VORIP_API KrCompatibleException {
public:
    virtual ~KrCompatibleException();
    // Copies the message, cut to `size` characters including the final 0, and sets *help (when given) to 0, as there is
    // no help topic. Returns 1, or 0 when there is no room to write to.
    virtual int GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* help = nullptr) const = 0;
};

// Base of all errors. Errors are created with `new`, thrown as pointers, and deleted by whoever catches them. What
// memory or the standard library throws passes through as it is, by value.
class VORIP_API KrException : public std::exception, public KrCompatibleException {
public:
    explicit KrException(const KrString& message);
    // `file` names the unit and `line` the place in it.
    KrException(const KrString& file, std::uint32_t line, const KrString& message);
    explicit KrException(const std::exception& error);
    ~KrException() override;

    const KrString& GetFile() const { return mFile; }
    std::int32_t GetLine() const { return mLine; }
    const KrString& GetText() const { return mText; }

    // "<text> (<file>, line <line>)"; only the text when there is no file.
    virtual KrString BuildMessage() const;
    int GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* help = nullptr) const override;
    // The message in UTF-8, valid until the next call.
    const char* what() const noexcept override;

private:
    KrString mFile;
    std::int32_t mLine = 0;
    KrString mText;
    mutable std::string mWhat;
};

// No routine exists for the operands. The text names the operation and its operands, by the names that they have.
class VORIP_API KrNotImplementedException : public KrException {
public:
    // `pixelTypes` lists those of the operands, when they are the reason.
    KrNotImplementedException(const KrString& file, std::uint32_t line, const KrString& message,
                              const KrString& pixelTypes = KrString());
    ~KrNotImplementedException() override;
    // "Not implemented: <text> ..." or "Not implemented for the pixel types <types>: <text> ...".
    KrString BuildMessage() const override;

private:
    KrString mPixelTypes;
};

// Base of the errors of floating-point arithmetic.
class VORIP_API KrFloatMathException : public KrException {
public:
    using KrException::KrException;
    ~KrFloatMathException() override;
};

// A divisor is 0, or so small that it counts as 0.
class VORIP_API KrFloatDivideByZeroException : public KrFloatMathException {
public:
    KrFloatDivideByZeroException(const KrString& file, std::uint32_t line);
    ~KrFloatDivideByZeroException() override;
    KrString BuildMessage() const override;
};

}  // namespace KrN
