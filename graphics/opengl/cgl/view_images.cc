// Images in turn. The drawing side holds the lock of the device's context, the showing side is the window thread.
#include "graphics/opengl/cgl/view_images.h"

#include <algorithm>
#include <utility>

#include "foundation/no_memory.h"
#include "graphics/opengl/graphics_texture_gl.h"

struct ViewImages::Image {
  std::unique_ptr<GraphicsTextureGL> texture;
  Picture picture;  // The last that was drawn into it. Whoever the image belongs to reads and writes it.
  GLsync read =
      nullptr;  // Passed when the GPU has read it. The window thread's to write until the image is given back.
  bool dropped = false;
  std::uint64_t begun = 0;  // The number of that picture.
};

ViewImages::ViewImages() = default;

ViewImages::~ViewImages() = default;

bool ViewImages::Make(GraphicsContextGL* context, Size size) {
  Drop(false);
  context_ = context;
  can_make_another_ = true;
  auto image = std::make_unique<Image>();
  image->texture = std::make_unique<GraphicsTextureGL>(context, size.width, size.height);
  if (!image->texture->Init(true)) return false;
  images_.push_back(std::move(image));
  return true;
}

bool ViewImages::empty() const {
  return std::all_of(images_.begin(), images_.end(), [](const auto& image) { return image->dropped; });
}

void ViewImages::Drop(bool can_delete) {
  for (const auto& image : images_) image->dropped = true;
  finished_ = nullptr;
  if (can_delete) Collect();
}

void ViewImages::Close(bool can_delete) {
  {
    MutexLocker<Mutex> lock(mutex_);
    closed_ = true;
    waiting_ = nullptr;
  }
  Drop(can_delete);
}

bool ViewImages::IsUsed(const Image* image) const {
  return image == waiting_ || image == read_ || image == drawing_ || image == finished_;
}

void ViewImages::Collect() {
  bool is_first = true;
  for (auto at = images_.begin(); at != images_.end();) {
    Image* const image = at->get();
    const bool is_extra = !image->dropped && !std::exchange(is_first, false);
    const bool is_needed = !image->dropped && !(is_extra && pictures_ - image->begun > kIdlePictures);
    bool is_used = true;
    if (!is_needed) {
      MutexLocker<Mutex> lock(mutex_);
      is_used = IsUsed(image);
    }
    if (is_needed || is_used) {
      ++at;
      continue;
    }
    if (image->picture.drawn) glDeleteSync(image->picture.drawn);
    if (image->read) glDeleteSync(image->read);
    at = images_.erase(at);
  }
}

GraphicsTextureGL* ViewImages::Begin() {
  finished_ = nullptr;
  Collect();
  if (empty()) return nullptr;
  Image* image = FindFree();
  if (!image) image = MakeAnother();
  if (!image) image = TakeBack();
  if (!image) image = WaitOnTheGpu();
  if (!image) return nullptr;
  image->begun = ++pictures_;
  drawing_ = image;
  return image->texture.get();
}

bool ViewImages::HasBeenRead(Image* image) {
  if (!image->read) return true;
  if (glClientWaitSync(image->read, 0, 0) == GL_TIMEOUT_EXPIRED) return false;
  glDeleteSync(std::exchange(image->read, nullptr));
  return true;
}

ViewImages::Image* ViewImages::FindFree() {
  for (const auto& image : images_) {
    if (image->dropped) continue;
    {
      MutexLocker<Mutex> lock(mutex_);
      if (IsUsed(image.get())) continue;
    }
    if (HasBeenRead(image.get())) return image.get();
  }
  return nullptr;
}

ViewImages::Image* ViewImages::MakeAnother() {
  GraphicsTextureGL* first = nullptr;
  int count = 0;
  for (const auto& image : images_) {
    if (image->dropped) continue;
    if (!first) first = image->texture.get();
    ++count;
  }
  if (!can_make_another_ || count >= kMost) return nullptr;
  // What fails once is not tried again in each frame.
  can_make_another_ = false;
  EvenWithoutMemory("Another image of a view", [&] {
    auto image = std::make_unique<Image>();
    image->texture = std::make_unique<GraphicsTextureGL>(context_, first->width(), first->height());
    image->texture->SetQuiet(true);
    if (!image->texture->Init(true) || !image->texture->BindRenderTarget()) return;
    GraphicsTextureGL::BindNoRenderTarget();
    images_.push_back(std::move(image));
    can_make_another_ = true;
  });
  return can_make_another_ ? images_.back().get() : nullptr;
}

ViewImages::Image* ViewImages::TakeBack() {
  MutexLocker<Mutex> lock(mutex_);
  if (!waiting_ || waiting_->dropped) return nullptr;
  ++skipped_;
  return std::exchange(waiting_, nullptr);
}

// Where neither memory nor the window thread gives another image: what is drawn from now on is drawn when the GPU has
// read what was there. This thread does not wait.
ViewImages::Image* ViewImages::WaitOnTheGpu() {
  for (const auto& image : images_) {
    if (image->dropped) continue;
    {
      MutexLocker<Mutex> lock(mutex_);
      if (IsUsed(image.get())) continue;
    }
    glWaitSync(image->read, 0, GL_TIMEOUT_IGNORED);
    glDeleteSync(std::exchange(image->read, nullptr));
    return image.get();
  }
  return nullptr;
}

void ViewImages::Fence() {
  if (drawing_->picture.drawn) glDeleteSync(drawing_->picture.drawn);
  drawing_->picture.drawn = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
}

bool ViewImages::Finish(Size size, const Color& background) {
  if (drawing_->dropped) return false;
  Picture& picture = drawing_->picture;
  picture.texture = drawing_->texture->name();
  picture.image = {drawing_->texture->width(), drawing_->texture->height()};
  picture.size = size;
  picture.background = background;
  finished_ = drawing_;
  ++drawn_;
  return true;
}

bool ViewImages::Offer() {
  MutexLocker<Mutex> lock(mutex_);
  if (!finished_ || closed_) return false;
  if (waiting_) ++skipped_;
  waiting_ = std::exchange(finished_, nullptr);
  return true;
}

void ViewImages::Skip() {
  MutexLocker<Mutex> lock(mutex_);
  if (std::exchange(finished_, nullptr)) ++skipped_;
  if (std::exchange(waiting_, nullptr)) ++skipped_;
}

bool ViewImages::waiting() const {
  MutexLocker<Mutex> lock(mutex_);
  return waiting_ != nullptr;
}

const ViewImages::Picture* ViewImages::Take() {
  MutexLocker<Mutex> lock(mutex_);
  read_ = std::exchange(waiting_, nullptr);
  return read_ ? &read_->picture : nullptr;
}

void ViewImages::GiveBack(GLsync read) {
  MutexLocker<Mutex> lock(mutex_);
  read_->read = read;
  read_ = nullptr;
}

void ViewImages::NoteShown(bool shown) { ++(shown ? presented_ : skipped_); }

void ViewImages::DeleteFences() {
  for (const auto& image : images_) {
    if (image->picture.drawn) glDeleteSync(std::exchange(image->picture.drawn, nullptr));
    if (image->read) glDeleteSync(std::exchange(image->read, nullptr));
  }
}

ViewCounts ViewImages::counts() const {
  ViewCounts counts;
  counts.drawn = drawn_;
  counts.presented = presented_;
  counts.skipped = skipped_;
  return counts;
}
