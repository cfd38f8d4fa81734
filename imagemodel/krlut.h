#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>

#include "imagemodel/krarrays.h"
#include "imagemodel/krstring.h"

namespace KrN {

// A look-up table with a name, which error messages show; a new one has none. Tables may be read by several threads at
// a time.
class VORIP_API KrLut {
public:
    virtual ~KrLut();
    const KrString& GetName() const { return mName; }
    void SetName(const KrString& name) { mName = name; }

private:
    KrString mName;
};

// One input, 8-bit values. A new table maps 0..255 to themselves; inputs beyond the last entry give 0.
class VORIP_API KrLut1x8 : public KrLut {
public:
    KrLut1x8();
    ~KrLut1x8() override;
    std::uint8_t GetElem(unsigned short index) const { return index < mElems.Size() ? mElems[index] : std::uint8_t{0}; }
    // Replaces all entries; the table becomes as long as the array.
    virtual void Write(const KrTBuf1D<std::uint8_t>& elems);

private:
    KrTBuf1D<std::uint8_t> mElems;
};

// Two 8-bit inputs a and b, 8-bit values. The value of (a, b) is the element at column b of row a, (x, y) = (b, a), of
// the array that Write takes; inputs outside the array give 0. A new table is 256 x 256 zeros.
class VORIP_API KrLut88_8 : public KrLut {
public:
    KrLut88_8();
    ~KrLut88_8() override;
    std::uint8_t GetElem(unsigned short a, unsigned short b) const {
        return a < mElems.Height() && b < mElems.Width() ? mElems(b, a) : std::uint8_t{0};
    }
    // Replaces all entries; the table becomes as large as the array.
    virtual void Write(const KrTBuf2D<std::uint8_t>& elems);

private:
    KrTBuf2D<std::uint8_t> mElems;
};

// Colour table of 256 entries, all 0 at first; indices beyond the last entry are ignored and read as 0.
class VORIP_API KrLut3x8 : public KrLut {
public:
    ~KrLut3x8() override;
    void SetElemR(unsigned short index, unsigned char value) { Set(0, index, value); }
    void SetElemG(unsigned short index, unsigned char value) { Set(1, index, value); }
    void SetElemB(unsigned short index, unsigned char value) { Set(2, index, value); }
    unsigned char GetElemR(unsigned short index) const { return Get(0, index); }
    unsigned char GetElemG(unsigned short index) const { return Get(1, index); }
    unsigned char GetElemB(unsigned short index) const { return Get(2, index); }

private:
    void Set(std::size_t channel, unsigned short index, unsigned char value) {
        if (index < 256) mElems[channel][index] = value;
    }
    unsigned char Get(std::size_t channel, unsigned short index) const {
        return index < 256 ? mElems[channel][index] : static_cast<unsigned char>(0);
    }
    std::array<std::array<unsigned char, 256>, 3> mElems{};
};

// The tables that the look-up-table mapping operations apply.
class VORIP_API KrMapLut1x8 : public KrLut1x8 {
public:
    ~KrMapLut1x8() override;
};
class VORIP_API KrMapLut88_8 : public KrLut88_8 {
public:
    ~KrMapLut88_8() override;
};

// A named colour table of the process-wide registry.
class VORIP_API KrOLut : public KrLut3x8 {
public:
    ~KrOLut() override;
};

// The registry of named tables, which owns them. It is meant to be filled at start-up, from one thread.
class VORIP_API KrOLutMgr {
public:
    // The table of that name, or null.
    KrOLut* GetLut(const KrString& name) const;
    // Adds a table under the name that it has now, and deletes the one that had it. Throws KrException when it is null.
    void AddLut(std::unique_ptr<KrOLut> lut);

private:
    std::map<std::wstring, std::unique_ptr<KrOLut>> mLuts;
};

// The process's registry.
VORIP_API extern KrOLutMgr* const pOLutMgr;

}  // namespace KrN
