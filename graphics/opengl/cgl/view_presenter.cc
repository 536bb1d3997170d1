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
    : context_(std::move(context)), has_window_system_(context_->HasWindowSystem()) {}

bool ViewPresenter::lags() const { return has_window_system_ && WindowThread::Get().lags(); }

void ViewPresenter::HandOver(std::function<void()> work) {
  if (has_window_system_) {
    WindowThread::Get().HandOver(std::move(work));
  } else {
    work();
  }
}

void ViewPresenter::HandOverWindow(void* host_window, Size size) {
  HandOver([this, host_window, size] { AttachToWindow(host_window, size); });
}

void ViewPresenter::HandOverSize(Size size) {
  HandOver([this, size] { ResizeWindow(size); });
}

void ViewPresenter::HandOverPicture(const Picture& picture) {
  picture_ = picture;
  HandOver([this] { PresentPicture(); });
}

void ViewPresenter::HandOverEnd() {
  closed_ = true;
  HandOver([this] { Delete(); });
}

void ViewPresenter::AttachToWindow(void* host_window, Size size) {
  if (closed_) return;
  // A window's pixels are the screen's, and what is shown in them is taken for sRGB: nothing has to be asked for.
  const MutexLocker<NativeContext> lock(*context_);
  using Place = NativeContext::Place;
  if (place_ == Place::kNotYet) place_ = context_->AttachWindow(host_window, size.width, size.height);
  const bool has_place = place_ == Place::kMade && context_->CanPresent();
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
  if (closed_) return;
  const MutexLocker<NativeContext> lock(*context_);
  // A driver looks for the size when its context is made current, not later: the other way round the next picture would
  // be of the old size.
  if (size.width != 0) context_->ResizeWindow(size.width, size.height);
  if (context_->CanPresent() && context_->Bind()) {
    glFlush();
    context_->Unbind();
  }
}

void ViewPresenter::PresentPicture() {
  if (closed_) return;
  const MutexLocker<NativeContext> lock(*context_);
  can_present_ = context_->CanPresent();
  if (can_present_ && context_->Bind()) {
    // The view may have replaced its image since it handed the picture over, if the window system has stalled.
    if (glIsTexture(picture_.texture)) CopyPicture();
    context_->Unbind();
  }
}

void ViewPresenter::CopyPicture() {
  // What there is of the picture: while the size changes, the image may be smaller.
  const Size part = {std::min(picture_.size.width, picture_.image.width),
                     std::min(picture_.size.height, picture_.image.height)};
  Size window = part;
  context_->WindowSize(&window.width, &window.height);
  if (glIsSync(picture_.drawn)) glWaitSync(picture_.drawn, 0, GL_TIMEOUT_IGNORED);  // The GPU waits, not this thread.
  glBindFramebuffer(GL_READ_FRAMEBUFFER, read_frame_buffer_);
  // Attached anew each time: the image may be another, and that is what makes visible what the other context has drawn.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, picture_.texture, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  if (IsUsed(Workaround::kDrawToBack)) glDrawBuffer(GL_BACK);
  CheckViewError(__LINE__);
  const auto& background = picture_.background;
  Size copied = picture_.size;
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
  context_->SetWindowBackground(background.r, background.g, background.b);
  context_->Present();
  glFlush();
  CheckViewError(__LINE__);
  // The image is let go of, so that it dies when it is replaced.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  CheckViewError(__LINE__);
}

void ViewPresenter::Delete() {
  context_->DetachWindow();
  if (read_frame_buffer_ && context_->Bind()) {
    glDeleteFramebuffers(1, &read_frame_buffer_);
    context_->Unbind();
  }
  delete this;
}
