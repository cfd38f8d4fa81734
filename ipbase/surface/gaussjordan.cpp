#include "ipbase/surface/gaussjordan.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace KrN {

namespace {

struct Pivot {
    int row = 0, column = 0;  // 0 when there is none
};

class GaussJordan {
public:
    GaussJordan(double** a, int n, double** b, int m)
        : mA(a), mB(b), mN(n), mM(m), mDone(static_cast<std::size_t>(n) + 1) {}

    int Run(double precision) {
        const double least = precision * Largest();
        for (int round = 0; round < mN; ++round) {
            const Pivot pivot = FindPivot(least);
            if (pivot.row == 0) {
                ClearUnsolved();
                return -1;
            }
            MoveToDiagonal(pivot);
            Scale(pivot.column);
            for (int i = 1; i <= mN; ++i)
                if (i != pivot.column) Eliminate(i, pivot.column);
        }
        // The interchanges of rows are undone as interchanges of the inverse's columns.
        for (std::size_t k = mPivots.size(); k-- > 0;)
            for (int i = 1; i <= mN; ++i) std::swap(mA[i][mPivots[k].row], mA[i][mPivots[k].column]);
        return 0;
    }

private:
    double Largest() const {
        double largest = 0.0;
        for (int i = 1; i <= mN; ++i)
            for (int j = 1; j <= mN; ++j) largest = std::max(largest, std::fabs(mA[i][j]));
        return largest;
    }

    bool IsDone(int i) const { return mDone[static_cast<std::size_t>(i)]; }

    // The largest element, if it is above the least, of the rows and columns that have had none.
    Pivot FindPivot(double least) const {
        Pivot pivot;
        for (int i = 1; i <= mN; ++i)
            for (int j = 1; j <= mN; ++j)
                if (!IsDone(i) && !IsDone(j) && std::fabs(mA[i][j]) > least) {
                    least = std::fabs(mA[i][j]);
                    pivot = {i, j};
                }
        return pivot;
    }

    void ClearUnsolved() {
        for (int i = 1; i <= mN; ++i)
            if (!IsDone(i)) std::fill(mB[i] + 1, mB[i] + mM + 1, 0.0);
    }

    // Interchanges rows so that the pivot stands in the row of its column's number.
    void MoveToDiagonal(const Pivot& pivot) {
        mDone[static_cast<std::size_t>(pivot.column)] = true;
        mPivots.push_back(pivot);
        if (pivot.row == pivot.column) return;
        std::swap_ranges(mA[pivot.row] + 1, mA[pivot.row] + mN + 1, mA[pivot.column] + 1);
        std::swap_ranges(mB[pivot.row] + 1, mB[pivot.row] + mM + 1, mB[pivot.column] + 1);
    }

    // Divides row k by its pivot; the inverse grows in the place of the eliminated column.
    void Scale(int k) {
        const double inverse = 1.0 / mA[k][k];
        mA[k][k] = 1.0;
        for (int j = 1; j <= mN; ++j) mA[k][j] *= inverse;
        for (int j = 1; j <= mM; ++j) mB[k][j] *= inverse;
    }

    void Eliminate(int i, int k) {
        const double factor = mA[i][k];
        mA[i][k] = 0.0;
        for (int j = 1; j <= mN; ++j) mA[i][j] -= mA[k][j] * factor;
        for (int j = 1; j <= mM; ++j) mB[i][j] -= mB[k][j] * factor;
    }

    double **mA, **mB;
    int mN, mM;
    std::vector<bool> mDone;  // rows and columns that have had a pivot
    std::vector<Pivot> mPivots;
};

}  // namespace

int EliminateGaussJordan(double** a, int n, double** b, int m, double precision) {
    return GaussJordan(a, n, b, m).Run(precision);
}

}  // namespace KrN
