// The drawing half of the platform's view. Host threads, the render thread and the main queue enter; a frame and a
// change of size hold the lock of the device's context throughout, and it guards all that is here.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <algorithm>
#include <utility>

#include "foundation/logger.h"
#include "foundation/os_time.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/cgl/graphics_context_cgl.h"
#include "graphics/opengl/cgl/main_queue.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/render_pass.h"

struct GraphicsViewCGL::Link {
  const scoped_refptr<GraphicsContextCGL> context;
  GraphicsViewCGL* view;  // Null when it is gone; guarded by the context's lock.
};

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
  if (!view_context_ || context()->of_another_process()) return;
  {
    ScopedBind bind(context());
    frame_texture_.reset();
    dropped_.clear();
    if (picture_.drawn && bind.ok()) glDeleteSync(picture_.drawn);
  }
  GiveBackKeptLock();
  presenter_->HandOverEnd();
}

bool GraphicsViewCGL::Init() {
  if (!context()) return false;
  // Taken before the native contexts' locks, which is the order of every frame.
  MutexLocker<GraphicsContextGL> lock(*context());
  link_ = std::make_shared<Link>(Link{context(), this});
  std::unique_ptr<NativeContext> view_context = GraphicsContextCGL::CreateContext(context()->native());
  if (!view_context) return true;  // Kept: C38.
  presenter_ = ViewPresenter::Create(std::move(view_context));
  view_context_ = presenter_->context();
  const Size requested = RequestedSize();
  ScopedBind bind(context());
  MakeFrameTexture(requested);
  if (bind.ok()) {
    glFlush();
    CheckGLError(__FILE__, __LINE__);
  }
  presenter_->HandOverWindow(native_view_, ImageSize(requested));
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
  Logger::default_logger()->Debug("BindRenderTarget");  // Kept: C45.
  if (!context() || !context()->available() || !view_context_) return false;
  return view_context_->Bind();
}

void GraphicsViewCGL::UnbindRenderTarget() {
  if (!context() || !context()->available() || !view_context_) return;
  view_context_->Unbind();
}

void GraphicsViewCGL::Resize(unsigned int width, unsigned int height) {
  GraphicsViewImpl::Resize(width, height);
  search_again_ = true;
}

GraphicsViewCGL::Size GraphicsViewCGL::RequestedSize() {
  MutexLocker<Mutex> lock(size_mutex_);
  return {width(), height()};
}

bool GraphicsViewCGL::FitsTexture(Size size) const {
  return size.width != 0 && size.height != 0 && std::max(size.width, size.height) <= context()->max_texture_size();
}

GraphicsViewCGL::Size GraphicsViewCGL::ImageSize(Size requested) const {
  return FitsTexture(requested) ? requested : Size{1, 1};
}

void GraphicsViewCGL::MakeFrameTexture(Size requested) {
  const bool empty = requested.width == 0 || requested.height == 0;
  if (!empty && !FitsTexture(requested)) {
    Logger::default_logger()->Warn("A view of %ux%u cannot be drawn: a side is longer than %u", requested.width,
                                   requested.height, context()->max_texture_size());
  }
  const Size size = ImageSize(requested);
  picture_.texture = 0;
  image_untried_ = true;
  frame_texture_ = std::make_unique<GraphicsTextureGL>(context(), size.width, size.height);
  if (!frame_texture_->Init(true)) frame_texture_.reset();
  if (frame_texture_) frame_texture_->SetQuiet(target_failed_);
  image_untried_ = !frame_texture_ && !context()->IsCurrent();
}

void GraphicsViewCGL::Draw() {
  // Where another context is current, the errors are a host's.
  if (context() && context()->IsCurrent()) CheckGLError(__FILE__, __LINE__);
  if (!context() || !context()->available() || !view_context_) return;
  MutexLocker<GraphicsContextGL> lock(*context());
  const Size size = RequestedSize();
  if (size.width != last_width_ || size.height != last_height_) {
    if (size.width != 0 && size.height != 0) Update();
    last_width_ = size.width;
    last_height_ = size.height;
  }
  if (!FitsTexture(size)) return;
  {
    ScopedBind bind(context());
    if (bind.ok()) {
      dropped_.clear();
      if (image_untried_) MakeFrameTexture(size);
      DrawFrame(size);
    }
  }
  // A window system that stalls costs the view its pictures and the others nothing.
  if (presenter_->lags()) return;
  GiveBackKeptLock();
  view_context_->Lock();
  if (!frame_texture_) {
    // Kept: C30. Whoever holds the context's lock knows of it and gives it back.
    lock_kept_ = true;
    return;
  }
  view_context_->Unlock();
  // A host's connection keeps its requests for itself until it is flushed, which may be after the making of the view.
  if (search_again_.exchange(false)) search_.Restart();
  if (presenter_->may_find_window() && search_.Due(os::GetTimeNs())) presenter_->HandOverWindow(native_view_, size);
  if (presenter_->can_present() && picture_.texture != 0) presenter_->HandOverPicture(picture_);
}

void GraphicsViewCGL::GiveBackKeptLock() {
  if (std::exchange(lock_kept_, false)) view_context_->Unlock();
}

void GraphicsViewCGL::DrawFrame(Size size) {
  picture_.texture = 0;
  if (!frame_texture_) return;
  RenderPass::Options options;
  {
    MutexLocker<Mutex> lock(background_mutex_);
    picture_.background = {background_.r, background_.g, background_.b, background_.a};
  }
  options.clear_color = {picture_.background.r, picture_.background.g, picture_.background.b, picture_.background.a};
  options.blend = true;
  options.check_each_call = true;
  {
    RenderPass pass(context(), frame_texture_.get(), options, __FILE__);
    NoteTarget(pass.begun());
    if (!pass.begun()) return;
    GraphicsViewImpl::Draw();
    if (!pass.EndDrawing()) return;
    // The flush alone does not order the view's context after this one.
    if (picture_.drawn) glDeleteSync(picture_.drawn);
    picture_.drawn = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    glFlush();
    CheckGLError(__FILE__, __LINE__);
  }
  // Where the size has changed meanwhile, the callback may have drawn for either: the next frame will show.
  const Size now = RequestedSize();
  if (now.width != size.width || now.height != size.height) return;
  picture_.texture = frame_texture_->name();
  picture_.image = {frame_texture_->width(), frame_texture_->height()};
  picture_.size = size;
}

void GraphicsViewCGL::NoteTarget(bool bound) {
  if (target_failed_ == !bound) return;
  // That it cannot be bound has been logged; it is tried again in each frame.
  target_failed_ = !bound;
  frame_texture_->SetQuiet(target_failed_);
  if (bound) Logger::default_logger()->Info("A view's image can be drawn to again");
}

void GraphicsViewCGL::Update() {
  PostToMainQueue([link = link_] {
    MutexLocker<GraphicsContextGL> lock(*link->context);
    if (link->view && link->context->available()) link->view->FinishResize();
  });
}

void GraphicsViewCGL::FinishResize() {
  const Size requested = RequestedSize();
  // No frame has seen this size: whichever the next one finds counts as a change.
  if (requested.width != last_width_ || requested.height != last_height_) last_width_ = last_height_ = 0;
  {
    ScopedBind bind(context());
    if (!bind.nested()) {
      if (!bind.ok() && frame_texture_) dropped_.push_back(std::move(frame_texture_));
      frame_texture_.reset();
      MakeFrameTexture(requested);
      if (bind.ok()) glFlush();
    }
  }
  GiveBackKeptLock();
  // There is no picture of a size that fits no texture: the window keeps its size, and what it shows.
  presenter_->HandOverSize(FitsTexture(requested) ? requested : Size{0, 0});
}
