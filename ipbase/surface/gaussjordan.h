#pragma once

namespace KrN {

// Solves a * x = b for the columns of b by Gauss-Jordan elimination with full pivoting; a is n x n, b n x m, and
// indices count from 1. The inverse replaces a, the solutions replace b. Returns -1 when no pivot is left that is
// greater than `precision` times the greatest element: then the unknowns without a pivot are 0 and the others solve the
// remaining equations. Else returns 0.
int EliminateGaussJordan(double** a, int n, double** b, int m, double precision);

}  // namespace KrN
