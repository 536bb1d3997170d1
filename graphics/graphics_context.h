// The engine's drawing context, as the objects of a scene see it.
#ifndef QUARN_GRAPHICS_GRAPHICS_CONTEXT_H_
#define QUARN_GRAPHICS_GRAPHICS_CONTEXT_H_

class GraphicsItem;
struct GraphicsVertex;
struct internal_transform;
struct internal_vec2;

class GraphicsContext {
 public:
  virtual ~GraphicsContext() = default;

  virtual void InitWinrt() = 0;
  virtual void UninitWinrt() = 0;
  virtual void AddItem(GraphicsItem* item) = 0;
  virtual void RemoveItem(GraphicsItem* item) = 0;
  virtual bool BindShader(const char* name) = 0;
  virtual void UnbindShader() = 0;
  virtual void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) = 0;
  virtual void DrawRect(const internal_transform& transform, const internal_vec2& target_size) = 0;
  virtual void DrawVertexArray(GraphicsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                               unsigned int index_count, const internal_transform& transform,
                               const internal_vec2& target_size) = 0;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_CONTEXT_H_
