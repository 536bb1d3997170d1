// The colour matrices of video: from Y, U and V to red, green and blue. Pure functions, any thread.
#ifndef QUARN_GRAPHICS_COLOR_MATRIX_H_
#define QUARN_GRAPHICS_COLOR_MATRIX_H_

// Fills `matrix` (16 floats, rows of four) with the conversion of (Y, U, V, 1), each 0 to 1, to red, green and blue,
// and logs it at debug level. kb and kr are the luma coefficients; the ranges and the black level are code values of Y,
// U and V.
void initialize_matrix(float kb, float kr, float bit_range, const float* range_min, const float* range_max,
                       const float* black, float* matrix);

// The same for video of ITU-R BT.709 in 8 bits, whose code values use the full range (0 to 255) or the limited one (16
// to 235 for Y, 16 to 240 for U and V).
void InitializeFullRangeMatrix(float* matrix);
void InitializeLimitedRangeMatrix(float* matrix);

#endif  // QUARN_GRAPHICS_COLOR_MATRIX_H_
