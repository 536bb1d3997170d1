// How a viewer of a scene, an output or a view, takes it into use and lets it go.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_
#define QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_

class GraphicsContext;
class GsScene;

// A scene is attached, and so rendered, exactly while at least one viewer uses it. Each step runs under the context's
// lock, so that viewers on several threads agree on who is the first and who the last.
class GsSceneUse {
 public:
  // Takes a host reference and a use reference; attaches the scene for its first user.
  static void Acquire(GsScene* scene);
  // Gives both back; detaches the scene after its last user.
  static void Release(GsScene* scene);
  // The context of the scene's device; null without one.
  static GraphicsContext* Context(GsScene* scene);
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_
