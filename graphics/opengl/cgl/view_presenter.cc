// Presents a view's pictures. The view hands over what is to be done; the window thread does it.
#include "graphics/opengl/cgl/view_presenter.h"

#include <algorithm>
#include <utility>

#include "foundation/mutex.h"
#include "foundation/workarounds.h"
#include "graphics/opengl/cgl/window_thread.h"
#include "graphics/opengl/gl_error.h"

namespace {

// GL errors found here are logged as the view's, with the line of this file. Kept: C37.
void CheckViewError(int line) { CheckGLError("graphics/opengl/cgl/graphics_view_cgl.cc", line); }

}  // namespace

ViewPresenter* ViewPresenter::Create(std::unique_ptr<NativeContext> context) {
  return new ViewPresenter(std::move(context));
}

ViewPresenter::ViewPresenter(std::unique_ptr<NativeContext> context)
    : context_(std::move(context)), has_window_system_(context_->HasWindowSystem()) {
  context_->SetOnReady([this] { GoOn(); });
  context_->SetOnScale([this](float scale) { window_scale_ = scale; });
}

void ViewPresenter::HandOverWindow(void* host_window, Size size) {
  MutexLocker<Mutex> lock(mutex_);
  wanted_.host_window = host_window;
  wanted_.size = size;
  asked_.window = true;
  Schedule();
}

void ViewPresenter::HandOverSearch(Size size) {
  MutexLocker<Mutex> lock(mutex_);
  wanted_.size = size;
  asked_.window = true;
  Schedule();
}

void ViewPresenter::HandOverOtherWindow(void* host_window) {
  if (!has_window_system_) return;  // The log has said so.
  MutexLocker<Mutex> lock(mutex_);
  wanted_.host_window = host_window;
  asked_.window = asked_.other_window = true;
  if (!TrySchedule()) may_find_window_ = true;  // A later frame's search will do it.
}

void ViewPresenter::HandOverPosition(int x, int y) {
  if (!has_window_system_) return;
  MutexLocker<Mutex> lock(mutex_);
  wanted_.x = x;
  wanted_.y = y;
  asked_.move = true;
  TrySchedule();
}

void ViewPresenter::HandOverSize(Size size) {
  MutexLocker<Mutex> lock(mutex_);
  asked_.resize = true;
  if (size.width != 0) asked_.size = wanted_.size = size;
  asked_.size_comes_first = !images_.waiting();
  Schedule();
}

void ViewPresenter::HandOverPicture() {
  MutexLocker<Mutex> lock(mutex_);
  if (!images_.Offer()) return;
  asked_.size_comes_first = true;
  Schedule();
}

void ViewPresenter::GoOn() {
  MutexLocker<Mutex> lock(mutex_);
  if (asked_.window || asked_.move || asked_.resize || images_.waiting()) Schedule();
}

void ViewPresenter::HandOverEnd() {
  closed_ = true;
  if (!has_window_system_) return Delete();
  WindowThread::Get().Post([this] { Delete(); });
}

bool ViewPresenter::TrySchedule() {
  if (!scheduled_) scheduled_ = WindowThread::Get().Post([this] { DoWhatIsAsked(); });
  return scheduled_;
}

void ViewPresenter::Schedule() {
  if (!has_window_system_) return DoWhatIsAsked();
  if (!TrySchedule()) can_present_ = false;
}

void ViewPresenter::DoWhatIsAsked() {
  if (closed_) return;
  Asked asked;
  Wanted wanted;
  {
    MutexLocker<Mutex> lock(mutex_);
    scheduled_ = false;
    if (!context_->TryLock()) return;  // What is asked for stays, until GoOn or the next picture.
    asked = std::exchange(asked_, Asked());
    wanted = wanted_;
  }
  struct Unlock {
    ~Unlock() { context->Unlock(); }
    NativeContext* const context;
  } const unlock{context_.get()};
  if (asked.other_window) LeaveWindowFor(wanted.host_window);
  if (asked.move) context_->MoveWindow(wanted.x, wanted.y);
  if (asked.window) AttachToWindow(wanted);
  if (asked.resize && asked.size_comes_first) ResizeWindow(asked.size);
  if (images_.waiting()) PresentPicture();
  if (asked.resize && !asked.size_comes_first) ResizeAfterPicture(asked.size);
  window_scale_ = context_->WindowScale();
}

void ViewPresenter::LeaveWindowFor(void* host_window) {
  if (place_ == NativeContext::Place::kMade && host_window == host_window_ && context_->CanPresent()) return;
  context_->DetachWindow();
  place_ = NativeContext::Place::kNotYet;
}

void ViewPresenter::AttachToWindow(Wanted wanted) {
  can_present_ = false;
  // A window's pixels are the screen's, and what is shown in them is taken for sRGB: nothing has to be asked for.
  using Place = NativeContext::Place;
  if (place_ == Place::kNotYet) {
    // Asked once more, for leaving a window takes time: a host that wants the view out of this one may destroy it now.
    MutexLocker<Mutex> lock(mutex_);
    wanted = wanted_;
    asked_.window = asked_.other_window = false;
  }
  host_window_ = wanted.host_window;
  if (place_ == Place::kNotYet) {
    place_ = context_->AttachWindow(wanted.host_window, wanted.size.width, wanted.size.height);
  }
  const bool has_place = place_ == Place::kMade && !closed_ && context_->CanPresent();
  if ((has_place || !read_frame_buffer_) && context_->Bind()) {
    context_->SetSwapInterval(0);
    if (!read_frame_buffer_) glGenFramebuffers(1, &read_frame_buffer_);
    glFlush();
    CheckViewError(__LINE__);
    context_->Unbind();
    can_present_ = has_place && read_frame_buffer_;
  }
  may_find_window_ = !can_present_ && (has_place || place_ == Place::kNotYet);
}

void ViewPresenter::ResizeWindow(Size size) {
  if (closed_) return;  // What came before may have waited for longer than the host, whose window is gone by now.
  // A driver looks for the size when its context is made current, not later: the other way round the next picture would
  // be of the old size.
  if (size.width != 0) context_->ResizeWindow(size.width, size.height);
  // While the window takes no picture, though, the driver would keep a buffer of this size, for the next picture.
  if (context_->CanPresent() && context_->ReadyToPresent() && context_->Bind()) {
    glFlush();
    context_->Unbind();
  }
}

void ViewPresenter::ResizeAfterPicture(Size size) {
  if (!images_.waiting()) return ResizeWindow(size);
  // The picture could not be shown yet: the size goes on waiting with it, unless there is a newer one.
  MutexLocker<Mutex> lock(mutex_);
  asked_.resize = true;
  if (asked_.size.width == 0) asked_.size = size;
}

void ViewPresenter::PresentPicture() {
  can_present_ = can_present_ && context_->CanPresent();
  if (!can_present_ && images_.Take()) {
    images_.GiveBack(nullptr);
    images_.NoteShown(false);
  }
  // A window system that shows no picture gets none: what waits is the newest, and there is no other.
  if (!can_present_ || !context_->ReadyToPresent() || !context_->Bind()) return;
  // Only now, for a driver may have waited for the window system: the newest picture is shown, and images are free.
  if (const Picture* const picture = images_.Take()) CopyPicture(*picture);
  context_->Unbind();
}

void ViewPresenter::CopyPicture(const Picture& picture) {
  // What there is of the picture: while the size changes, the image may be smaller.
  const Size part = {std::min(picture.size.width, picture.image.width),
                     std::min(picture.size.height, picture.image.height)};
  Size window = part;
  context_->WindowSize(&window.width, &window.height);
  glWaitSync(picture.drawn, 0, GL_TIMEOUT_IGNORED);  // The GPU waits, not this thread.
  glBindFramebuffer(GL_READ_FRAMEBUFFER, read_frame_buffer_);
  // Attached anew each time: the image may be another, and that is what makes visible what the other context has drawn.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, picture.texture, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  if (IsUsed(Workaround::kDrawToBack)) glDrawBuffer(GL_BACK);
  CheckViewError(__LINE__);
  const auto background = picture.background;
  Size copied = picture.size;
  if (part.width < window.width || part.height < window.height) {
    // Where the picture does not reach, the buffer holds whatever was left in it, and the image nothing at all.
    copied = part;
    glClearColor(background.r, background.g, background.b, background.a);
    glClear(GL_COLOR_BUFFER_BIT);
    CheckViewError(__LINE__);
  }
  // The upper left corners agree: GL counts from the lower one, and a window grows and shrinks at its lower right.
  const auto width = static_cast<GLint>(copied.width);
  const auto height = static_cast<GLint>(copied.height);
  const GLint bottom = static_cast<GLint>(window.height) - static_cast<GLint>(part.height);
  glBlitFramebuffer(0, 0, width, height, 0, bottom, width, bottom + height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  CheckViewError(__LINE__);
  // The image is let go of: what follows may wait for the window system.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  images_.GiveBack(glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0));
  context_->SetWindowBackground(background.r, background.g, background.b);
  images_.NoteShown(context_->Present());
  glFlush();
  CheckViewError(__LINE__);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  CheckViewError(__LINE__);
}

void ViewPresenter::Delete() {
  context_->DetachWindow();
  if (context_->Bind()) {
    images_.DeleteFences();
    if (read_frame_buffer_) glDeleteFramebuffers(1, &read_frame_buffer_);
    context_->Unbind();
  }
  delete this;
}
