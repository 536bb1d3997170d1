// Views: a scene in a window of the host's, with the editing overlay. Words and tags: quarn.h.
#ifndef QUARN_GS_VIEW_H_
#define QUARN_GS_VIEW_H_

#include <atomic>
#include <limits>

#include <quarn/export.h>
#include <quarn/gs_item.h>
#include <quarn/gs_types.h>
#include <quarn/qn_mutex.h>
#include <quarn/ref_count.h>

class GraphicsContext;
class GraphicsTexture;
class GraphicsView;
class GsDevice;
class GsScene;
class GsViewOnDraw;

// Where a view presents: a window of the X server and screen that DISPLAY names, or a surface of the Wayland connection
// that qn_set_native_display names. The view shows in a window of its own inside that, of the view's size, at the upper
// left corner or where GsView::Move puts it, which takes no input: to the pointer there is the host's window only. A
// window may have several views; of those that overlap the later lies on top.
struct GsWindowInfo {
  // The native window, which stays the host's. X11: the Window id, reinterpret_cast<void*>(static_cast<uintptr_t>(id)),
  // made by any toolkit and connection. One that is not there yet, for its connection was not flushed, is looked for
  // again while frames are drawn, for about a dozen seconds from the beginning, from each Resize and from each
  // SetWindow; the log says so once. Wayland: the wl_surface*; see qn_native_display.h.
  void* window = nullptr;
};

// What became of the pictures of a view since it was made. Each count begins anew at 0 after 4,294,967,295. Of the
// pictures that were drawn the newest two may be neither presented nor skipped yet.
struct GsViewCounts {
  // Pictures that were drawn whole: one a frame, while the view is attached, has a size, and keeps it.
  unsigned int drawn;
  // Those that were handed to the window system.
  unsigned int presented;
  // Those that never will be: a newer one came before the window system was ready, or there is no window for them.
  unsigned int skipped;
};

// What there is under a point of a view, as GsViewImpl::HitTest answers it: nothing, an item, or one of the handles of
// a selected item, named after the corner or the side where it lies when the item is not turned.
enum GsHandle {
  kGsHandleNone,         // Nothing.
  kGsHandleBody,         // The item itself.
  kGsHandleTopLeft,      // A corner.
  kGsHandleTopRight,     // A corner.
  kGsHandleBottomLeft,   // A corner.
  kGsHandleBottomRight,  // A corner.
  kGsHandleLeft,         // The middle of a side.
  kGsHandleTop,          // The middle of a side.
  kGsHandleRight,        // The middle of a side.
  kGsHandleBottom,       // The middle of a side.
};

// An item, and where it was hit.
struct GsHit {
  scoped_refptr<GsItem> item;       // With a reference of the caller's own; null for kGsHandleNone.
  GsHandle handle = kGsHandleNone;  // What of the item it is.
};

// What every view shares: a place on the screen and a scene. Hosts derive from it to draw in their own way, or take
// GsViewImpl.
//
// Pictures are presented without waiting for the screen's refresh, by a thread of the library's; under Wayland when the
// compositor asks for one, which it does not while it does not show the window: then the newest waits. A frame hands
// its picture over and goes on: it waits neither for that thread nor for the window system. Of the pictures that come
// meanwhile the newest is shown, the others are skipped: Counts tells how many. A view has one image of its size for
// that, and up to three while its window is slow. The making and the end of a view, and another window for it, wait
// for the window system, a quarter of a second at most, and once that was in vain not again until it has caught up; in
// a callback or a queued task, where a frame would wait as well, not at all. Where OpenGL is software, presenting
// copies the whole picture on the processor.
//
// A window that goes away, has no size or cannot be presented to costs the picture and one line in the log, nothing
// else.
//
// Thread: caller-serialised; all of it may run while the view is drawn.
class QUARN_EXPORT GsView {
 public:
  // A view in a window, which shows nothing until Attch. Without a device the view is inert.
  //
  // `info`: the window.
  // `width`, `height`: the view's size in pixels, as Resize takes them.
  //
  // Blocks: stage.
  GsView(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device = nullptr);
  // Destroys the view, and lets go of the scene. Detach first.
  //
  // Thread: not from a Draw, of any object.
  // Blocks: stage.
  virtual ~GsView();
  GsView(const GsView&) = delete;
  GsView& operator=(const GsView&) = delete;

  // Shows a scene from the next frame on and keeps it in use, and so rendered.
  //
  // `scene`: null shows nothing but the background. A scene of another device than the view's is kept in use but its
  // picture is not shown, and the log says so.
  //
  // Thread: caller-serialised; not from a Draw, when it drops the last reference of the scene before.
  // Blocks: stage.
  // Ownership: takes a reference on the scene, and drops the one on the scene before.
  virtual void SetScene(GsScene* scene);
  // Tells the view that its window has another size. The picture follows within the next frames: see qn_main_queue.h.
  //
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side. With a side of 0 nothing
  // is drawn until there is another size; with a longer one neither, with a warning in the log.
  //
  // Thread: any.
  // Blocks: while the view is drawn.
  virtual void Resize(unsigned int width, unsigned int height);
  // Draws a frame; nothing by default. Blending is on, and the viewport is the whole view.
  //
  // Thread: render, with the GL context current and the view's picture bound; called by the library.
  // Callback safety: frame callback; may detach the view, and must not destroy it.
  virtual void Draw();

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Puts the view at another place in its window, as a toolkit does that draws everything into one window. It stays
  // there: after a Resize, in a window that is found later, and in that of a SetWindow.
  //
  // `x`, `y`: where the view's upper left corner lies, in pixels of the host's window to the right of its upper left
  // corner and below; (0, 0) at first. Any value: what lies outside the window is cut off.
  //
  // Thread: any; also while the view is drawn, and in its Draw.
  // Blocks: no.
  void Move(int x, int y);
  // Presents in another window from the next frame on, and leaves the one before, which may be destroyed already: for
  // views that are docked elsewhere. All else stays: scene, size, place, Counts, and whether the view is attached. In
  // the window that it is shown in already nothing changes.
  //
  // `info`: the window, of which qn_native_display.h tells more. Where there is none the log says so.
  //
  // Thread: any; also while the view is drawn, and in its Draw.
  // Blocks: as the making of a view does, for the window system; in a callback or a queued task not at all.
  void SetWindow(const GsWindowInfo& info);

  // Starts the drawing, once a frame, in the order in which views were attached. The spelling is part of the interface
  // and stays. Attaching twice changes nothing.
  //
  // Blocks: stage.
  void Attch();
  // Ends the drawing: when it returns, Draw does not run any more (but the one that it is called from). The window
  // keeps its last picture.
  //
  // Blocks: stage.
  void Detach();

  // Returns the scene shown, or null.
  //
  // Thread: any.
  // Blocks: while the view is drawn.
  // Ownership: the scene is not counted; scene_ptr() takes a reference.
  GsScene* scene();
  // Returns the scene shown with a reference of the caller's own, and without waiting.
  //
  // Thread: any; not while another thread calls SetScene.
  scoped_refptr<GsScene> scene_ptr();

  // Returns the width last asked for, in pixels; 0 for an inert view.
  //
  // Thread: any.
  unsigned int width() const;
  // Returns the height last asked for, in pixels; 0 for an inert view.
  //
  // Thread: any.
  unsigned int height() const;
  // Sets the colour behind and beside the scene. Opaque black at first.
  //
  // `r`, `g`, `b`, `a`: each 0 to 1; beyond that it is the nearest of the two, and what NaN is, is undefined.
  //
  // Thread: any.
  void SetBackgroundColor(float r, float g, float b, float a);

  // Returns how many pixels of the view lie on one unit of its window: 1 under X11 and without a window; under Wayland
  // the scale of its screen, such as 1.5, by which what toolkits tell is multiplied; an estimate until it is shown.
  //
  // Thread: any; it may change at any time.
  float WindowScale() const;

  // Tells how many pictures were drawn, and how many of them were presented and skipped.
  //
  // Returns the counts of this moment. An inert view has drawn none.
  //
  // Thread: any.
  // Blocks: no.
  GsViewCounts Counts() const;

  // For the library's own use.
  GraphicsView* impl() const;

 protected:
  // For the library's own use: puts in place a scene that is in use already, or null, and returns the one before.
  //
  // Blocks: while the view is drawn.
  GsScene* ExchangeScene(GsScene* scene);
  // For the library's own use: what destruction must do while Draw is still that of the class.
  //
  // Blocks: stage.
  void DetachForDestruction();
  // For the library's own use: whether `scene` has a picture that can be drawn into this view.
  bool CanShow(GsScene* scene) const;

 private:
  friend class GsViewOnDraw;

  GraphicsView* impl_ = nullptr;
  GsScene* scene_ = nullptr;

 protected:
  // Guards the scene, which stays alive while it is held, and serialises the drawing. Recursive. A thread that holds it
  // outside Draw must not attach, detach, create or destroy anything, nor walk the items of a scene.
  QNMutex mutex_;

 private:
  GsViewOnDraw* on_draw_ = nullptr;
  GraphicsContext* context_ = nullptr;  // Its lock orders attaching and detaching.
};

// A view that fits the scene, with a margin of five pixels on each side of the limiting direction, and draws the
// editing overlay over it: a blue frame round each hovered item, a red one with eight handles round each selected one,
// hidden items left out, and green guide lines.
//
// It draws with the default device's context, so that device should be the view's as well. Where it is not, what is
// shown is undefined, and drawing takes that context's lock last: no callback of the default device may then create,
// attach, detach or destroy objects of the view's device.
//
// Thread: as GsView.
class QUARN_EXPORT GsViewImpl : public GsView {
 public:
  // A view in the window that `info` names, `width` and `height` pixels large: see GsView's constructor.
  //
  // Blocks: stage.
  GsViewImpl(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device = nullptr);
  ~GsViewImpl() override;

  // Shows `scene`, or nothing where that is null, as GsView::SetScene does. It is fitted at once.
  //
  // Blocks: stage, and while the view is drawn.
  void SetScene(GsScene* scene) override;
  // Takes another size, `width` and `height` in pixels, as GsView::Resize does. The scene is fitted to it at once.
  void Resize(unsigned int width, unsigned int height) override;
  // Calls DefaultDraw. An override may draw more, before or after.
  void Draw() override;

  // Puts a vertical guide line, two pixels wide, into the view.
  //
  // `x`: view pixels from the view's centre, to the right; any value, of which NaN takes the line away.
  //
  // Thread: any.
  void SetClampX(float x);
  // Puts a horizontal guide line, two pixels wide, into the view.
  //
  // `y`: view pixels from the view's centre, downwards; any value, of which NaN takes the line away.
  //
  // Thread: any.
  void SetClampY(float y);

  // Returns view pixels per scene pixel; 0 without a scene, while anything has no size, and where the margin is all
  // there is. A view under 10 pixels in the limiting direction, which has no room for the margin, has an enormous
  // scale: part of the interface.
  //
  // Thread: any.
  float scale() const;
  // Returns where the view's upper left corner lies, in view pixels from its centre: half its size, negated. (0, 0)
  // without a scene; what it was before while anything has no size.
  //
  // Thread: any.
  gs_vec2 offset() const;

  // Returns which position of the scene, counted as GsItem::pos is, lies at a point of the view:
  //
  //   (view_point + offset()) * (1 / scale())
  //
  // `view_point`: view pixels from the view's upper left corner. The middle of the first pixel is (0.5, 0.5). Any
  // value: points beside the scene have positions, too.
  // Returns (0, 0) while scale() is 0.
  //
  // Thread: any.
  gs_vec2 ToScene(gs_vec2 view_point) const;
  // Returns at which point of the view a position of the scene lies: the inverse of ToScene.
  //
  // `scene_point`: counted as GsItem::pos is; any value.
  // Returns view pixels from the view's upper left corner; (0, 0) while scale() is 0.
  //
  // Thread: any.
  gs_vec2 ToView(gs_vec2 scene_point) const;
  // Finds what lies under the pointer: of the handles that the overlay draws those of the topmost selected item that
  // has one there, and of these the nearest; else the topmost item whose rectangle, turned as the item is, holds the
  // point. Hidden items are left out, and what covers a handle is not asked.
  //
  //   const GsHit hit = view.HitTest(gs_vec2(pointer_x + 0.5f, pointer_y + 0.5f));
  //   if (hit.item) hit.item->SetSelected(true);
  //
  // `point`: view pixels from the view's upper left corner, which is where Move has put it; any value.
  // Returns the item and its part; no item and kGsHandleNone where there is none, and while scale() is 0.
  //
  // Thread: any.
  // Blocks: while the view is drawn.
  // Ownership: the answer has a reference on the item.
  GsHit HitTest(gs_vec2 point);

 protected:
  // What Draw is made of.

  // Draws the scene, the frames of its items in their order, the guide lines.
  //
  // Thread: render, inside Draw.
  // Blocks: no: the frame holds what it takes.
  void DefaultDraw();
  // Draws the scene's picture in the middle of the view.
  //
  // `width`, `height`: the picture's size in view pixels, any value: what lies outside the view is cut off.
  //
  // Thread: render, inside Draw.
  // Blocks: no: the frame holds what it takes.
  void DrawSceneTexture(unsigned int width, unsigned int height);
  // Draws the frame of an item, with handles when it is selected; whether it is visible is not asked.
  //
  // `item`: null is ignored.
  //
  // Thread: render, inside Draw.
  void DrawEditingItem(GsItem* item);

  // Works out scale() and offset() for the present scene and size.
  //
  // Thread: any.
  // Blocks: while the view is drawn.
  void ResizePreview();

 private:
  GraphicsTexture* hover_texture_ = nullptr;
  GraphicsTexture* select_texture_ = nullptr;
  GraphicsTexture* guide_texture_ = nullptr;
  std::atomic<float> scale_{0.0f};
  std::atomic<float> offset_x_{0.0f};
  std::atomic<float> offset_y_{0.0f};
  std::atomic<float> clamp_x_{std::numeric_limits<float>::quiet_NaN()};
  std::atomic<float> clamp_y_{std::numeric_limits<float>::quiet_NaN()};
};

#endif  // QUARN_GS_VIEW_H_
