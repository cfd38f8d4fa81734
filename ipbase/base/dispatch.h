#pragma once

#include <array>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "imagemodel/kraoi.h"
#include "imagemodel/krlut.h"

// From base-class images to the kernel written for their exact pixel types.
//
// Every operation is one constexpr `Operation`: where its error comes from, and one `Combination` for each list of
// pixel types that it supports. Calling it walks the list and runs the kernel, or throws before anything is touched.
namespace KrN {

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

template <class Arg>
constexpr bool kIsAOI = std::is_base_of_v<KrAOI, std::remove_cv_t<std::remove_pointer_t<Arg>>>;

// Key of a list of AOI classes or parameter types; what is not an image does not count.
template <class... Args>
constexpr std::uint32_t TypesOf() {
    std::uint32_t key = 0;
    const auto append = [&key](auto* arg) {
        using Bare = std::remove_cv_t<std::remove_pointer_t<std::remove_pointer_t<decltype(arg)>>>;
        if constexpr (std::is_base_of_v<KrAOI, Bare>)
            key = AppendType(key, static_cast<std::uint32_t>(KrTPixel<typename Bare::Pixel>::device));
    };
    (append(static_cast<std::remove_reference_t<Args>*>(nullptr)), ...);
    return key;
}

template <class... Args>
std::uint32_t TypesOfOperands(const Args&... args) {
    std::uint32_t key = 0;
    const auto append = [&key](const auto& arg) {
        if constexpr (kIsAOI<std::decay_t<decltype(arg)>>) key = AppendType(key, TypeCode(arg));
    };
    (append(args), ...);
    return key;
}

inline KrString MessageArg(const KrAOI* aoi) { return aoi ? aoi->GetAOIName() : KrString(L"(null)"); }
inline KrString MessageArg(const KrLut* lut) { return lut ? lut->GetName() : KrString(L"(null)"); }
template <class T, std::enable_if_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, int> = 0>
auto MessageArg(T scalar) {
    if constexpr (std::is_enum_v<T>)
        return static_cast<int>(scalar);
    else
        return scalar;
}
template <class T>
int MessageArg(const KrTPoint<T>&) {
    return 0;  // no message prints one
}

template <class... Args>
[[noreturn]] void ThrowNotImplemented(const wchar_t* file, std::uint32_t line, const wchar_t* format,
                                      const Args&... args) {
    KrString message;
    message.SPrintf(format, MessageArg(args)...);
    throw new KrNotImplementedException(file, line, message);
}

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

    template <std::size_t N>
    constexpr Operation(const wchar_t* file_, std::uint32_t line_, const wchar_t* format_,
                        const std::array<Row, N>& rows_)
        : file(file_), line(line_), format(format_), rows(rows_.data()), count(N) {}

    Result operator()(Self& self, Args... args) const {
        const std::uint32_t types = TypesOfOperands(args...);
        for (std::size_t i = 0; i < count; ++i)
            if (rows[i].types == types) return rows[i].call(self, args...);
        Throw(args...);
    }

    [[noreturn]] void Throw(const Args&... args) const { ThrowNotImplemented(file, line, format, args...); }

    OperationInfo Info() const {
        OperationInfo info{file, line, format, {}};
        for (std::size_t i = 0; i < count; ++i) info.types.push_back(rows[i].types);
        return info;
    }
};

// The combination of a (virtual) kernel of the front end: its parameter types are the pixel types.
template <auto method>
struct KernelCall;

template <class Result, class C, class... Params, Result (C::*method)(Params...)>
struct KernelCall<method> {
    static constexpr std::uint32_t types = TypesOf<Params...>();
    template <class Self, class... Args>
    static Result Call(Self& self, Args... args) {
        return (self.*method)(static_cast<Params>(args)...);
    }
};

// The combination of a typed operation class: `fn(images and scalars)` with the images cast to the classes listed.
template <class AOI, class Arg>
auto CastOperand(Arg arg) {
    if constexpr (!kIsAOI<Arg>)
        return arg;
    else if constexpr (std::is_const_v<std::remove_pointer_t<Arg>>)
        return static_cast<const KrTAOI<typename AOI::Pixel>*>(arg);
    else
        return static_cast<KrTAOI<typename AOI::Pixel>*>(arg);
}

template <const auto& fn, class... Operands>
struct TypedCall {
    static constexpr std::uint32_t types = TypesOf<Operands...>();
    template <class Self, class... Args>
    static void Call(Self&, Args... args) {
        fn(CastOperand<Operands>(args)...);
    }
};

template <class Signature, class... Calls>
struct RowsOf;

template <class Result, class Self, class... Args, class... Calls>
struct RowsOf<Result(Self&, Args...), Calls...> {
    static constexpr std::array<Combination<Result, Self, Args...>, sizeof...(Calls)> rows{
        {{Calls::types, &Calls::template Call<Self, Args...>}...}};
};

// The table of an operation with the given call signature.
template <class Signature, class... Calls>
constexpr const auto& kRows = RowsOf<Signature, Calls...>::rows;

}  // namespace KrN
