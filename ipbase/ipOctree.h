#pragma once

#include <vector>

#include "imagemodel/kraoi.h"
#include "imagemodel/krlut.h"

namespace KrN {

// Reduction of colours to a palette of at most 256, by an octree: M. Gervautz and W. Purgathofer, "A simple method for
// color quantization: octree quantization", 1988. Images of colours are three 8-bit planes, those of a palette 8-bit
// indices.
//
// Every node stands for the colours whose uppermost bits of red, green and blue agree, down to all eight. As long as
// there are more leaves than asked for, a node whose children are leaves becomes a leaf: one of the deepest, of these
// the one of fewest pixels, of these the first in the order of the tree (red before green before blue). The colour of a
// leaf is the rounded mean of its pixels, and the palette follows the order of the tree. Neither depends on the order
// of the pixels. Images of no more colours than asked for are kept exactly; others may get fewer than asked for.
//
// Build comes first, and with no pixels, as before it, the palette is empty.
class VORIP_API KrOctreeQuantizer {
public:
    enum Assignment : int { eLeaf = 0, eNearest = 1 };

    KrOctreeQuantizer();
    KrOctreeQuantizer(const KrOctreeQuantizer&);
    KrOctreeQuantizer& operator=(const KrOctreeQuantizer&);
    virtual ~KrOctreeQuantizer();

    // Finds 2 to 256 colours for the common region of the planes. Pixels whose mask value is 64 or more do not count
    // (null: no mask; pixels beyond a smaller mask count as its nearest one). Throws KrNotImplementedException (file
    // "C\ipOctree", line 40) unless all planes are 8-bit images, KrException for other numbers of colours; the palette
    // stays then.
    void Build(const KrAOI* r, const KrAOI* g, const KrAOI* b, const KrAOI8* mask, int colours);
    // Moves each palette entry to the rounded mean of the colours that are nearest to it, so many times (S. P. Lloyd,
    // "Least squares quantization in PCM", 1982). Entries that no colour is nearest to stay.
    void Refine(int steps);
    // The index of each pixel's colour, over the common region with the destination: eLeaf that of the leaf which the
    // colour was built into (it stays so after Refine), eNearest that of the nearest entry by squared distance, the
    // first of several. A colour in no leaf gets the nearest entry, and with an empty palette all are 0. Throws
    // KrNotImplementedException (line 80) unless all images are 8-bit.
    void Map(const KrAOI* r, const KrAOI* g, const KrAOI* b, KrAOI* dst, Assignment assignment = eNearest) const;

    // The number of colours, and the palette; entries beyond are black.
    int Count() const { return static_cast<int>(mEntries.size()); }
    void GetPalette(KrLut3x8& palette) const;

    template <class>
    friend struct OperationsOf;

protected:
    virtual void Build888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, const KrAOI8* mask, int colours);
    virtual void Map8888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, KrAOI8* dst, Assignment) const;

private:
    struct Entry {
        std::uint8_t r, g, b;
    };
    // The colours of a leaf, by their places in the tree.
    struct Leaf {
        std::uint32_t first, last;
    };
    struct Colour {
        std::uint32_t place;
        std::uint32_t pixels;
    };

    std::vector<Entry> mEntries;
    std::vector<Leaf> mLeaves;
    std::vector<Colour> mColours;  // all of the image, in the order of the tree
};

}  // namespace KrN
