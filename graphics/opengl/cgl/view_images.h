// The images that a view draws its pictures into, in turn, so that drawing never waits for those who show them.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_VIEW_IMAGES_H_
#define QUARN_GRAPHICS_OPENGL_CGL_VIEW_IMAGES_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/mutex.h"
#include "graphics/graphics_view.h"
#include "graphics/opengl/gl.h"

class GraphicsContextGL;
class GraphicsTextureGL;

// One image is drawn to, one waits with the newest picture, one is read by the window thread: three at most. Another
// one is made only when none of those that there are may be drawn to, and goes when it has not been needed for a while,
// so a view whose pictures are taken in time has one.
//
// Two sides enter. Drawing belongs to whoever holds the lock of the device's context, showing to the window thread; the
// counts are anybody's.
class ViewImages {
 public:
  static constexpr int kMost = 3;
  // For how many pictures an image beyond the first may be without use.
  static constexpr int kIdlePictures = 128;

  struct Size {
    std::uint32_t width;
    std::uint32_t height;
  };
  struct Color {
    float r, g, b, a;
  };
  // A frame that is finished.
  struct Picture {
    GLuint texture = 0;      // What it is in.
    Size image = {0, 0};     // The texture's size: not the picture's own while that changes.
    Size size = {0, 0};      // The picture's. It lies at the texture's lower left corner.
    GLsync drawn = nullptr;  // Passed when it is finished.
    Color background = {0, 0, 0, 1};
  };

  ViewImages();
  ~ViewImages();
  ViewImages(const ViewImages&) = delete;
  ViewImages& operator=(const ViewImages&) = delete;

  // Drawing.
  //
  // Makes the first image of that size, in the place of those that there were; they die when nobody reads them. Returns
  // false when it cannot be made; the log says so. With the device's context current, or not to be made so.
  bool Make(GraphicsContextGL* context, Size size);
  // Whether there is no image, as before Make and after one that failed.
  bool empty() const;
  // Does without the images that there are. Those that nobody reads are deleted: at once if `can_delete`, which says
  // that the device's context is current, else in the next Begin.
  void Drop(bool can_delete);
  // Begins a picture, with the device's context current, and returns the image for it: one that nobody reads. Null
  // where there is none and no other can be made. It does not wait. End must follow.
  GraphicsTextureGL* Begin();
  // Says that all of the picture is drawn, with the device's context current: makes its fence. The flush is the
  // caller's.
  void Fence();
  // The picture is finished, and a picture of that size. Returns whether it can be shown: not when the images were
  // dropped meanwhile.
  bool Finish(Size size, const Color& background);
  // Ends what Begin began, finished or not.
  void End() { drawing_ = nullptr; }
  // Offers the picture that was finished last to the window thread, in the place of the one that waits. Returns false
  // where there is none.
  bool Offer();
  // Skips the picture that was finished last, and the one that waits: nobody can show them.
  void Skip();
  // The view is gone: nothing is offered any more. As Drop does otherwise; what the window thread reads stays.
  void Close(bool can_delete);

  // Showing.
  //
  // Whether a picture waits.
  bool waiting() const;
  // Takes the picture that waits; null when there is none. Its image is not drawn to until it is given back.
  const Picture* Take();
  // The picture that was taken has been read once `read` is passed, which may be null.
  void GiveBack(GLsync read);
  // The picture that was given back last is shown, or is not.
  void NoteShown(bool shown);
  // Deletes fences that are left, with a context current that shares the device's objects: after Close.
  void DeleteFences();

  ViewCounts counts() const;

 private:
  struct Image;

  Image* FindFree();
  Image* MakeAnother();
  Image* TakeBack();
  Image* WaitOnTheGpu();
  // Whether the window thread, or the picture that is drawn, may need the image.
  bool IsUsed(const Image* image) const QUARN_REQUIRES(mutex_);
  // Whether the GPU has read the image. Takes its fence away if so.
  static bool HasBeenRead(Image* image);
  // Deletes what is dropped or idle and not in use.
  void Collect();

  // The drawing side's.
  GraphicsContextGL* context_ = nullptr;
  std::vector<std::unique_ptr<Image>> images_;
  Image* drawing_ = nullptr;   // From Begin to End.
  Image* finished_ = nullptr;  // From Finish to Offer or Skip.
  std::uint64_t pictures_ = 0;
  bool can_make_another_ = true;  // Whether that has not failed yet, with images of this size.

  // Both sides'.
  mutable Mutex mutex_;
  Image* waiting_ QUARN_GUARDED_BY(mutex_) = nullptr;
  Image* read_ QUARN_GUARDED_BY(mutex_) = nullptr;  // From Take to GiveBack.
  bool closed_ QUARN_GUARDED_BY(mutex_) = false;

  std::atomic<std::uint32_t> drawn_{0};
  std::atomic<std::uint32_t> presented_{0};
  std::atomic<std::uint32_t> skipped_{0};
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_VIEW_IMAGES_H_
