// The order of the virtual operations of the engine's interfaces: it is their binary interface and must stay.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_context_impl.h"
#include "graphics/graphics_device_impl.h"
#include "graphics/graphics_duplicator.h"
#include "graphics/graphics_filter.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_shader.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_view.h"

namespace {

// The slot of a virtual operation, the destructor being slot 0 where it comes first. Pointers to virtual members hold
// 1 + the offset in the table (the Itanium C++ ABI); a destructor has two entries there.
template <class Method>
int Slot(Method method) {
  std::ptrdiff_t offset_and_one = 0;
  static_assert(sizeof(method) >= sizeof(offset_and_one), "not an Itanium member pointer");
  std::memcpy(&offset_and_one, &method, sizeof(offset_and_one));
  return static_cast<int>((offset_and_one - 1) / static_cast<std::ptrdiff_t>(sizeof(void*))) - 1;
}

#if defined(__x86_64__)

TEST(VtableSlotsTest, GraphicsDevice) {
  using D = GraphicsDevice;
  int slot = 0;
  EXPECT_EQ(Slot(&D::Init), ++slot);
  EXPECT_EQ(Slot(&D::Start), ++slot);
  EXPECT_EQ(Slot(&D::Stop), ++slot);
  EXPECT_EQ(Slot(&D::IsInternalRenderThread), ++slot);
  EXPECT_EQ(Slot(&D::SetFps), ++slot);
  EXPECT_EQ(Slot(&D::fps), ++slot);
  EXPECT_EQ(Slot(&D::ClearFrameList), ++slot);
  EXPECT_EQ(Slot(&D::AddShader), ++slot);
  EXPECT_EQ(Slot(&D::CreateView), ++slot);
  EXPECT_EQ(Slot(&D::CreateScene), ++slot);
  EXPECT_EQ(Slot<GraphicsTexture* (D::*)(GraphicsFrame &&)>(&D::CreateTexture), ++slot);
  EXPECT_EQ((Slot<GraphicsTexture* (D::*)(GraphicsFormatInternal, unsigned int, unsigned int)>(&D::CreateTexture)),
            ++slot);
  EXPECT_EQ(Slot<GraphicsTexture* (D::*)(void*)>(&D::CreateTexture), ++slot);
  EXPECT_EQ(Slot(&D::CreateTextureExternal), ++slot);
  EXPECT_EQ(Slot(&D::CreateConstantBuffer), ++slot);
  EXPECT_EQ(Slot(&D::CreateDuplicator), ++slot);
  EXPECT_EQ(Slot(&D::CreateOutput), ++slot);
  EXPECT_EQ(Slot(&D::CreateFilter), ++slot);
  EXPECT_EQ(Slot(&D::gs_context), ++slot);
  EXPECT_EQ(Slot(&D::InitThreadContext), ++slot);
  EXPECT_EQ(Slot(&D::UninitThreadContext), ++slot);
  EXPECT_EQ(Slot(&D::EnterThreadContext), ++slot);
  EXPECT_EQ(Slot(&D::LeaveThreadContext), ++slot);
  EXPECT_EQ(Slot(&D::native_obj), ++slot);
  EXPECT_EQ(Slot(&D::QueueTask), ++slot);
  EXPECT_EQ(Slot(&D::DoTask), ++slot);
  EXPECT_EQ(Slot(&D::TickSource), ++slot);
  EXPECT_EQ(Slot(&D::HandleFilter), ++slot);
  EXPECT_EQ(Slot(&D::OutputFrame), ++slot);
  EXPECT_EQ(Slot(&D::DrawDisplay), ++slot);
  EXPECT_EQ(slot, 30);
  EXPECT_EQ(Slot(&GraphicsDeviceImpl::HandleTask), ++slot);
}

TEST(VtableSlotsTest, GraphicsContext) {
  using C = GraphicsContext;
  int slot = 0;
  EXPECT_EQ(Slot(&C::InitWinrt), ++slot);
  EXPECT_EQ(Slot(&C::UninitWinrt), ++slot);
  EXPECT_EQ(Slot(&C::AddItem), ++slot);
  EXPECT_EQ(Slot(&C::RemoveItem), ++slot);
  EXPECT_EQ(Slot(&C::BindShader), ++slot);
  EXPECT_EQ(Slot(&C::UnbindShader), ++slot);
  EXPECT_EQ(Slot(&C::SetViewPort), ++slot);
  EXPECT_EQ(Slot(&C::DrawRect), ++slot);
  EXPECT_EQ(Slot(&C::DrawVertexArray), ++slot);
  EXPECT_EQ(Slot(&GraphicsContextImpl::BuildShader), ++slot);
}

TEST(VtableSlotsTest, GraphicsScene) {
  using S = GraphicsScene;
  int slot = 0;
  EXPECT_EQ(Slot(&S::Attach), ++slot);
  EXPECT_EQ(Slot(&S::Detach), ++slot);
  EXPECT_EQ(Slot(&S::width), ++slot);
  EXPECT_EQ(Slot(&S::height), ++slot);
  EXPECT_EQ(Slot(&S::Draw), ++slot);
  EXPECT_EQ(Slot(&S::AddRef), ++slot);
  EXPECT_EQ(Slot(&S::ReleaseRef), ++slot);
  EXPECT_EQ(Slot(&S::HasRef), ++slot);
  EXPECT_EQ(Slot(&S::texture), ++slot);
  EXPECT_EQ(Slot(&GraphicsScene::DrawCallback::Draw), 1);
  EXPECT_EQ(Slot(&GraphicsItem::TickCallback::OnTick), 1);
}

TEST(VtableSlotsTest, GraphicsTexture) {
  using T = GraphicsTexture;
  int slot = 0;
  EXPECT_EQ(Slot(&T::BindShaderResource), ++slot);
  EXPECT_EQ(Slot(&T::ReleaseShaderResource), ++slot);
  EXPECT_EQ(Slot(&T::BindRenderTarget), ++slot);
  EXPECT_EQ(Slot(&T::ReleaseRenderTarget), ++slot);
  EXPECT_EQ(Slot<void (T::*)(GraphicsFrame &&)>(&T::Update), ++slot);
  EXPECT_EQ(Slot<void (T::*)(void*)>(&T::Update), ++slot);
  EXPECT_EQ(Slot(&T::width), ++slot);
  EXPECT_EQ(Slot(&T::height), ++slot);
  EXPECT_EQ(Slot(&T::SetRotation), ++slot);
  EXPECT_EQ(Slot(&T::rotation), ++slot);
  EXPECT_EQ(Slot(&T::native_obj), ++slot);
}

TEST(VtableSlotsTest, GraphicsConstantBufferAndShader) {
  EXPECT_EQ(Slot(&GraphicsConstantBuffer::Update), 1);
  EXPECT_EQ(Slot(&GraphicsConstantBuffer::Bind), 2);
  EXPECT_EQ(Slot(&GraphicsConstantBuffer::Unbind), 3);
  EXPECT_EQ(Slot(&GraphicsShader::Bind), 1);
}

TEST(VtableSlotsTest, GraphicsFilterAndDuplicator) {
  using F = GraphicsFilter;
  int slot = 0;
  EXPECT_EQ(Slot(&F::Attach), ++slot);
  EXPECT_EQ(Slot(&F::Detach), ++slot);
  EXPECT_EQ(Slot(&F::Draw), ++slot);
  EXPECT_EQ(Slot(&F::width), ++slot);
  EXPECT_EQ(Slot(&F::height), ++slot);
  EXPECT_EQ(Slot(&F::Resize), ++slot);
  EXPECT_EQ(Slot(&F::texture), ++slot);
  EXPECT_EQ(Slot(&F::DrawCallback::Draw), 1);
  EXPECT_EQ(Slot(&GraphicsDuplicator::Dup), 1);
  EXPECT_EQ(Slot(&GraphicsDuplicator::is_hdr), 2);
  EXPECT_EQ(Slot(&GraphicsDuplicator::sdr_white_level), 3);
}

TEST(VtableSlotsTest, GraphicsView) {
  using V = GraphicsView;
  int slot = 0;
  EXPECT_EQ(Slot(&V::Attach), ++slot);
  EXPECT_EQ(Slot(&V::Detach), ++slot);
  EXPECT_EQ(Slot(&V::BindRenderTarget), ++slot);
  EXPECT_EQ(Slot(&V::UnbindRenderTarget), ++slot);
  EXPECT_EQ(Slot(&V::width), ++slot);
  EXPECT_EQ(Slot(&V::height), ++slot);
  EXPECT_EQ(Slot(&V::Resize), ++slot);
  EXPECT_EQ(Slot(&V::SetBackgroundColor), ++slot);
  EXPECT_EQ(Slot(&V::Draw), ++slot);
  EXPECT_EQ(Slot(&V::SetPresentationTime), ++slot);
  EXPECT_EQ(Slot(&V::frame_buffer_texture), ++slot);
  EXPECT_EQ(Slot(&V::DrawCallback::Draw), 1);
}

#endif  // __x86_64__

}  // namespace
