// Positions, sizes and placements. Words and tags: quarn.h.
//
// Pixels of a render target are counted from its centre: x grows to the right, y grows downwards.
#ifndef QUARN_GS_TYPES_H_
#define QUARN_GS_TYPES_H_

#include <quarn/export.h>

struct internal_vec2;
struct internal_vec3;
struct internal_transform;

// Two floats.
//
// Thread: caller-serialised.
struct QUARN_EXPORT gs_vec2 {
  float x;
  float y;

  // (0, 0).
  gs_vec2() : x(0.0f), y(0.0f) {}
  // (`x_value`, `y_value`), which may be any numbers: whoever takes them says in what they are counted.
  gs_vec2(float x_value, float y_value) : x(x_value), y(y_value) {}
  gs_vec2(const gs_vec2&) = default;
  gs_vec2& operator=(const gs_vec2&) = default;

  // Both values times `scale`, which may be any number.
  gs_vec2 operator*(float scale) const { return gs_vec2(x * scale, y * scale); }
  // The sums of the values.
  gs_vec2 operator+(const gs_vec2& other) const { return gs_vec2(x + other.x, y + other.y); }

  // For the library's own use.
  operator internal_vec2() const;
};

// Three floats.
//
// Thread: caller-serialised.
struct QUARN_EXPORT gs_vec3 {
  float x;
  float y;
  float z;

  // (`x_value`, `y_value`, `z_value`), which may be any numbers: whoever takes them says what they count.
  gs_vec3(float x_value, float y_value, float z_value) : x(x_value), y(y_value), z(z_value) {}

  // For the library's own use.
  operator internal_vec3() const;
};

// Where a rectangle lands on a render target.
//
// Thread: caller-serialised.
struct QUARN_EXPORT gs_transform {
  gs_vec2 pos;     // Its centre, in pixels from the centre of the target, y downwards.
  gs_vec2 size;    // Its width and height in pixels.
  float rotation;  // Radians about its centre; positive turns clockwise on the screen.

  // A rectangle. With a number that is not finite it is undefined what is drawn.
  //
  // `pos_px`: its centre, in pixels from the centre of the target, y downwards; any finite numbers. What lies
  // outside the target is cut off.
  // `size_px`: its width and height in pixels, any finite numbers: a side of 0 draws nothing, a negative one mirrors.
  // `rotation_rad`: radians about its centre, any finite number; positive turns clockwise on the screen.
  gs_transform(const gs_vec2& pos_px, const gs_vec2& size_px, float rotation_rad)
      : pos(pos_px), size(size_px), rotation(rotation_rad) {}
  // A rectangle that is not rotated.
  //
  // `pos_px`, `size_px`: pixels, as above.
  gs_transform(const gs_vec2& pos_px, const gs_vec2& size_px) : gs_transform(pos_px, size_px, 0.0f) {}

  // For the library's own use.
  operator internal_transform() const;
};

#endif  // QUARN_GS_TYPES_H_
