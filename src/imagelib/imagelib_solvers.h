// Least squares through singular values, and the projective map fitted with it.
#pragma once

#include "imagelib/imagelib_vectors.h"

// The x for which |matrix x - rhs| is least, the shortest one where several are. With a threshold above 0, singular
// values below threshold times the largest count as 0. False, and the solution untouched, when an array is not valid,
// the lengths do not fit (rhs: rows, solution: columns) or an element is not finite.
bool solve_least_squares(const K7Matrix& matrix, const K7Vector& rhs, K7Vector& solution, double threshold);

// The projective map that takes source points to target points (x, y pairs), exactly for four points in general
// position, in the sense of least squares for more. The matrix is stored row by row and multiplies columns
// (x, y, 0, 1); u, v are the first two results over the last one:
//
//     a b 0 c
//     d e 0 f      u = (a x + b y + c) / (g x + h y + 1)
//     0 0 1 0      v = (d x + e y + f) / (g x + h y + 1)
//     g h 0 1
//
// 0: done. 1: fewer than four points. 2: null or not finite points, or no solution. The matrix is the identity then.
int solve_homography(const float* source_points, const float* target_points, int count, float matrix[16]);
