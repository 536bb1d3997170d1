// Presents a view's pictures. What is here runs on the window thread; without a window system, on its caller's.
#include "graphics/opengl/cgl/graphics_view_cgl_window.h"

#include <algorithm>

#include "graphics/opengl/gl_error.h"

void GraphicsViewCGL::Window::Attach(void* native_view, Size size) {
  if (closed) return;
  // A window's pixels are the screen's, and what is shown in them is taken for sRGB: nothing has to be asked for.
  context->Lock();
  using Place = NativeContext::Place;
  if (place == Place::kNotYet) place = context->AttachWindow(native_view, size.width, size.height);
  const bool has_place = place == Place::kMade && context->CanPresent();
  if ((has_place || !read_frame_buffer) && context->Bind()) {
    context->SetSwapInterval(0);
    if (!read_frame_buffer) glGenFramebuffers(1, &read_frame_buffer);
    glFlush();
    CheckGLError(__FILE__, __LINE__);
    context->Unbind();
    can_present = has_place && read_frame_buffer;
  }
  may_come = !can_present && (has_place || place == Place::kNotYet);
  context->Unlock();
}

void GraphicsViewCGL::Window::Resize(Size size) {
  if (closed) return;
  context->Lock();
  // A driver looks for the size when its context is made current, not later: the other way round the next picture would
  // be of the old size.
  if (size.width != 0) context->UpdateWindow(size.width, size.height);
  if (context->CanPresent() && context->Bind()) {
    glFlush();
    context->Unbind();
  }
  context->Unlock();
}

void GraphicsViewCGL::Window::Present() {
  if (closed) return;
  context->Lock();
  can_present = context->CanPresent();
  if (can_present && context->Bind()) {
    // What was handed over may have been replaced since, if the window system has stalled.
    if (glIsTexture(picture.texture)) Copy();
    context->Unbind();
  }
  context->Unlock();
}

void GraphicsViewCGL::Window::Copy() {
  // What there is of the picture: while the size changes, the image may be smaller.
  const Size part = {std::min(picture.size.width, picture.image.width),
                     std::min(picture.size.height, picture.image.height)};
  Size window = part;
  context->WindowSize(&window.width, &window.height);
  if (glIsSync(picture.drawn)) glWaitSync(picture.drawn, 0, GL_TIMEOUT_IGNORED);  // The GPU waits, not this thread.
  glBindFramebuffer(GL_READ_FRAMEBUFFER, read_frame_buffer);
  // Attached anew each time: the image may be another, and that is what makes visible what the other context has drawn.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, picture.texture, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  glDrawBuffer(GL_BACK);  // None, where the context was made current without a window first.
  CheckGLError(__FILE__, __LINE__);
  const auto& background = picture.background;
  Size copied = picture.size;
  if (part.width < window.width || part.height < window.height) {
    // Where the picture does not reach, the buffer holds whatever was left in it, and the image nothing at all.
    copied = part;
    glClearColor(background.r, background.g, background.b, background.a);
    glClear(GL_COLOR_BUFFER_BIT);
    CheckGLError(__FILE__, __LINE__);
  }
  // The upper left corners agree: GL counts from the lower one, and a window grows and shrinks at its lower right.
  const auto width = static_cast<GLint>(copied.width);
  const auto height = static_cast<GLint>(copied.height);
  const GLint bottom = static_cast<GLint>(window.height) - static_cast<GLint>(part.height);
  glBlitFramebuffer(0, 0, width, height, 0, bottom, width, bottom + height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  CheckGLError(__FILE__, __LINE__);
  context->SetWindowBackground(background.r, background.g, background.b);
  context->Present();
  glFlush();
  CheckGLError(__FILE__, __LINE__);
  // The image is let go of, so that it dies when it is replaced.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  CheckGLError(__FILE__, __LINE__);
}

void GraphicsViewCGL::Window::Delete() {
  context->DetachWindow();
  if (read_frame_buffer && context->Bind()) {
    glDeleteFramebuffers(1, &read_frame_buffer);
    context->Unbind();
  }
  delete this;
}
