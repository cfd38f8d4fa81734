#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Bitwise logic on integer images, over their common region; the destination may be one of the sources.
//
// Two sources and destination: 8, 8 -> 8; 8, 8 -> 16; 8, 16 -> 16; 16, 8 -> 16; 16, 16 -> 16. Source, mask and
// destination: 8 -> 8; 8 -> 16; 16 -> 16. Narrow sources are extended with zeros, and masks cut to their low bits, to
// the destination's width; complements are formed in that width, so that Nand( 8, 8 -> 16 ) has all high bits set.
// Other pixel types throw KrNotImplementedException (file "C\ipLLogic") before anything is written.
class VORIP_API KrLLogic {
public:
    KrLLogic();
    KrLLogic(const KrLLogic&);
    KrLLogic& operator=(const KrLLogic&);
    virtual ~KrLLogic();

    // a & b and ~(a & b)
    virtual void And(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void And(const KrAOI* a, std::uint32_t mask, KrAOI* dst);
    virtual void Nand(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Nand(const KrAOI* a, std::uint32_t mask, KrAOI* dst);
    // a | b and ~(a | b)
    virtual void Or(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Or(const KrAOI* a, std::uint32_t mask, KrAOI* dst);
    virtual void Nor(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Nor(const KrAOI* a, std::uint32_t mask, KrAOI* dst);
    // a ^ b and ~(a ^ b)
    virtual void Xor(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Xor(const KrAOI* a, std::uint32_t mask, KrAOI* dst);
    virtual void XNor(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void XNor(const KrAOI* a, std::uint32_t mask, KrAOI* dst);

    // Complements an 8- or 16-bit image in place.
    virtual void Not(KrAOI* aoi);
    // Fills the view: KrLTransfer::Clear, with its pixel types and errors.
    virtual void Clear(KrAOI* dst, double value);

    template <class>
    friend struct OperationsOf;

    // The constant forms for integers, whatever their type: also a literal 0, which is no null image.
    template <class Int, KrIfIntegral<Int> = 0>
    void And(const KrAOI* a, Int c, KrAOI* dst) {
        And(a, static_cast<std::uint32_t>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void Nand(const KrAOI* a, Int c, KrAOI* dst) {
        Nand(a, static_cast<std::uint32_t>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void Or(const KrAOI* a, Int c, KrAOI* dst) {
        Or(a, static_cast<std::uint32_t>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void Nor(const KrAOI* a, Int c, KrAOI* dst) {
        Nor(a, static_cast<std::uint32_t>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void Xor(const KrAOI* a, Int c, KrAOI* dst) {
        Xor(a, static_cast<std::uint32_t>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void XNor(const KrAOI* a, Int c, KrAOI* dst) {
        XNor(a, static_cast<std::uint32_t>(c), dst);
    }

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
// The eight kernels of one operation.
#define VORIP_LOGIC_KERNELS(Name)                                                \
  virtual void Name##888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst);       \
  virtual void Name##8816SW(const KrAOI8* a, const KrAOI8* b, KrAOI16* dst);     \
  virtual void Name##81616SW(const KrAOI8* a, const KrAOI16* b, KrAOI16* dst);   \
  virtual void Name##16816SW(const KrAOI16* a, const KrAOI8* b, KrAOI16* dst);   \
  virtual void Name##161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst); \
  virtual void Name##8ul8SW(const KrAOI8* a, std::uint32_t mask, KrAOI8* dst);   \
  virtual void Name##8ul16SW(const KrAOI8* a, std::uint32_t mask, KrAOI16* dst); \
  virtual void Name##16ul16SW(const KrAOI16* a, std::uint32_t mask, KrAOI16* dst);
    VORIP_LOGIC_KERNELS(And)
    VORIP_LOGIC_KERNELS(Nand)
    VORIP_LOGIC_KERNELS(Or)
    VORIP_LOGIC_KERNELS(Nor)
    VORIP_LOGIC_KERNELS(Xor)
    VORIP_LOGIC_KERNELS(XNor)
#undef VORIP_LOGIC_KERNELS
    virtual void Not8SW(KrAOI8* aoi);
    virtual void Not16SW(KrAOI16* aoi);
};

}  // namespace KrN
