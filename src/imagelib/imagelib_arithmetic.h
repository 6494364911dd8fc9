// Arithmetic in place: an image with a constant or with another image of the same layout.
//
// Integer samples are clamped to their range and rounded to nearest; floats are stored as they come. In the masked
// forms channel i is touched where bit i of the mask is set.
#pragma once

#include "imagelib/imagelib.h"

bool image_add_constant(K7Image* image, float c);
bool image_multiply_constant(K7Image* image, float c);
bool image_multiply_constant_masked(K7Image* image, float c, int mask);
bool image_divide_constant(K7Image* image, float c);  // unchanged where |c| is below 0.000001

bool image_add_image(K7Image* a, const K7Image* b);
bool image_subtract_image(K7Image* a, const K7Image* b);
bool image_multiply_image(K7Image* a, const K7Image* b);  // integers as raw products
bool image_multiply_image_masked(K7Image* a, const K7Image* b, int mask);
bool image_multiply_image_scaled(K7Image* a, const K7Image* b);  // integers as fractions of the full value
bool image_multiply_image_scaled_masked(K7Image* a, const K7Image* b, int mask);

// The same by operator, for those that have no function of their own.
enum class ConstantOperator { add = 1, subtract = 2, multiply = 3, divide = 5, reverse_subtract = 6 };  // last: c - s
enum class ImageOperator { add = 1, subtract = 2, multiply = 3, multiply_scaled = 4, divide = 5 };

// `divide` by an image leaves a as it was where the magnitude of b is 0.000001 or less.
bool image_arithmetic_constant(K7Image* image, ConstantOperator op, float c, int mask = -1);
bool image_arithmetic_image(K7Image* a, ImageOperator op, const K7Image* b, int mask = -1);
