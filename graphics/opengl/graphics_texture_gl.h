// An image on OpenGL: a render target, an image sampled from a frame, or one bound to an external image.
//
// Init, Update and the destructor take the context's lock and make it current themselves, on any thread, and leave
// bound what was bound; binding and releasing belong to a thread that holds the lock with the context current, and do
// nothing on another.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_TEXTURE_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_TEXTURE_GL_H_

#include "graphics/graphics_texture_impl.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/output/graphics_frame.h"

class GraphicsTextureGL : public GraphicsTextureImpl, public GLObject {
 public:
  // No constructor does GL work; Init must follow.
  GraphicsTextureGL(GraphicsContextGL* context, unsigned int width, unsigned int height);
  GraphicsTextureGL(GraphicsContextGL* context, GraphicsFormatInternal format, unsigned int width, unsigned int height);
  // Takes the frame's pixels.
  GraphicsTextureGL(GraphicsContextGL* context, GraphicsFrame&& frame);
  // A texture of the image's size; the first Update(image) gives it storage. The image is not kept.
  GraphicsTextureGL(GraphicsContextGL* context, void* external_image);
  ~GraphicsTextureGL() override;

  // Another Init makes it anew.
  bool Init(bool render_target);
  // The texture's GL name; 0 before Init and after one that failed. Shared contexts know it too.
  GLuint name() const { return texture_; }

  bool BindShaderResource(int slot) override;
  void ReleaseShaderResource() override;
  bool BindRenderTarget() override;
  void ReleaseRenderTarget() override;
  // What ReleaseRenderTarget does where the context is current: for whoever has no texture to ask any more.
  static void BindNoRenderTarget();
  // Whether a BindRenderTarget that GL refuses logs nothing: for a caller that tries again in every frame, and has let
  // it be logged once.
  void SetQuiet(bool quiet) { quiet_ = quiet; }
  // Binds the target for pixels to be read back from it; relies on an earlier BindRenderTarget for the attachment.
  bool BindReadFrameBuffer();
  void ReleaseReadFrameBuffer();
  // Whether that can be done with what was drawn into the target: it was bound once, and GL did not refuse it the last
  // time.
  bool readable() const { return readable_; }
  // Only a texture made from a frame can be updated, and only by a frame of its layout and size; any other is left with
  // the caller, without a message.
  void Update(GraphicsFrame&& frame) override;
  void Update(void* external_image) override;

 protected:
  // Whether there is a texture that can be bound to a unit now; if not, the log says why.
  bool CanSample() const;
  // Binds a texture of this one's kind and size to the unit, which ReleaseShaderResource will give back.
  void BindToUnit(int slot, GLuint name);

 private:
  bool Create(bool render_target);
  // Deletes what Create has made, with the context current.
  void Delete();
  // Whether the context is current on the calling thread.
  bool CanDraw(const char* operation) const;
  // Defines the texture's storage. Returns false for a layout that has none.
  bool DefineStorage(bool render_target);
  // The same for the bound texture, with the pixels of a frame or, from null, without.
  void Upload(GLenum storage, const unsigned char* pixels);
  // Takes a frame of the layout and size of the one held; returns whether it did.
  bool Keep(GraphicsFrame&& frame);
  GLenum target() const { return iosurface_ ? GL_TEXTURE_RECTANGLE : GL_TEXTURE_2D; }

  GLuint texture_ = 0;
  GLuint frame_buffer_ = 0;
  int slot_ = -1;
  GraphicsFrame frame_;     // Its format is the texture's layout; it holds the pixels of the last upload.
  bool iosurface_ = false;  // Whether an external image backs it.
  bool quiet_ = false;
  bool readable_ = false;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_TEXTURE_GL_H_
