// Views: a scene in a window of the host's, with the editing overlay.
#ifndef QUARN_GS_VIEW_H_
#define QUARN_GS_VIEW_H_

#include <quarn/export.h>
#include <quarn/gs_types.h>
#include <quarn/qn_mutex.h>
#include <quarn/ref_count.h>

class GraphicsTexture;
class GraphicsView;
class GsDevice;
class GsItem;
class GsScene;
class GsViewOnDraw;

// Where a view presents.
struct GsWindowInfo {
  // The native window, for instance an X11 Window id: reinterpret_cast<void*>(static_cast<uintptr_t>(id)). It stays the
  // host's, and may be made by any toolkit and connection.
  void* window = nullptr;
};

// What every view shares: a place on the screen and a scene. Hosts derive from it to draw in their own way, or take
// GsViewImpl.
//
// A window that goes away, has no size or cannot be presented to costs the picture and one line in the log, nothing
// else.
//
// Thread: caller-serialised, Draw excepted.
class QUARN_EXPORT GsView {
 public:
  // A view in `info.window`, `width` x `height` pixels large. A null `device` means the default device; without any the
  // view is inert.
  //
  // Blocks: for the running stage of a frame.
  GsView(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device);
  // Detach first where Draw is overridden. Lets go of the scene.
  //
  // Blocks: for the running stage of a frame.
  virtual ~GsView();
  GsView(const GsView&) = delete;
  GsView& operator=(const GsView&) = delete;

  // Starts the drawing, once a frame, in the order in which views were attached. The spelling is part of the interface
  // and stays. Attaching twice changes nothing.
  //
  // Blocks: for the running stage of a frame.
  void Attch();
  // Ends the drawing: when it returns, Draw does not run any more. The window keeps its last picture.
  //
  // Blocks: for the running stage of a frame. Not from Draw.
  void Detach();

  // Shows `scene` from the next frame on and keeps it in use, and so rendered; null shows nothing but the background.
  //
  // Blocks: for the running stage of a frame.
  // Ownership: takes a reference on the scene, and drops the one on the scene before.
  virtual void SetScene(GsScene* scene);
  // The scene shown, or null. Thread: any.
  GsScene* scene();
  // The same with a reference of the caller's own. Not while another thread calls SetScene.
  scoped_refptr<GsScene> scene_ptr();

  // The size in pixels last asked for; 0 for an inert view.
  unsigned int width();
  unsigned int height();
  // Tells the view that its window has another size, in pixels. A size of 0 stops the drawing. The picture follows
  // within the next frames: see qn_main_queue.h. Thread: any.
  virtual void Resize(unsigned int width, unsigned int height);
  // The colour behind and beside the scene, each part 0 to 1. Opaque black at first. Thread: any.
  void SetBackgroundColor(float r, float g, float b, float a);

  // Draws a frame; nothing by default.
  //
  // Thread: render, with the GL context current and the view's picture bound; called by the library.
  // Callback safety: as GsScene::Draw; must not detach or destroy the view.
  virtual void Draw();

  // For the library's own use.
  GraphicsView* impl() const;

 protected:
  // Guards the scene and serialises drawing. Recursive.
  QNMutex mutex_;

 private:
  GraphicsView* impl_ = nullptr;
  GsScene* scene_ = nullptr;
  GsViewOnDraw* on_draw_ = nullptr;
};

// A view that fits the scene, with a margin of five pixels on each side of the limiting direction, and draws the
// editing overlay: a blue frame round each hovered item, a red one with eight handles round each selected one, and
// green guide lines.
class QUARN_EXPORT GsViewImpl : public GsView {
 public:
  GsViewImpl(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device);
  ~GsViewImpl() override;

  void SetScene(GsScene* scene) override;
  void Resize(unsigned int width, unsigned int height) override;
  void Draw() override;

  // Puts a vertical (X) or horizontal (Y) guide line at that many view pixels from the view's centre, x to the right
  // and y downwards; NaN takes it away. Thread: any.
  void SetClampX(float x);
  void SetClampY(float y);

  // View pixels per scene pixel; 0 without a scene and while anything has no size. Item positions are in scene pixels
  // from the centre: times the scale, they are view pixels from the view's centre. Thread: any.
  float scale() const;
};

#endif  // QUARN_GS_VIEW_H_
