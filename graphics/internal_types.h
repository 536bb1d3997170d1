// The engine's value types: vectors, placements, vertices and window handles.
#ifndef QUARN_GRAPHICS_INTERNAL_TYPES_H_
#define QUARN_GRAPHICS_INTERNAL_TYPES_H_

struct internal_vec2 {
  float x;
  float y;

  internal_vec2(float x_value, float y_value) : x(x_value), y(y_value) {}
};

struct internal_vec3 {
  float x;
  float y;
  float z;

  internal_vec3() : x(0.0f), y(0.0f), z(0.0f) {}
  internal_vec3(float x_value, float y_value, float z_value) : x(x_value), y(y_value), z(z_value) {}

  float dot(const internal_vec3& other) const { return (x * other.x + y * other.y) + z * other.z; }
};

struct internal_vec4 {
  float x;
  float y;
  float z;
  float w;

  internal_vec4() : x(0.0f), y(0.0f), z(0.0f), w(0.0f) {}

  internal_vec3 xyz() const { return internal_vec3(x, y, z); }
};

// Where a rectangle lands: its centre in pixels from the target's centre, y downwards; its size in pixels; radians
// about its centre.
struct internal_transform {
  internal_vec2 pos;
  internal_vec2 size;
  float rotation;

  internal_transform(const internal_vec2& pos_px, const internal_vec2& size_px, float rotation_rad)
      : pos(pos_px), size(size_px), rotation(rotation_rad) {}
  // Fills a target of that size exactly.
  internal_transform(const internal_vec2& size_px) : internal_transform(internal_vec2(0.0f, 0.0f), size_px, 0.0f) {}
};

// Has the layout of the public GsVertex.
struct GraphicsVertex {
  float position[3];
  float tex_coord[2];
};

// The host's native window that a view presents into; on X11 it holds the window's id.
struct InternalWindowInfo {
  void* window;
};

#endif  // QUARN_GRAPHICS_INTERNAL_TYPES_H_
