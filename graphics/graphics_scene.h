// The engine's side of a scene.
#ifndef QUARN_GRAPHICS_GRAPHICS_SCENE_H_
#define QUARN_GRAPHICS_GRAPHICS_SCENE_H_

class GraphicsTexture;

class GraphicsScene {
 public:
  class DrawCallback {
   public:
    virtual ~DrawCallback() = default;
    virtual void Draw() = 0;
  };

  virtual ~GraphicsScene() = default;
  virtual void Attach(DrawCallback* callback) = 0;
  virtual void Detach() = 0;
  virtual unsigned int width() = 0;
  virtual unsigned int height() = 0;
  virtual void Draw() = 0;
  // The use count: how many views and outputs show the scene.
  virtual void AddRef() = 0;
  virtual void ReleaseRef() = 0;
  virtual bool HasRef() = 0;
  virtual GraphicsTexture* texture() = 0;
};

// Says which of the host's objects a scene is of, before anything uses it. Nothing happens for null, and for a scene
// that is not the engine's own.
void SetSceneOwner(GraphicsScene* scene, const void* owner);

#endif  // QUARN_GRAPHICS_GRAPHICS_SCENE_H_
