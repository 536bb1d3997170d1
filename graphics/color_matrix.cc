// The arithmetic of the colour matrices.
#include "graphics/color_matrix.h"

#include "foundation/logger.h"
#include "graphics/internal_types.h"

namespace {

// ITU-R BT.709.
constexpr float kKb = 0.0722f;
constexpr float kKr = 0.2126f;
constexpr float kBitRange = 256.0f - 1.0f;

void log_matrix(const float* m) {
  Logger::default_logger()->Debug("\n% f, % f, % f, % f\n% f, % f, % f, % f\n% f, % f, % f, % f\n% f, % f, % f, % f",
                                  m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9], m[10], m[11], m[12],
                                  m[13], m[14], m[15]);
}

}  // namespace

// The order of the operations decides the last bit of the entries. Kept: C25.
void initialize_matrix(float kb, float kr, float bit_range, const float* range_min, const float* range_max,
                       const float* black, float* matrix) {
  const float y_range = range_max[0] - range_min[0];
  const float u_range = (range_max[1] - range_min[1]) / 2.0f;
  const float v_range = (range_max[2] - range_min[2]) / 2.0f;

  const float y_scale = bit_range / y_range;
  const float u_scale = bit_range / u_range;
  const float v_scale = bit_range / v_range;

  const float kg = 1.0f - kb - kr;

  const internal_vec3 rows[] = {
      {y_scale, 0.0f, v_scale * (1.0f - kr)},
      {y_scale, u_scale * (kb - 1.0f) * kb / kg, v_scale * (kr - 1.0f) * kr / kg},
      {y_scale, u_scale * (1.0f - kb), 0.0f},
  };
  const internal_vec3 offset(-black[0] / bit_range, -black[1] / bit_range, -black[2] / bit_range);

  float* out = matrix;
  for (const internal_vec3& row : rows) {
    *out++ = row.x;
    *out++ = row.y;
    *out++ = row.z;
    *out++ = offset.dot(row);
  }
  *out++ = 0.0f;
  *out++ = 0.0f;
  *out++ = 0.0f;
  *out++ = 1.0f;

  log_matrix(matrix);
}

void InitializeFullRangeMatrix(float* matrix) {
  constexpr float kMin[] = {0.0f, 0.0f, 0.0f};
  constexpr float kMax[] = {255.0f, 255.0f, 255.0f};
  constexpr float kBlack[] = {0.0f, 128.0f, 128.0f};
  initialize_matrix(kKb, kKr, kBitRange, kMin, kMax, kBlack, matrix);
}

void InitializeLimitedRangeMatrix(float* matrix) {
  constexpr float kMin[] = {16.0f, 16.0f, 16.0f};
  constexpr float kMax[] = {235.0f, 240.0f, 240.0f};
  constexpr float kBlack[] = {16.0f, (16.0f + 240.0f) * 0.5f, (16.0f + 240.0f) * 0.5f};
  initialize_matrix(kKb, kKr, kBitRange, kMin, kMax, kBlack, matrix);
}
