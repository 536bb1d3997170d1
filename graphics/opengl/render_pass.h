// One pass: a target is bound, cleared and drawn into, and what that needed is undone.
//
//   RenderPass pass(context(), target, options, __FILE__);
//   if (pass.begun()) DrawRect(...);
//
// Used by the thread that has the GL context current, under the context's lock.
#ifndef QUARN_GRAPHICS_OPENGL_RENDER_PASS_H_
#define QUARN_GRAPHICS_OPENGL_RENDER_PASS_H_

#include <array>
#include <optional>

#include "graphics/opengl/gl_scope.h"

class GraphicsTextureGL;

// The clear, blending and the checks of a pass, and their order, must stay. Kept: C36. So a pass does not ask GL for
// what it finds of them and gives none of them back: it leaves its clear colour and its blend function set, blending
// off, and no target bound. A pass that does not blend relies on blending being off, and does not turn it off: every
// pass leaves it so, and a host's callback must leave it so too. The clear colour and the blend function are set by
// every pass that uses them, and nothing of the engine reads them otherwise. Programs and textures that are given back
// within a pass linger to its end (DrawBindings).
class RenderPass {
 public:
  struct Options {
    bool clear = true;  // Whether the target is cleared first; if not, the whole of it is drawn over.
    std::array<float, 4> clear_color = {0.0f, 0.0f, 0.0f, 1.0f};  // Red, green, blue, alpha: opaque black.
    bool whole_viewport = false;                                  // Whether the viewport is made the whole target.
    bool blend = false;            // Whether what is drawn is blended over what is there, by its alpha.
    bool check_each_call = false;  // Whether GL's errors are asked for after every call, and after the drawing.
  };

  // Binds and clears the target, and begins to blend. A check that finds an error logs `file`, which tells whose pass
  // it is, with the line of the check in render_pass.cc, which tells after which call.
  RenderPass(GraphicsContextGL* context, GraphicsTextureGL* target, const Options& options, const char* file);
  // Ends the drawing, if that was not done, and releases the target.
  ~RenderPass();
  RenderPass(const RenderPass&) = delete;
  RenderPass& operator=(const RenderPass&) = delete;

  // Whether a pass that draws a texture over its target would draw it whole and as it is. What a host's own GL has left
  // behind, against the rules, may stand in between: blending, a logic operation, culling, discarding, scissors, a
  // colour mask, polygons that are not filled, and a sampler on the first unit, which is the active one.
  static bool DrawsWhole(const GraphicsContextGL& context);

  // Whether the target could be bound; if not, the log says why, and there is nothing to draw into or to undo.
  bool begun() const { return begun_; }

  // Ends blending, with the target still bound: for what belongs between the two. Returns false, with nothing undone,
  // when a callback of the host's has made another context current and this one cannot be made so again.
  bool EndDrawing();

 private:
  void Check(int line) const;

  GraphicsContextGL* context_;
  const Options options_;
  const char* file_;
  bool begun_;
  std::optional<ScopedBind> again_;  // From EndDrawing to the end.
};

#endif  // QUARN_GRAPHICS_OPENGL_RENDER_PASS_H_
