// How a viewer of a scene, an output or a view, takes it into use and lets it go.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_
#define QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_

class GraphicsContext;
class GsScene;

// One viewer's use of a scene: a reference on the host's object, and a use of the engine's. A scene is attached, and so
// rendered, exactly while at least one viewer uses it. Each step runs under the context's lock, so that viewers on
// several threads agree on who is the first and who the last.
//
// Any thread, without a lock that comes after the context's: a use that ends may run the host's code.
class [[nodiscard]] GsSceneUse {
 public:
  // A use of no scene.
  GsSceneUse() = default;
  // Takes `scene` into use, and attaches it for its first user. Null for no scene.
  explicit GsSceneUse(GsScene* scene);
  // Lets the scene go, if there is one, and detaches it after its last user.
  ~GsSceneUse();
  GsSceneUse(GsSceneUse&& other) noexcept;
  // Exchanges the two: `other` lets go of what this one had.
  GsSceneUse& operator=(GsSceneUse&& other) noexcept;

  // The use that a pointer from Leave stands for. Null for no scene.
  static GsSceneUse Adopt(GsScene* scene);
  // Hands the use to whoever keeps the pointer, until Adopt. The public classes keep it so: their fields are part of
  // the interface.
  [[nodiscard]] GsScene* Leave();

  // The context of the scene's device; null without one.
  static GraphicsContext* Context(GsScene* scene);

 private:
  GsScene* scene_ = nullptr;
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_SCENE_USE_H_
