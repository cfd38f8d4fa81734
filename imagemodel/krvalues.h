#pragma once

#include <cstdint>
#include <type_traits>

namespace KrN {

// Pixel-type code of an image. The gaps are unused.
enum DeviceType {
    eDev8 = 1,          // unsigned 8-bit
    eDev16 = 4,         // unsigned 16-bit
    eDev32 = 7,         // signed 32-bit
    eDev32Float = 8,    // 32-bit IEEE float
    eDev64Double = 10,  // 64-bit IEEE double
};

// As messages and the reference name it; empty for codes without a pixel type.
constexpr const wchar_t* PixelTypeName(DeviceType type) {
    switch (type) {
        case eDev8: return L"8";
        case eDev16: return L"16";
        case eDev32: return L"32";
        case eDev32Float: return L"F";
        case eDev64Double: return L"D";
    }
    return L"";
}

// Small values: `KrTSize<short>{640, 480}`, `KrTSize<short>(640, 480)`; a new one is all 0. Sizes and ranges may hold
// anything, operations say what they accept.
template <class T>
struct KrTSize {
    T cx{};
    T cy{};

    constexpr KrTSize() = default;
    constexpr KrTSize(T cx_, T cy_) : cx(cx_), cy(cy_) {}
    friend bool operator==(const KrTSize& a, const KrTSize& b) { return a.cx == b.cx && a.cy == b.cy; }
    friend bool operator!=(const KrTSize& a, const KrTSize& b) { return !(a == b); }
};

template <class T>
struct KrTPoint {
    T x{};
    T y{};

    constexpr KrTPoint() = default;
    constexpr KrTPoint(T x_, T y_) : x(x_), y(y_) {}
    friend bool operator==(const KrTPoint& a, const KrTPoint& b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const KrTPoint& a, const KrTPoint& b) { return !(a == b); }
};

// The pixels in columns origin.x ... origin.x + size.cx - 1 and the rows likewise.
template <class T>
struct KrTRectangle {
    KrTPoint<T> origin;
    KrTSize<T> size;

    KrTRectangle() = default;
    KrTRectangle(const KrTPoint<T>& o, const KrTSize<T>& s) : origin(o), size(s) {}
    KrTRectangle(T x, T y, T cx, T cy) : origin{x, y}, size{cx, cy} {}
    friend bool operator==(const KrTRectangle& a, const KrTRectangle& b) {
        return a.origin == b.origin && a.size == b.size;
    }
    friend bool operator!=(const KrTRectangle& a, const KrTRectangle& b) { return !(a == b); }
};

// A range of values, both ends inclusive.
template <class T>
struct KrTRange {
    T lower{};
    T upper{};

    constexpr KrTRange() = default;
    constexpr KrTRange(T lower_, T upper_) : lower(lower_), upper(upper_) {}
};

template <class T>
struct KrTFloatRange {
    T lower{};
    T upper{};

    constexpr KrTFloatRange() = default;
    constexpr KrTFloatRange(T lower_, T upper_) : lower(lower_), upper(upper_) {}
};

// Columns first..last of a row, both inclusive; empty when last < first.
struct KrColumnRange {
    std::int16_t first = 0;
    std::int16_t last = -1;

    constexpr KrColumnRange() = default;
    constexpr KrColumnRange(std::int16_t first_, std::int16_t last_) : first(first_), last(last_) {}
};

// What a mask image means to an operation: nothing; excluded pixels become 0 or are not regarded; or excluded pixels
// keep their values. Any other value of an int may be given; operations say what it does.
enum MaskConsideration : int { eIgnoreMask = 0, eConsiderMask = 1, eKeepMasked = 2 };

// Selects templates that are for integers of any type.
template <class T>
using KrIfIntegral = std::enable_if_t<std::is_integral_v<T>, int>;

namespace KrMath {
inline constexpr double Pi = 3.14159265358979323846;
inline constexpr double TwoPi = 2.0 * Pi;
}  // namespace KrMath

}  // namespace KrN
