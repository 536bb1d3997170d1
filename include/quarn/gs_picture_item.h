// An item that shows a picture: pixels, a texture, or another scene. Words and tags: quarn.h.
#ifndef QUARN_GS_PICTURE_ITEM_H_
#define QUARN_GS_PICTURE_ITEM_H_

#include <memory>

#include <quarn/export.h>
#include <quarn/gs_item.h>

class GsScene;
class GsShownPicture;
class GsTexture;

// A picture in a scene, without a Draw of the host's:
//
//   auto photo = MakeRefCounted<GsPictureItem>(pixels, width * 4, width, height);
//   photo->MoveTo(gs_vec2(-200, 100));
//   scene->AddItem(photo);
//
// The picture fills the item's size, turned by its rotation, and is blended by its alpha (not multiplied in) times the
// opacity. Where nothing is set but place, size and rotation it is drawn with "rgba", as it is.
//
// Picture in picture: an item that shows a scene holds it in use, and shows its picture of the same frame (gs_scene.h).
//
//   auto inset = MakeRefCounted<GsPictureItem>(device);
//   inset->Resize(gs_vec2(480, 270));
//   inset->MoveTo(gs_vec2(680, 360));
//   inset->ShowScene(camera);
//   program->AddItem(inset);
//
// A fade from one scene to another, in a third: two items of its size, the later one on top, of which the opacity goes
// from 0 to 1. Once that is through, the lower one shows nothing any more, and its scene is not rendered for it.
//
//   before->ShowScene(first);
//   after->ShowScene(second);
//   after->SetOpacity(progress);  // In each frame, as from an override of TickSource.
//
// A program of the host's (GsDevice::AddShader) finds the picture as u_tex0 and, if it asks for it, what is to become
// of it as its first block:
//
//   layout(std140) uniform u_buf0 {
//     vec4 part;  // The part to be shown: texture(u_tex0, part.xy + part.zw * v_tex_coord). Flips are in it.
//     vec4 look;  // The opacity; then 1 where a scene is shown, whose alpha does not count; the others are 0.
//   };
//
// What the setters set shows in the next frame. A class derived from this one may override TickSource and Draw, and
// calls those of this class.
//
// Thread: any; each call is atomic on its own.
// Blocks: no.
class QUARN_EXPORT GsPictureItem : public GsItem {
 public:
  // An item that shows nothing yet. Its size is (0, 0): see SetTexture.
  explicit GsPictureItem(GsDevice* device = nullptr);
  // An item with a picture of its own, and of the picture's size. Where that cannot be made it shows nothing, with an
  // error line; without a device there is none.
  //
  // `data`: rows of RGBA pixels, the top row first; with null there is no picture.
  // `stride`: bytes from a row's start to the next one's, any value, as GsTexture's constructor takes it.
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  GsPictureItem(const unsigned char* data, unsigned int stride, unsigned int width, unsigned int height,
                GsDevice* device = nullptr);
  // A rectangle of one colour.
  //
  // `size`: pixels, as Resize takes them.
  // `color`: red, green and blue, each 0 to 1; beyond that it is the nearest of the two, and NaN is 0.
  //
  // Blocks: stage.
  GsPictureItem(const gs_vec2& size, const gs_vec3& color, GsDevice* device = nullptr);
  // Lets go of what it shows.
  //
  // Thread: any, once no other thread uses the item; not in a frame callback, where it drops the last reference on a
  // scene.
  // Blocks: stage.
  ~GsPictureItem() override;

  // Has a scene that the item shows be drawn before the item's own. An override that leaves this out gets the same from
  // the second frame on.
  void TickSource() override;
  // Draws the picture. The viewport is the whole of the target afterwards, whatever it was.
  void Draw() override;

  // Replaces the pixels of the picture that the item was made with. What does not fit changes nothing, and neither does
  // an update of an item that has no picture of its own, or has it no more since SetTexture; the log says so.
  //
  // `data`, `stride`: rows, as the constructor takes them.
  // `width`, `height`: the constructor's, in pixels. For a picture of another size give the item a new texture.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  void Update(const unsigned char* data, unsigned int stride, unsigned int width, unsigned int height);
  // Shows a texture, which several items may share, in the place of the texture or the scene before. An item of size
  // (0, 0) takes the texture's.
  //
  // `texture`: null shows nothing.
  //
  // Thread: any; not in a frame callback, where it drops the last reference on the scene before.
  // Blocks: stage, where it ends the showing of a scene, or drops the last reference on the texture before.
  // Ownership: shared with the host. What the host's deleter does must be fit for a frame callback.
  void SetTexture(std::shared_ptr<GsTexture> texture);
  // Shows a scene in the place of the texture, opaque whatever it is made of, and holds it in use. An item of size
  // (0, 0) takes the scene's.
  //
  // `scene`: null ends it, and the texture is shown again. One that shows the item itself, directly or through other
  // scenes, keeps itself in being until it is ended. A scene of another device is held and not shown, and the log says
  // so.
  //
  // Thread: any; not in a frame callback, where it drops the last reference on the scene before.
  // Blocks: stage.
  // Ownership: takes a reference on the scene, and drops the one on the scene before.
  void ShowScene(GsScene* scene);
  // Returns the scene shown, or null.
  //
  // Ownership: the scene is not counted.
  GsScene* shown_scene() const;

  // Draws with another program.
  //
  // `name`: of GsDevice::AddShader; "rgba" and null for the library's own. While there is no such program nothing is
  // drawn, and the log says so once.
  void SetShader(const char* name);
  // Sets how much of the picture is seen through what lies below.
  //
  // `opacity`: 0 (nothing) to 1 (as it is, and so at first); other values are refused with an error line.
  void SetOpacity(float opacity);
  // Returns the opacity, 0 to 1; 0 for an item that found no memory.
  float opacity() const;
  // Mirrors the picture within its place.
  //
  // `horizontal`: whether left and right are exchanged; false at first.
  // `vertical`: whether top and bottom are; false at first.
  void SetFlip(bool horizontal, bool vertical);
  // Shows a part of the picture only, over the whole of the item's size; the pixels beside it are not mixed in.
  //
  // `corner`: its upper left corner, in pixels of the picture from that of the picture, y downwards; any finite
  // numbers, others are refused.
  // `size`: its width and height in pixels of the picture; (0, 0) for the whole picture, whatever the corner. What goes
  // past the picture repeats its edge. Negative sizes, and numbers that are not finite, are refused with an error
  // line.
  void SetCrop(const gs_vec2& corner, const gs_vec2& size);

 private:
  GsShownPicture* picture_;
};

#endif  // QUARN_GS_PICTURE_ITEM_H_
