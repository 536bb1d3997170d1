// A scene: an off-screen canvas on which items are drawn every frame. Words and tags: quarn.h.
#ifndef QUARN_GS_SCENE_H_
#define QUARN_GS_SCENE_H_

#include <memory>

#include <quarn/export.h>
#include <quarn/ref_count.h>

class GraphicsContext;
class GraphicsScene;
class GsDevice;
class GsItem;
class GsItemList;
class GsSceneOnDraw;
class GsSceneUse;
class GsTexture;

// A canvas of a fixed size with a list of items, the first at the bottom. It starts opaque black every frame and is
// rendered only while it is in use. Counted by reference: see RefCounted.
//
// An item may be in two scenes: it is ticked once a frame and drawn in both. Removing it from either, and taking either
// out of use, stops its ticks in both.
//
// A scene may be part of another one's picture: an item there draws texture(), as a GsPictureItem does by itself
// (gs_picture_item.h). Within a frame it is drawn before the scenes that show it, so that they show its picture of the
// same frame. An item of the host's own that draws texture() has that from the second frame on: the first tells that it
// does. Of scenes that show each other, and in a scene that shows itself, the picture of the frame before is what is
// shown; of the latter a copy is made in each frame.
//
// Thread: any, also while the scene is rendered.
class QUARN_EXPORT GsScene : public RefCountInterface {
 public:
  // A canvas of that size, without items.
  //
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side; otherwise, and without a
  // device, the scene is inert.
  //
  // Blocks: stage.
  GsScene(unsigned int width, unsigned int height, GsDevice* device = nullptr);
  // Lets go of the items. Destroy a scene only when no output or view uses it.
  //
  // Thread: caller-serialised with every other use; not in a frame callback.
  // Blocks: stage.
  ~GsScene() override;

  // Draws one frame: by default Draw of every visible item in order. An override may replace or extend it. Blending is
  // on, and the viewport is the whole canvas.
  //
  // Thread: render, with the GL context current and the canvas bound; called by the library.
  // Callback safety: frame callback.
  virtual void Draw();

  GsScene(const GsScene&) = delete;
  GsScene& operator=(const GsScene&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Starts the rendering of the scene and the ticks of its items. Outputs and views call it; a host has no need to.
  //
  // Blocks: stage.
  void Attach();
  // Stops what Attach started. Outputs and views call it; a host has no need to.
  //
  // Blocks: stage.
  void Detach();

  // Puts an item on top. One already in the list stays where it is.
  //
  // `item`: null is ignored. One that is in the list already has its ticks begin again, where they had ended and the
  // scene is in use. One of another device is added all the same, with an error line: what it draws is not for this
  // scene. Where memory is missing it is not added, with an error line.
  //
  // Blocks: stage.
  // Ownership: takes a reference on the item.
  void AddItem(GsItem* item);
  // Takes an item out; its ticks have ended when the call returns.
  //
  // `item`: null is ignored. The ticks of one that is not in the list end all the same. Where memory is missing it
  // stays in the list, unticked, with an error line.
  //
  // Blocks: stage.
  // Ownership: drops the list's reference.
  void RemoveItem(GsItem* item);
  // Sorts the list by ascending z, keeping the order of equals. Neither AddItem nor GsItem::SetZ sorts.
  void OrderItem();
  // Returns the number of items, which an inert scene has too; 0 for one that found no memory for a list.
  unsigned int item_count() const;
  // Calls fn(item, user) for a copy of the list in order, until it returns false. Items removed meanwhile stay alive
  // until the walk ends.
  //
  // `fn`: may change the list and must not destroy the scene; null is ignored.
  // `user`: what it is called with, any value.
  //
  // Ownership: `user` stays the caller's.
  void EnumItems(bool (*fn)(GsItem* item, void* user), void* user);

  // Returns the width in pixels; 0 for an inert scene.
  unsigned int width() const;
  // Returns the height in pixels; 0 for an inert scene.
  unsigned int height() const;

  // Returns the scene's last picture, to be drawn with: "rgba" shows it upright. It is opaque black until the scene has
  // been rendered, and changes only while the scene is in use: see GsSceneHold. Null for an inert scene.
  //
  // Its alpha is what blending has left there: less than 1 where something translucent was drawn, though the picture is
  // whole. A program that is to show it as it is takes 1 for it, as GsPictureItem does.
  //
  // Ownership: the scene's.
  GsTexture* texture() const;

  // For the library's own use.
  GraphicsScene* impl() const;

 private:
  friend class GsSceneOnDraw;
  friend class GsSceneUse;

  GraphicsScene* impl_ = nullptr;
  std::unique_ptr<GsItemList> items_;
  GsSceneOnDraw* on_draw_ = nullptr;
  GraphicsContext* context_ = nullptr;  // Its lock orders attaching and detaching.
};

// Keeps a scene in use, and so rendered, for as long as it lives, as an output and a view do: for a scene whose
// texture() is drawn with.
//
//   GsSceneHold hold(scene);  // From the next frame on scene->texture() has its picture.
//
// Thread: caller-serialised, and its end not in a frame callback where it drops the last reference on the scene.
class QUARN_EXPORT GsSceneHold {
 public:
  // Holds nothing.
  GsSceneHold() = default;
  // Takes a scene into use.
  //
  // `scene`: null for none.
  //
  // Blocks: stage.
  // Ownership: takes a reference on the scene.
  explicit GsSceneHold(GsScene* scene);
  // Lets go of the scene.
  //
  // Blocks: stage.
  // Ownership: drops the reference on the scene.
  ~GsSceneHold();
  // Takes over what another holds, which is left with nothing.
  GsSceneHold(GsSceneHold&& other) noexcept;
  // Lets go of the scene, and takes over what another holds.
  //
  // Blocks: stage.
  GsSceneHold& operator=(GsSceneHold&& other) noexcept;

  // Returns what is held, or null.
  GsScene* scene() const;

 private:
  GsScene* scene_ = nullptr;
};

#endif  // QUARN_GS_SCENE_H_
