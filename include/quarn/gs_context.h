// Drawing, from inside a frame callback. Words and tags: quarn.h.
#ifndef QUARN_GS_CONTEXT_H_
#define QUARN_GS_CONTEXT_H_

#include <quarn/export.h>
#include <quarn/gs_types.h>

class GsDevice;

// A vertex of DrawVertexArray.
struct GsVertex {
  float position[3];   // x, y, z
  float tex_coord[2];  // u, v
};

// The drawing operations of a device; a small value to make on the stack.
//
//   GsContext context(device);
//   if (context.BindShader("rgba")) {
//     GsTextureBinder binder(texture);
//     context.DrawRect(gs_transform(pos(), size(), rotation()));
//     context.UnbindShader();
//   }
//
// When the Draw of a scene, a filter or a view begins, the viewport is the whole of what it draws into.
//
// At any other time than inside a frame callback, or while a context of the host's own is current, nothing happens; the
// first such call is logged as an error. Without a device nothing happens.
//
// Thread: render, inside a frame callback.
class QUARN_EXPORT GsContext {
 public:
  // The operations of one device.
  //
  // `device`: unlike elsewhere, null means none.
  //
  // Ownership: `device` stays the caller's.
  explicit GsContext(GsDevice* device);

  // Returns whether there is a device, and it can draw.
  //
  // Thread: any.
  bool valid() const;

  // Makes a program current. A built-in one is compiled when it is first asked for.
  //
  // `name`: "rgba" (a texture as it is), "to_bgra", or one of GsDevice::AddShader; null is none of them.
  // Returns false when there is no such program; the current one then stays.
  bool BindShader(const char* name);
  // Leaves no program current.
  void UnbindShader();
  // Returns the width and height in pixels of what is being drawn into: the scene, the filter or the view whose Draw
  // runs. (0, 0) outside of a Draw, and without a device.
  //
  // Thread: any; another than the render thread is told (0, 0).
  gs_vec2 target_size() const;
  // Sets the part of the target to draw into, for all that is drawn next, by other items too: whoever sets a part of
  // the target sets the whole of it again.
  //
  // `x`, `y`: pixels from the target's lower left corner, 0 to 2^31-1; a larger number counts as 2^32 less. What lies
  // beyond the target is cut off.
  // `width`, `height`: pixels, 0 to the driver's largest viewport, which larger ones are cut to. Above 2^31-1 all stays
  // as it was, with a warning in the log.
  void SetViewport(unsigned int x, unsigned int y, unsigned int width, unsigned int height);
  // Draws a rectangle with the current program. Nothing is drawn without one.
  //
  // `transform`: where the rectangle goes.
  // `target_size`: the width and height of the target in pixels, each greater than 0; with others it is undefined what
  // is drawn.
  void DrawRect(const gs_transform& transform, const gs_vec2& target_size);
  // Draws a rectangle with the current program into a target of target_size(). Outside of a Draw nothing happens; the
  // first such call is logged as an error.
  //
  // `transform`: where the rectangle goes.
  void DrawRect(const gs_transform& transform);
  // Reserved: the device of this version only logs a warning.
  void DrawVertexArray(GsVertex* vertices, unsigned int vertex_count, unsigned int* indices, unsigned int index_count,
                       const gs_transform& transform, const gs_vec2& target_size);

 private:
  GsDevice* device_;
};

// The operations of GsContext on the default device. While there is none, nothing happens.
//
// Thread: render, inside a frame callback.
namespace GsContextDefault {
// Makes a program current.
//
// `name`: as GsContext::BindShader takes it.
// Returns false when there is no such program, and without a default device; the current one then stays.
QUARN_EXPORT bool BindShader(const char* name);
// Leaves no program current.
QUARN_EXPORT void UnbindShader();
// Returns the width and height in pixels of what is being drawn into. (0, 0) outside of a Draw, and without a default
// device.
//
// Thread: any; another than the render thread is told (0, 0).
QUARN_EXPORT gs_vec2 target_size();
// Sets the part of the target to draw into, until it is set again.
//
// `x`, `y`, `width`, `height`: pixels, as GsContext::SetViewport takes them.
QUARN_EXPORT void SetViewport(unsigned int x, unsigned int y, unsigned int width, unsigned int height);
// Draws a rectangle with the current program. Nothing is drawn without one.
//
// `transform`: where the rectangle goes.
// `target_size`: pixels, as GsContext::DrawRect takes it; without it that of target_size(), and nothing is drawn
// outside of a Draw.
QUARN_EXPORT void DrawRect(const gs_transform& transform, const gs_vec2& target_size);
QUARN_EXPORT void DrawRect(const gs_transform& transform);
// Reserved: the device of this version only logs a warning.
QUARN_EXPORT void DrawVertexArray(GsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                                  unsigned int index_count, const gs_transform& transform, const gs_vec2& target_size);
}  // namespace GsContextDefault

#endif  // QUARN_GS_CONTEXT_H_
