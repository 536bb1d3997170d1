// An item: something that a host draws in a scene. Words and tags: quarn.h.
#ifndef QUARN_GS_ITEM_H_
#define QUARN_GS_ITEM_H_

#include <atomic>

#include <quarn/export.h>
#include <quarn/gs_types.h>
#include <quarn/qn_mutex.h>
#include <quarn/ref_count.h>

class GraphicsItem;
class GsDevice;
class GsItemOnTick;
class GsScene;

// A picture, a caption, a capture source: derive, override Draw and, to be ticked every frame, TickSource. The setters
// take effect in the next frame. What they are given is kept as it comes, also by an inert item, and nothing is
// refused; gs_transform tells what is drawn with it. Counted by reference: see RefCounted.
//
// Thread: any; each value is atomic on its own.
class QUARN_EXPORT GsItem : public RefCountInterface {
 public:
  // An item of size (0, 0).
  explicit GsItem(GsDevice* device = nullptr);
  // An item of a size.
  //
  // `size`: its width and height in pixels, as Resize takes them.
  explicit GsItem(const gs_vec2& size, GsDevice* device = nullptr);
  // Ends the ticks.
  //
  // Thread: any, once no other thread uses the item.
  // Blocks: stage.
  ~GsItem() override;

  // Called once a frame for every item of a scene in use, hidden ones included. Does nothing by default.
  //
  // Thread: render, with the GL context current: textures may be updated here.
  // Callback safety: frame callback; may set values, queue tasks, update textures and constant buffers, add and remove
  // items, itself too. An item that is added meanwhile is ticked from the next frame on.
  virtual void TickSource();
  // Draws the item into its scene; called for visible items, in the scene's order. Does nothing by default. Blending is
  // on, and the viewport is the whole canvas, unless the scene or an item before has set another. How large the canvas
  // is, GsContext::target_size tells: an item may be in several.
  //
  // Thread: render, with the GL context current.
  // Callback safety: frame callback; may add and remove items, itself too.
  virtual void Draw();

  GsItem(const GsItem&) = delete;
  GsItem& operator=(const GsItem&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  bool valid() const;

  // Starts the ticks. The scene calls it; a host has no need to.
  //
  // Blocks: stage.
  void Attach();
  // Stops the ticks; when it returns none is running (but the one that it is called from). The scene calls it; a host
  // has no need to.
  //
  // Blocks: stage.
  void Detach();

  // Names the scene of the item. The scene calls it.
  //
  // `scene`: null for none.
  //
  // Ownership: the scene is not counted.
  void SetScene(GsScene* scene);
  // Returns the scene of the item; null outside a scene. Of an item in two scenes it is the one added last, and null
  // once the item has been removed from either.
  //
  // Ownership: the scene is not counted.
  GsScene* scene() const;

  // Returns the centre, in pixels from the scene's centre, y downwards; (0, 0) at first.
  gs_vec2 pos() const;
  // Sets the centre.
  //
  // `pos`: pixels from the scene's centre, y downwards; any finite numbers. What lies outside the scene is cut off, and
  // with other values it is undefined what is drawn.
  void MoveTo(const gs_vec2& pos);
  // Returns width and height in pixels.
  gs_vec2 size() const;
  // Sets width and height.
  //
  // `size`: pixels, any finite numbers: with a side of 0 nothing is drawn, a negative one mirrors. With other values it
  // is undefined what is drawn.
  void Resize(const gs_vec2& size);
  // Returns the rotation about the centre in radians; positive turns clockwise on the screen.
  float rotation() const;
  // Sets the rotation about the centre.
  //
  // `rotation`: radians, any finite number; positive turns clockwise on the screen. With other values it is undefined
  // what is drawn.
  void SetRotation(float rotation);
  // Returns the place in the order of drawing, as SetZ takes it; 0 at first.
  int z() const;
  // Sets the place in the order of drawing, which takes effect once GsScene::OrderItem is called.
  //
  // `z`: any value; the lowest is drawn first.
  void SetZ(int z);
  // Returns whether the item is drawn.
  bool visible() const;
  // Sets whether the item is drawn. It is ticked either way.
  //
  // `visible`: true at first.
  void SetVisible(bool visible);
  // Returns whether the pointer is over the item: views frame it.
  bool hovered() const;
  // Sets whether the pointer is over the item, as the host has found out (GsViewImpl::HitTest).
  //
  // `hovered`: false at first.
  void SetHovered(bool hovered);
  // Returns whether the item is selected: views frame it and add handles.
  bool selected() const;
  // Sets whether the item is selected.
  //
  // `selected`: false at first.
  void SetSelected(bool selected);

 private:
  friend class GsScene;  // Leaves an item at its end unless another scene has it by then.

  GraphicsItem* impl_ = nullptr;
  std::atomic<GsScene*> scene_{nullptr};
  GsItemOnTick* on_tick_ = nullptr;

 protected:
  // A gs_vec2 aligned to its size, so that every compiler reads and writes it in one piece without a helper library.
  struct alignas(sizeof(gs_vec2)) AlignedVec2 : gs_vec2 {
    // A copy of `value`, any two numbers.
    AlignedVec2(const gs_vec2& value) : gs_vec2(value) {}
  };

  // For the host's own use: no operation of the library locks it.
  QNMutex mutex_;
  std::atomic<AlignedVec2> pos_{gs_vec2()};
  // For the host's own use: set like `size_` at construction and read by no operation of the library.
  std::atomic<AlignedVec2> base_size_{gs_vec2()};
  std::atomic<AlignedVec2> size_{gs_vec2()};
  std::atomic<float> rotation_{0.0f};
  std::atomic<int> z_{0};
  std::atomic<bool> visible_{true};
  std::atomic<bool> reserved0_{true};  // Read by no operation of the library.
  std::atomic<bool> hovered_{false};
  std::atomic<bool> reserved1_{true};  // Read by no operation of the library.
  std::atomic<bool> selected_{false};
};

#endif  // QUARN_GS_ITEM_H_
