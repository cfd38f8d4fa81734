#pragma once

#include <cstdint>

#include "imagemodel/kraoi.h"

namespace KrN {

// How a mask value is compared with a limit.
enum MaskCondition { eMaskBelow = 0, eMaskAbove = 1 };

// A condition on mask values together with its limit.
class VORIP_API KrLMask {
public:
    explicit KrLMask(MaskCondition condition = eMaskBelow, std::int32_t limit = 64)
        : mCondition(condition), mLimit(limit) {}

    // Any limit is allowed.
    MaskCondition GetCondition() const { return mCondition; }
    void SetCondition(MaskCondition condition) { mCondition = condition; }
    std::int32_t GetLimit() const { return mLimit; }
    void SetLimit(std::int32_t limit) { mLimit = limit; }

private:
    MaskCondition mCondition;
    std::int32_t mLimit;
};

// Least-squares fit of a surface
//     f(X, Y) = c1*X^3 + c2*X^2 + c3*X + c4*Y^3 + c5*Y^2 + c6*Y + c7*X*Y^2 + c8*X^2*Y + c9*X*Y + c10
// to an image, X and Y being column and row counted from 1. Terms may be left out; their coefficients are 0. Mask
// values 64 ... 255 exclude a pixel. One object serves one thread at a time; copies are independent.
class VORIP_API KrLBestFit {
public:
    static constexpr int kTerms = 10;

    KrLBestFit();
    KrLBestFit(const KrLBestFit&);
    KrLBestFit& operator=(const KrLBestFit&);
    virtual ~KrLBestFit();

    // Fits the terms whose argument is not 0 to the common region of `src` (8, 16 or F) and `fitMask` (null admits
    // every pixel), and draws the surface into the whole of `dst` (F): everywhere with eIgnoreMask, else where
    // `drawMask` admits it; the other pixels become 0 with eConsiderMask and stay with eKeepMasked. Any other value
    // draws nothing. A null draw mask admits every pixel; a smaller one limits what is drawn. `src` and `dst` may be
    // the same image.
    //
    // Terms that the pixels do not determine, all of them when there is no pixel, get the coefficient 0.
    //
    // Throws KrNotImplementedException (file "C\ipLBestFit", line 1141) for other pixel types, and KrException when
    // `dst` is read-only; nothing has changed then, and the earlier fit stays, whatever is thrown.
    void Approximation(const KrAOI* src, KrAOI* dst, const KrAOI8* fitMask, const KrAOI8* drawMask,
                       MaskConsideration consider, int useX3, int useX2, int useX, int useY3, int useY2, int useY,
                       int useXY2, int useX2Y, int useXY, int useConst);

    // c1 ... c10 of the last fit.
    const double* GetCoefficients() const { return mContent.coefficients; }
    // Coefficient i, 0 to 9, as text: as printed by "%E", or "null" when its term was left out. Throws KrException for
    // another i.
    const char* GetCoefficientText(int i) const { return mContent.texts[Checked(i)]; }
    // 1 when no pixel took part in the last fit, else 0.
    int IsEverythingMasked() const { return mContent.everythingMasked; }

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced. The fit finds all coefficients at 0, the flags of the terms set and
    // everything masked; it sets the coefficients, and says when a pixel took part. It is not called for an empty
    // region. The source and the destination are not null, masks may be.
    virtual void CalcPlane(const KrAOI8* src, const KrAOI8* fitMask);
    virtual void CalcPlane(const KrAOI16* src, const KrAOI8* fitMask);
    virtual void CalcPlane(const KrAOI32Float* src, const KrAOI8* fitMask);
    virtual void DrawPlane(KrAOI32Float* dst, const KrAOI8* drawMask, MaskConsideration consider);

    // c1 ... c10; whether term i, 0 to 9, is left out; and what IsEverythingMasked says. Another i throws KrException.
    void SetCoefficients(const double* coefficients);
    bool IsExcluded(int i) const { return mContent.excluded[Checked(i)] != 0; }
    void SetExcluded(int i, bool excluded) { mContent.excluded[Checked(i)] = excluded ? 1 : 0; }
    void SetEverythingMasked(int masked) { mContent.everythingMasked = masked; }

    // Writes the coefficients into their texts, no file.
    void save_koeff();
    // Sets all coefficients to 0 and includes all terms; reads nothing.
    void load_koeff();

    // Solves a * x = b for the columns of b (n x n and n x m matrices, indices from 1) by elimination with full
    // pivoting. The inverse replaces a, the solutions replace b. Returns 0, or -1 when a pivot is exactly 0: then the
    // unknowns without a pivot are 0 and the others solve the remaining equations.
    int gaussj(double** a, int n, double** b, int m);
    // Zeroed matrices and vectors with the given index ranges.
    double** dmatrix(int firstRow, int lastRow, int firstColumn, int lastColumn);
    void free_dmatrix(double** matrix, int firstRow, int lastRow, int firstColumn, int lastColumn);
    int* ivector(int first, int last);
    void free_ivector(int* vector, int first, int last);

private:
    static int Checked(int i);
    template <class T>
    void Fit(const KrTAOI<T>* src, const KrAOI8* fitMask);

    // All that a fit replaces.
    struct Content {
        std::uint8_t excluded[kTerms] = {};
        char texts[kTerms][80] = {};
        double coefficients[kTerms] = {};
        std::int32_t everythingMasked = 1;
    } mContent;
};

}  // namespace KrN
