#pragma once

#include <cstdint>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "imagemodel/kraoi.h"
#include "imagemodel/krlut.h"

// From base-class images to the kernel written for their exact pixel types.
//
// Every operation is one constexpr `Operation`: where its error comes from, and the kernels of the pixel types that it
// supports. Calling it walks the list and runs the kernel, or throws before anything is touched. The operations of a
// front end stand in one tuple, from which structured bindings name them for its methods and `ListOperations` hands
// them to the catalogue: one that is forgotten does not compile.
namespace KrN {

// Holds the tuple of a front end's operations, as `all`; its friend, because kernels are protected.
template <class FrontEnd>
struct OperationsOf;

// What an operation says of itself to tests and reference pages.
struct OperationInfo {
    const wchar_t* file;
    std::uint32_t line;
    const wchar_t* format;
    std::vector<std::uint32_t> types;  // one key for each supported combination
};

// Pixel types as one key, the first image in the highest digit; four bits each. A null image has the code 0.
constexpr std::uint32_t AppendType(std::uint32_t key, std::uint32_t code) { return key << 4 | code; }

inline std::uint32_t TypeCode(const KrAOI* aoi) { return aoi ? static_cast<std::uint32_t>(aoi->GetDevType()) : 0; }

// The class behind a parameter that is a pointer or a reference.
template <class Param>
using Operand = std::remove_cv_t<std::remove_pointer_t<std::remove_reference_t<Param>>>;
template <class Param>
constexpr bool kIsAOI = std::is_base_of_v<KrAOI, Operand<Param>>;

// Key of parameter types; what is not an image does not count.
template <class... Params>
constexpr std::uint32_t TypesOf() {
    std::uint32_t key = 0;
    const auto append = [&key](const auto* param) {
        using P = Operand<decltype(param)>;
        if constexpr (std::is_base_of_v<KrAOI, P>)
            key = AppendType(key, static_cast<std::uint32_t>(KrTPixel<typename P::Pixel>::device));
    };
    (append(static_cast<const Operand<Params>*>(nullptr)), ...);
    return key;
}

template <class... Args>
std::uint32_t TypesOfOperands(const Args&... args) {
    std::uint32_t key = 0;
    const auto append = [&key](const auto& arg) {
        if constexpr (kIsAOI<decltype(arg)>) key = AppendType(key, TypeCode(arg));
    };
    (append(args), ...);
    return key;
}

inline KrString MessageArg(const KrAOI* aoi) { return aoi ? aoi->GetAOIName() : KrString(L"(null)"); }
inline const KrString& MessageArg(const KrString& text) { return text; }
inline KrString MessageArg(const KrLut* lut) { return lut ? lut->GetName() : KrString(L"(null)"); }
template <class T, std::enable_if_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, int> = 0>
auto MessageArg(T scalar) {
    if constexpr (std::is_enum_v<T>)
        return static_cast<int>(scalar);
    else
        return scalar;
}
template <class T, std::enable_if_t<std::is_class_v<T>, int> = 0>
int MessageArg(const T&) {
    return 0;  // no message prints one
}

// Lists the pixel types of the images among the arguments, as the reference pages name them.
template <class Arg>
void AppendTypeName(KrString& list, const Arg& arg) {
    if constexpr (kIsAOI<Arg>) {
        if (!list.IsEmpty()) list += L", ";
        list += arg ? PixelTypeName(arg->GetDevType()) : L"none";
    }
}

template <class... Args>
KrString MessageOf(const wchar_t* format, const Args&... args) {
    KrString message;
    message.SPrintf(format, MessageArg(args)...);
    return message;
}

// For operands whose pixel types are the reason.
template <class... Args>
[[noreturn]] void ThrowNotImplemented(const wchar_t* file, std::uint32_t line, const wchar_t* format,
                                      const Args&... args) {
    KrString types;
    (AppendTypeName(types, args), ...);
    throw new KrNotImplementedException(file, line, MessageOf(format, args...), types);
}

// Whether it is an image without pixels.
template <class Arg>
bool IsEmpty(const Arg& arg) {
    if constexpr (kIsAOI<Arg>)
        return arg && (arg->AOIWidth() == 0 || arg->AOIHeight() == 0);
    else
        return false;
}

// Kernels that may be replaced need not think of them.
template <class... Args>
bool AnyIsEmpty(const Args&... args) {
    return (IsEmpty(args) || ...);
}

// For an operand that has the right pixels, but is of a class of its own beside those of the library.
[[noreturn]] inline void ThrowForeignClass(const KrAOI& aoi) {
    KrString text;
    text.SPrintf(L"Error in the dispatch: the class of \"%s\" does not derive from KrAOI8 or its siblings",
                 aoi.GetAOIName());
    throw new KrException(L"dispatch", 122, text);
}

// An operand as the type that a kernel takes. Most are of that very class or buffers, which costs no search.
template <class Param, class Arg>
Param CastOperand(Arg& arg) {
    using To = Operand<Param>;
    if constexpr (kIsAOI<Param> && !std::is_base_of_v<To, Operand<Arg>>)
        if (arg && typeid(*arg) != typeid(To) && !dynamic_cast<const To*>(arg)) ThrowForeignClass(*arg);
    if constexpr (kIsAOI<Param> && std::is_reference_v<Param>)
        return static_cast<Param>(*arg);
    else
        return static_cast<Param>(arg);
}

// How an operation calls a kernel, whose parameters say which pixel types it is for: a (virtual) method of the front
// end, a method of a typed operation class, which has no state, or a function that takes the front end first.
template <auto kernel>
struct Adapt;

template <class Result, class C, class... Params, Result (C::*kernel)(Params...)>
struct Adapt<kernel> {
    static constexpr std::uint32_t types = TypesOf<Params...>();
    template <class Self, class... Args>
    static Result Call(Self& self, Args... args) {
        if constexpr (std::is_base_of_v<C, Self>) {
            if (AnyIsEmpty(args...)) return Result();
            return (self.*kernel)(CastOperand<Params>(args)...);
        } else
            return (C().*kernel)(CastOperand<Params>(args)...);
    }
};

template <class Result, class Self, class... Params, Result (*kernel)(Self&, Params...)>
struct Adapt<kernel> {
    static constexpr std::uint32_t types = TypesOf<Params...>();
    template <class, class... Args>
    static Result Call(Self& self, Args... args) {
        return kernel(self, CastOperand<Params>(args)...);
    }
};

// The method Execute of a typed operation class, for one combination of images and scalars.
template <class Typed, class... Params>
constexpr void (Typed::*kExecute)(Params...) = &Typed::Execute;

// One combination of pixel types, and what runs its kernel.
template <class Result, class Self, class... Args>
struct Combination {
    std::uint32_t types;
    Result (*call)(Self&, Args...);
};

template <class Signature>
struct Operation;

template <class Result, class Self, class... Args>
struct Operation<Result(Self&, Args...)> {
    using Row = Combination<Result, Self, Args...>;

    const wchar_t* file;
    std::uint32_t line;
    const wchar_t* format;
    const Row* rows;
    std::size_t count;

    template <auto... kernels>
    static constexpr Row kRows[] = {{Adapt<kernels>::types, &Adapt<kernels>::template Call<Self, Args...>}...};

    template <auto... kernels>
    static constexpr Operation Of(const wchar_t* file, std::uint32_t line, const wchar_t* format) {
        return {file, line, format, kRows<kernels...>, sizeof...(kernels)};
    }

    Result operator()(Self& self, Args... args) const {
        const std::uint32_t types = TypesOfOperands(args...);
        for (std::size_t i = 0; i < count; ++i)
            if (rows[i].types == types) return rows[i].call(self, args...);
        Throw(args...);
    }

    // The pixel types are named where they are the reason.
    [[noreturn]] void Throw(const Args&... args) const {
        const std::uint32_t types = TypesOfOperands(args...);
        for (std::size_t i = 0; i < count; ++i)
            if (rows[i].types == types) throw new KrNotImplementedException(file, line, MessageOf(format, args...));
        ThrowNotImplemented(file, line, format, args...);
    }

    OperationInfo Info() const {
        OperationInfo info{file, line, format, {}};
        for (std::size_t i = 0; i < count; ++i) info.types.push_back(rows[i].types);
        return info;
    }
};

template <class... Operations>
std::vector<OperationInfo> ListOperations(const std::tuple<Operations...>& operations) {
    return std::apply([](const auto&... each) { return std::vector<OperationInfo>{each.Info()...}; }, operations);
}

}  // namespace KrN
