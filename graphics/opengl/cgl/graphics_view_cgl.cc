// The drawing half of the platform's view. Host threads, the render thread and the main queue enter; a frame and a
// change of size hold the lock of the device's context throughout, and it guards all that is here. Nobody who holds it
// waits for the window system.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <algorithm>
#include <utility>

#include "foundation/logger.h"
#include "foundation/os_time.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/cgl/graphics_context_cgl.h"
#include "graphics/opengl/cgl/main_queue.h"
#include "graphics/opengl/cgl/window_thread.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/render_pass.h"

struct GraphicsViewCGL::Link {
  const scoped_refptr<GraphicsContextCGL> context;
  GraphicsViewCGL* view;  // Null when it is gone; guarded by the context's lock.
};

namespace {

// Waits until the window thread has done what was handed over, and only so long: the host may count on its window being
// taken, or left. A caller that holds the context's lock would keep frames waiting.
void AwaitWindowThread(const GraphicsContextCGL& context, bool has_window_system) {
  if (has_window_system && !context.HeldByCaller()) WindowThread::Get().HandOver([] {});
}

}  // namespace

GraphicsViewCGL::GraphicsViewCGL(GraphicsContextCGL* context, const InternalWindowInfo& info, unsigned int width,
                                 unsigned int height)
    : GraphicsViewImpl(width, height),
      GsObjectCGL(context),
      native_view_(info.window),
      last_width_(width),
      last_height_(height) {}

GraphicsViewCGL::~GraphicsViewCGL() {
  if (!context()) return;
  bool has_window_system = false;
  {
    MutexLocker<GraphicsContextGL> lock(*context());
    if (link_) link_->view = nullptr;
    context()->RemoveView(this);
    if (!view_context_ || context()->of_another_process()) return;
    {
      ScopedBind bind(context());
      presenter_->images().Close(bind.ok());
    }
    GiveBackKeptLock();
    has_window_system = view_context_->HasWindowSystem();
    presenter_->HandOverEnd();
  }
  AwaitWindowThread(*context(), has_window_system);
}

bool GraphicsViewCGL::Init() {
  if (!context()) return false;
  {
    // Taken before the native contexts' locks, which is the order of every frame.
    MutexLocker<GraphicsContextGL> lock(*context());
    link_ = std::make_shared<Link>(Link{context(), this});
    std::unique_ptr<NativeContext> view_context = GraphicsContextCGL::CreateContext(context()->native());
    if (!view_context) return true;  // Kept: C38.
    presenter_ = ViewPresenter::Create(std::move(view_context));
    view_context_ = presenter_->context();
    const Size requested = RequestedSize();
    {
      ScopedBind bind(context());
      MakeImage(requested);
      if (bind.ok()) {
        glFlush();
        CheckGLError(__FILE__, __LINE__);
      }
    }
    presenter_->HandOverWindow(native_view_, ImageSize(requested));
  }
  AwaitWindowThread(*context(), view_context_->HasWindowSystem());
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
  presenter_->GoOn();
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

bool GraphicsViewCGL::MakeImage(Size requested) {
  const bool empty = requested.width == 0 || requested.height == 0;
  if (!empty && !FitsTexture(requested)) {
    Logger::default_logger()->Warn("A view of %ux%u cannot be drawn: a side is longer than %u", requested.width,
                                   requested.height, context()->max_texture_size());
  }
  image_untried_ = true;
  const bool made = presenter_->images().Make(context(), ImageSize(requested));
  image_untried_ = !made && !context()->IsCurrent();
  return made;
}

void GraphicsViewCGL::MakeImageForSize(Size requested) {
  if (MakeImage(requested)) {
    image_tries_.NoteSuccess();
    return;
  }
  image_untried_ = true;
  image_tries_.NoteFailure();
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
  ViewImages& images = presenter_->images();
  {
    ScopedBind bind(context());
    if (bind.ok()) {
      if (image_untried_ && image_tries_.IsDue()) MakeImageForSize(size);
      DrawFrame(size);
      images.End();
    }
  }
  GiveBackKeptLock();
  if (images.empty()) {
    // Kept: C30. Whoever holds the context's lock knows of it and gives it back. Where somebody else has the lock, the
    // next frame tries.
    lock_kept_ = view_context_->TryLock();
    return;
  }
  SearchWindow(size);
  if (presenter_->can_present()) {
    presenter_->HandOverPicture();
  } else {
    images.Skip();
  }
}

void GraphicsViewCGL::SearchWindow(Size size) {
  // A host's connection keeps its requests for itself until it is flushed, which may be after the making of the view.
  if (search_again_.exchange(false)) search_.Restart();
  if (presenter_->may_find_window() && search_.Due(os::GetTimeNs())) presenter_->HandOverSearch(size);
}

ViewCounts GraphicsViewCGL::counts() const { return presenter_ ? presenter_->images().counts() : ViewCounts(); }

// Neither takes the context's lock: the presenter is there from Init to the end.
void GraphicsViewCGL::Move(int x, int y) {
  if (presenter_ && !context()->of_another_process()) presenter_->HandOverPosition(x, y);
}

float GraphicsViewCGL::window_scale() const { return presenter_ ? presenter_->window_scale() : 1; }

void GraphicsViewCGL::SetWindow(const InternalWindowInfo& info) {
  if (!presenter_ || context()->of_another_process()) return;
  presenter_->HandOverOtherWindow(info.window);
  search_again_ = true;
  AwaitWindowThread(*context(), view_context_->HasWindowSystem());
}

void GraphicsViewCGL::GiveBackKeptLock() {
  if (std::exchange(lock_kept_, false)) view_context_->Unlock();
}

void GraphicsViewCGL::DrawFrame(Size size) {
  ViewImages& images = presenter_->images();
  GraphicsTextureGL* const image = images.Begin();
  if (!image) return;
  image->SetQuiet(target_failed_);
  RenderPass::Options options;
  ViewImages::Color background = {};
  {
    MutexLocker<Mutex> lock(background_mutex_);
    background = {background_.r, background_.g, background_.b, background_.a};
  }
  options.clear_color = {background.r, background.g, background.b, background.a};
  options.blend = true;
  options.check_each_call = true;
  {
    RenderPass pass(context(), image, options, __FILE__);
    NoteTarget(pass.begun());
    if (!pass.begun()) return;
    GraphicsViewImpl::Draw();
    if (!pass.EndDrawing()) return;
    // The flush alone does not order the view's context after this one.
    images.Fence();
    glFlush();
    CheckGLError(__FILE__, __LINE__);
  }
  // Where the size has changed meanwhile, the callback may have drawn for either: the next frame will show.
  const Size now = RequestedSize();
  if (now.width == size.width && now.height == size.height) images.Finish(size, background);
}

void GraphicsViewCGL::NoteTarget(bool bound) {
  if (target_failed_ == !bound) return;
  // That it cannot be bound has been logged; it is tried again in each frame.
  target_failed_ = !bound;
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
      presenter_->images().Drop(bind.ok());
      MakeImageForSize(requested);
      if (bind.ok()) glFlush();
    }
  }
  GiveBackKeptLock();
  // There is no picture of a size that fits no texture: the window keeps its size, and what it shows.
  presenter_->HandOverSize(FitsTexture(requested) ? requested : Size{0, 0});
}
