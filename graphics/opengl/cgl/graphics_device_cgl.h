// The platform's device: the factories and the stages of a frame, on the native OpenGL context.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_DEVICE_CGL_H_
#define QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_DEVICE_CGL_H_

#include <quarn/ref_count.h>

#include "graphics/graphics_device_impl.h"
#include "graphics/graphics_video_texture.h"

class GraphicsContextCGL;

class GraphicsDeviceCGL : public GraphicsDeviceImpl, public VideoTextureMaker {
 public:
  GraphicsDeviceCGL();
  // Closes the context before the base stops the thread: stop a running device first.
  ~GraphicsDeviceCGL() override;

  bool Init() override;
  bool AddShader(const char* name, const char* vs, const char* fs) override;
  // Factories: null without a usable context, for a size that cannot be (with an error line), and when the object's own
  // Init fails.
  GraphicsView* CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) override;
  GraphicsScene* CreateScene(unsigned int width, unsigned int height) override;
  using GraphicsDeviceImpl::CreateTexture;
  GraphicsTexture* CreateTexture(GraphicsFrame&& frame) override;
  GraphicsTexture* CreateTexture(void* external_image) override;
  GraphicsConstantBuffer* CreateConstantBuffer(unsigned int size, const void* data) override;
  GraphicsOutput* CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) override;
  GraphicsFilter* CreateFilter(unsigned int width, unsigned int height) override;
  GraphicsVideoTexture* CreateVideoTexture(VideoLayout layout, unsigned int width, unsigned int height) override;
  GraphicsContext* gs_context() override;
  std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override;
  void HandleFilter() override;
  void OutputFrame(unsigned long long timestamp, unsigned int count) override;
  void DrawDisplay() override;
  void HandleTask(void (*func)(void*), void* param) override;
  void Run() override;

 private:
  bool available() const;
  // Whether a picture of that size can be made; says in the log why not. `what` names the object.
  bool CheckSize(const char* what, unsigned int width, unsigned int height) const;
  // The same for pictures whose sides have another limit than a texture's.
  static bool CheckSize(const char* what, unsigned int width, unsigned int height, unsigned int limit);

  scoped_refptr<GraphicsContextCGL> context_;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_GRAPHICS_DEVICE_CGL_H_
