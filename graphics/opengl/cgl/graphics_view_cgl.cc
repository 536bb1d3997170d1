// The platform's view. The context's lock, which a frame and a change of size hold throughout, guards all of it but
// what the window thread works on.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "foundation/logger.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/cgl/graphics_context_cgl.h"
#include "graphics/opengl/cgl/main_queue.h"
#include "graphics/opengl/cgl/window_thread.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/graphics_texture_gl.h"

struct GraphicsViewCGL::Link {
  std::shared_ptr<ContextHandle> context;
  GraphicsViewCGL* view;  // Null when it is gone. Under the context's lock.
};

// The window system may keep the window thread waiting at any point. What render threads and hosts ask of it is handed
// over whole, and nothing here reaches back to the view, which may be gone when its turn comes.
struct GraphicsViewCGL::Window {
  explicit Window(std::unique_ptr<NativeContext> view_context)
      : context(std::move(view_context)), has_thread(context->HasWindows()) {}

  // Has work(this) run on the window thread; without a window system, which nobody has to wait for, at once.
  template <class Work>
  void Run(Work work) {
    if (has_thread) {
      RunOnWindowThread([this, work] { work(this); });
    } else {
      work(this);
    }
  }

  // The works.
  void Attach(void* native_view, Size size);
  void Resize(Size size);
  void Present();
  void Delete();

  void Copy();

  const std::unique_ptr<NativeContext> context;
  const bool has_thread;
  // The textures' framebuffer objects are not shared: this one, of the view's context, is what the image is read by.
  GLuint read_frame_buffer = 0;
  std::atomic<bool> can_present{false};
  std::atomic<bool> closed{false};  // Whether the view is gone: nothing but Delete counts any more.

  // The picture to present. Not touched while the window thread lags: it may be at work on it.
  GLuint texture = 0;
  GLsync drawn = nullptr;
  Size size = {0, 0};
};

void GraphicsViewCGL::Window::Attach(void* native_view, Size place) {
  if (closed) return;
  // A window's pixels are the screen's, and what is shown in them is taken for sRGB: nothing has to be asked for.
  context->Lock();
  can_present = context->AttachWindow(native_view, place.width, place.height);
  if (context->Bind()) {
    context->SetSwapInterval(0);
    glGenFramebuffers(1, &read_frame_buffer);
    glFlush();
    CheckGLError(__FILE__, __LINE__);
    context->Unbind();
  }
  context->Unlock();
}

void GraphicsViewCGL::Window::Resize(Size place) {
  if (closed) return;
  context->Lock();
  // A driver looks for the size when its context is made current, not later: the other way round the next picture would
  // be of the old size.
  if (place.width != 0) context->UpdateWindow(place.width, place.height);
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
    if (glIsTexture(texture)) Copy();
    context->Unbind();
  }
  context->Unlock();
}

void GraphicsViewCGL::Window::Copy() {
  const auto width = static_cast<GLint>(size.width);
  const auto height = static_cast<GLint>(size.height);
  if (glIsSync(drawn)) glWaitSync(drawn, 0, GL_TIMEOUT_IGNORED);  // The GPU waits, not this thread.
  glBindFramebuffer(GL_READ_FRAMEBUFFER, read_frame_buffer);
  // Attached anew each time: the image may be another, and that is what makes visible what the other context has drawn.
  glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  glDrawBuffer(GL_BACK);  // None, where the context was made current without a window first.
  CheckGLError(__FILE__, __LINE__);
  glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  CheckGLError(__FILE__, __LINE__);
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

GraphicsViewCGL::GraphicsViewCGL(GraphicsContextCGL* context, const InternalWindowInfo& info, unsigned int width,
                                 unsigned int height)
    : GraphicsViewImpl(width, height),
      GsObjectCGL(context),
      native_view_(info.window),
      last_width_(width),
      last_height_(height) {}

GraphicsViewCGL::~GraphicsViewCGL() {
  if (!context()) return;
  MutexLocker<GraphicsContextGL> lock(*context());
  if (link_) link_->view = nullptr;
  context()->RemoveView(this);
  if (!view_context_) return;
  {
    ScopedBind bind(context());
    frame_texture_.reset();
    dropped_.clear();
    if (drawn_ && bind.ok()) glDeleteSync(drawn_);
  }
  GiveBackKeptLock();
  window_->closed = true;
  window_->Run([](Window* window) { window->Delete(); });
}

bool GraphicsViewCGL::Init() {
  if (!context()) return false;
  // Before the contexts' own locks, which is the order of every frame.
  MutexLocker<GraphicsContextGL> lock(*context());
  link_ = std::make_shared<Link>(Link{context()->handle(), this});
  std::unique_ptr<NativeContext> view_context = GraphicsContextCGL::CreateContext(context()->native());
  if (!view_context) return true;
  view_context_ = view_context.get();
  window_ = new Window(std::move(view_context));
  const Size requested = RequestedSize();
  ScopedBind bind(context());
  MakeFrameTexture(requested);
  if (bind.ok()) {
    glFlush();
    CheckGLError(__FILE__, __LINE__);
  }
  window_->Run([native_view = native_view_, size = PictureSize(requested)](Window* window) {
    window->Attach(native_view, size);
  });
  return true;
}

void GraphicsViewCGL::Attach(DrawCallback* callback) {
  if (!context()) return;
  context()->AddView(this);
  GraphicsViewImpl::Attach(callback);
}

void GraphicsViewCGL::Detach() {
  if (!context()) return;
  context()->RemoveView(this);
  GraphicsViewImpl::Detach();
}

bool GraphicsViewCGL::BindRenderTarget() {
  Logger::default_logger()->Debug("BindRenderTarget");
  if (!context() || !context()->available() || !view_context_) return false;
  return view_context_->Bind();
}

void GraphicsViewCGL::UnbindRenderTarget() {
  if (!context() || !context()->available() || !view_context_) return;
  view_context_->Unbind();
}

void GraphicsViewCGL::Resize(unsigned int width, unsigned int height) { GraphicsViewImpl::Resize(width, height); }

GraphicsViewCGL::Size GraphicsViewCGL::RequestedSize() {
  MutexLocker<Mutex> lock(size_mutex_);
  return {width(), height()};
}

bool GraphicsViewCGL::CanDraw(Size size) const {
  return size.width != 0 && size.height != 0 && std::max(size.width, size.height) <= context()->max_texture_size();
}

GraphicsViewCGL::Size GraphicsViewCGL::PictureSize(Size requested) const {
  return CanDraw(requested) ? requested : Size{1, 1};
}

void GraphicsViewCGL::MakeFrameTexture(Size requested) {
  const bool empty = requested.width == 0 || requested.height == 0;
  if (!empty && !CanDraw(requested)) {
    Logger::default_logger()->Warn("A view of %ux%u cannot be drawn: a side is longer than %u", requested.width,
                                   requested.height, context()->max_texture_size());
  }
  const Size size = PictureSize(requested);
  frame_texture_ = std::make_unique<GraphicsTextureGL>(context(), size.width, size.height);
  if (!frame_texture_->Init(true)) frame_texture_.reset();
  target_failed_ = false;
}

void GraphicsViewCGL::Draw() {
  // Where another context is current, the errors are a host's.
  if (context() && context()->IsCurrent()) CheckGLError(__FILE__, __LINE__);
  if (!context() || !context()->available() || !view_context_) return;
  MutexLocker<GraphicsContextGL> lock(*context());
  const Size size = RequestedSize();
  if (size.width != last_width_ || size.height != last_height_) {
    last_width_ = size.width;
    last_height_ = size.height;
    if (size.width != 0 && size.height != 0) Update();
  }
  if (!CanDraw(size)) return;
  {
    ScopedBind bind(context());
    if (bind.ok()) {
      dropped_.clear();
      DrawFrame();
    }
  }
  // A window system that stalls costs the view its pictures and the others nothing.
  if (window_->has_thread && WindowThreadLags()) return;
  GiveBackKeptLock();
  view_context_->Lock();
  if (!frame_texture_) {
    // Without an image the lock stays taken: part of the interface, and must stay. Whoever holds the context's lock
    // knows of it and gives it back.
    lock_kept_ = true;
    return;
  }
  view_context_->Unlock();
  if (!window_->can_present || target_failed_) return;
  window_->texture = frame_texture_->name();
  window_->drawn = drawn_;
  window_->size = size;
  window_->Run([](Window* window) { window->Present(); });
}

void GraphicsViewCGL::GiveBackKeptLock() {
  if (std::exchange(lock_kept_, false)) view_context_->Unlock();
}

void GraphicsViewCGL::DrawFrame() {
  if (!frame_texture_ || target_failed_) return;
  if (!frame_texture_->BindRenderTarget()) {
    target_failed_ = true;
    return;
  }
  {
    MutexLocker<Mutex> lock(background_mutex_);
    glClearColor(background_.r, background_.g, background_.b, background_.a);
    CheckGLError(__FILE__, __LINE__);
  }
  glClear(GL_COLOR_BUFFER_BIT);
  CheckGLError(__FILE__, __LINE__);
  glEnable(GL_BLEND);
  CheckGLError(__FILE__, __LINE__);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  CheckGLError(__FILE__, __LINE__);
  GraphicsViewImpl::Draw();
  ScopedBind again(context());  // A host may have made another context current.
  if (!again.ok()) return;
  CheckGLError(__FILE__, __LINE__);
  glDisable(GL_BLEND);
  CheckGLError(__FILE__, __LINE__);
  // The flush alone does not order the view's context after this one.
  if (drawn_) glDeleteSync(drawn_);
  drawn_ = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  glFlush();
  CheckGLError(__FILE__, __LINE__);
  frame_texture_->ReleaseRenderTarget();
  CheckGLError(__FILE__, __LINE__);
}

void GraphicsViewCGL::Update() {
  PostToMainQueue([link = link_] {
    link->context->With([&link](GraphicsContextCGL* context) {
      MutexLocker<GraphicsContextGL> lock(*context);
      if (link->view) link->view->UpdateOnMainThread();
    });
  });
}

void GraphicsViewCGL::UpdateOnMainThread() {
  const Size requested = RequestedSize();
  const int bound = context()->BindContext();
  if (bound != 0) {
    if (bound == -1 && frame_texture_) dropped_.push_back(std::move(frame_texture_));
    frame_texture_.reset();
    MakeFrameTexture(requested);
    if (bound == 1) {
      glFlush();
      context()->UnbindContext();
    }
  }
  GiveBackKeptLock();
  // Without a picture the window keeps the last one.
  window_->Run([size = CanDraw(requested) ? requested : Size{0, 0}](Window* window) { window->Resize(size); });
}
