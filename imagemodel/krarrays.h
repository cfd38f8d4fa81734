#pragma once

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace KrN {

// The arrays own their elements; a copy owns copies, an array that was moved from is empty. New elements are 0. Indices
// are not checked: they must lie inside. Sizes that memory cannot hold throw std::bad_alloc or std::length_error and
// leave the array as it was. One thread may write, or several read, an array at a time.

// One-dimensional array of values: row buffers, kernels, table contents.
template <class T>
class KrTBuf1D {
public:
    KrTBuf1D() = default;
    explicit KrTBuf1D(std::size_t count) : mElems(count) {}
    KrTBuf1D(std::initializer_list<T> elems) : mElems(elems) {}
    KrTBuf1D(const KrTBuf1D&) = default;
    KrTBuf1D(KrTBuf1D&&) noexcept = default;
    KrTBuf1D& operator=(const KrTBuf1D&) = default;
    KrTBuf1D& operator=(KrTBuf1D&&) noexcept = default;
    virtual ~KrTBuf1D() = default;

    std::size_t Size() const { return mElems.size(); }
    // Keeps the elements that stay; addresses of elements are void afterwards.
    void Resize(std::size_t count) { mElems.resize(count); }
    T* Data() { return mElems.data(); }
    const T* Data() const { return mElems.data(); }
    T& operator[](std::size_t i) { return mElems[i]; }
    const T& operator[](std::size_t i) const { return mElems[i]; }

private:
    std::vector<T> mElems;
};

// Two-dimensional array, rows contiguous and one behind the other.
template <class T>
class KrTBuf2D {
public:
    KrTBuf2D() = default;
    KrTBuf2D(std::size_t width, std::size_t height) : mElems(Count(width, height)), mWidth(width), mHeight(height) {}
    KrTBuf2D(const KrTBuf2D&) = default;
    KrTBuf2D& operator=(const KrTBuf2D&) = default;
    KrTBuf2D(KrTBuf2D&& other) noexcept { *this = std::move(other); }
    KrTBuf2D& operator=(KrTBuf2D&& other) noexcept {
        mElems.swap(other.mElems);
        std::swap(mWidth, other.mWidth);
        std::swap(mHeight, other.mHeight);
        if (this != &other) other.Clear();
        return *this;
    }
    virtual ~KrTBuf2D() = default;

    std::size_t Width() const { return mWidth; }
    std::size_t Height() const { return mHeight; }
    // Nothing is kept: all elements are 0, also when the size stays.
    void Resize(std::size_t width, std::size_t height) {
        mElems.assign(Count(width, height), T{});
        mWidth = width;
        mHeight = height;
    }
    T* Row(std::size_t y) { return mElems.data() + y * mWidth; }
    const T* Row(std::size_t y) const { return mElems.data() + y * mWidth; }
    T& operator()(std::size_t x, std::size_t y) { return Row(y)[x]; }
    const T& operator()(std::size_t x, std::size_t y) const { return Row(y)[x]; }

private:
    static std::size_t Count(std::size_t width, std::size_t height) {
        if (width > 0 && height > std::numeric_limits<std::size_t>::max() / width)
            throw std::length_error("an array of so many rows and columns does not fit into memory");
        return width * height;
    }
    void Clear() noexcept {
        mElems.clear();
        mWidth = mHeight = 0;
    }

    std::vector<T> mElems;
    std::size_t mWidth = 0;
    std::size_t mHeight = 0;
};

// Growable array. Resize keeps the elements that stay; Clear keeps the memory, Free gives it back.
template <class T>
class KrTMem {
public:
    std::size_t Size() const { return mElems.size(); }
    void Resize(std::size_t count) { mElems.resize(count); }
    // Provides memory for so many elements, and adds one at the end.
    void Reserve(std::size_t count) { mElems.reserve(count); }
    void Clear() { mElems.clear(); }
    void Free() { std::vector<T>().swap(mElems); }
    void Add(const T& elem) { mElems.push_back(elem); }
    T* Data() { return mElems.data(); }
    const T* Data() const { return mElems.data(); }
    T& operator[](std::size_t i) { return mElems[i]; }
    const T& operator[](std::size_t i) const { return mElems[i]; }
    auto begin() { return mElems.begin(); }
    auto begin() const { return mElems.begin(); }
    auto end() { return mElems.end(); }
    auto end() const { return mElems.end(); }

private:
    std::vector<T> mElems;
};

// Growable array used as a stack: last in, first out.
template <class T>
class KrTBlockMem : public KrTMem<T> {
public:
    void Push(const T& elem) { this->Add(elem); }
    // There must be an element.
    T Pop() {
        const T elem = (*this)[this->Size() - 1];
        this->Resize(this->Size() - 1);
        return elem;
    }
};

}  // namespace KrN
