// The graphics classes with each of their allocations failing: nothing is thrown, what cannot be had answers neutrally,
// the log has an error, and the device works afterwards.
#include <EGL/egl.h>
#include <dlfcn.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "tests/public/host.h"
#include "tests/support/failing_allocations.h"

namespace {

// EGL contexts of the process that nobody has destroyed yet.
std::atomic<int> contexts{0};

template <class Function>
Function Next(Function, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// They stand before EGL's own for the library as well.
extern "C" EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share,
                                       const EGLint* attributes) {
  const EGLContext context = Next(&eglCreateContext, "eglCreateContext")(display, config, share, attributes);
  if (context != EGL_NO_CONTEXT) ++contexts;
  return context;
}

extern "C" EGLBoolean eglDestroyContext(EGLDisplay display, EGLContext context) {
  const EGLBoolean destroyed = Next(&eglDestroyContext, "eglDestroyContext")(display, context);
  if (destroyed) --contexts;
  return destroyed;
}

namespace {

using host::MakeColor;
using host::MakeItem;
using host::MakeScene;

class Filter : public GsFilter {
 public:
  using GsFilter::GsFilter;
};

class NoMemoryGraphicsTest : public host::DrivenTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(host::DrivenDeviceWorks(&device));
    DrivenTest::TearDown();
  }

  // Calls work() with each of its allocations failing. Where one has, the log has an error; where none has, nothing.
  // Returns how many were made to fail.
  template <class Work>
  int Run(Work work) {
    return FailingAllocations::Run([&] {
      {
        const FailingAllocations::Pause pause;
        host::log::Clear();
      }
      work();
      const FailingAllocations::Pause pause;
      EXPECT_EQ(host::log::CountContaining(kQnLogError, "") > 0, FailingAllocations::failed())
          << host::log::Complaints();
    });
  }
};

TEST(NoMemoryDeviceTest, DeviceIsMadeOrNot) {
  const int failures = FailingAllocations::Run([] {
    {
      const FailingAllocations::Pause pause;
      host::log::Clear();
      EXPECT_EQ(contexts, 0) << "of the device before";
    }
    GsDevice device;
    const bool made = device.Init();
    const FailingAllocations::Pause pause;
    EXPECT_EQ(device.impl() != nullptr, made);
    EXPECT_TRUE(made || host::log::CountContaining(kQnLogError, "no memory") > 0) << host::log::Complaints();
    EXPECT_TRUE(made || FailingAllocations::failed());
    EXPECT_EQ(host::log::Count(kQnLogError, "device create failed"), made ? 0 : 1);
  });
  EXPECT_GT(failures, 8);
  EXPECT_EQ(contexts, 0);
  GsDevice device;
  ASSERT_TRUE(device.Init());
  EXPECT_TRUE(host::DrivenDeviceWorks(&device));
}

TEST(NoMemoryDeviceTest, DefaultDeviceIsMadeAndStartedOrNot) {
  const int failures = FailingAllocations::Run([] {
    const bool made = GsDevice::CreateDefaultDevice(true);
    const FailingAllocations::Pause pause;
    EXPECT_EQ(GsDevice::DefaultDevice() != nullptr, made);
    EXPECT_TRUE(made || FailingAllocations::failed());
    GsDevice::DestroyDefaultDevice();
  });
  EXPECT_GT(failures, 8);
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  EXPECT_TRUE(host::ThreadedDeviceWorks(GsDevice::DefaultDevice()));
  GsDevice::DestroyDefaultDevice();
}

TEST(NoMemoryDeviceTest, DeviceStartsOrNotAndMayLater) {
  GsDevice device;
  ASSERT_TRUE(device.Init());
  const int failures = FailingAllocations::Run([&] {
    {
      const FailingAllocations::Pause pause;
      host::log::Clear();
    }
    const bool started = device.Start();
    const FailingAllocations::Pause pause;
    EXPECT_TRUE(started || FailingAllocations::failed());
    EXPECT_TRUE(started || host::log::CountContaining(kQnLogError, "") > 0) << host::log::Complaints();
    device.Stop();
  });
  EXPECT_GT(failures, 0);
  EXPECT_TRUE(device.InitThreadContext());
  EXPECT_TRUE(host::DrivenDeviceWorks(&device));
  device.UninitThreadContext();
}

TEST_F(NoMemoryGraphicsTest, FramesHaveTheirTimeAndCountAllTheSame) {
  const auto scene = MakeScene(8, 8, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  std::uint64_t time = 0;
  unsigned long long frames = 0;
  FailingAllocations::Run([&] {
    EXPECT_TRUE(receiver.WaitForRoom(host::kPatienceMs));
    EXPECT_TRUE(device.SetFrameRate(30000, 1001));
    device.RunFrame(++time);
    EXPECT_EQ(device.frame_time(), time);
    EXPECT_EQ(device.frame_interval(), 33366667u);
    EXPECT_EQ(device.stats().frames, ++frames);
    EXPECT_TRUE(receiver.Flush(host::kPatienceMs));
    EXPECT_EQ(receiver.stats().delivered + receiver.stats().dropped, frames);
    EXPECT_FALSE(receiver.repeating());
  });
  receiver.Stop();
}

TEST(NoMemoryDeviceTest, BuiltInProgramIsTriedAgain) {
  struct Use {
    GsDevice device;
    bool bound = false;
  };
  const auto bind = [](void* argument) {
    auto* const use = static_cast<Use*>(argument);
    use->bound = GsContext(&use->device).BindShader("rgba");
  };
  const int failures = FailingAllocations::Run([&] {
    std::optional<FailingAllocations::Pause> pause(std::in_place);
    Use use;
    ASSERT_TRUE(use.device.Init());
    ASSERT_TRUE(use.device.InitThreadContext());
    use.device.QueueTask(bind, &use);
    host::log::Clear();
    pause.reset();
    use.device.DoTask();
    pause.emplace();
    EXPECT_EQ(use.bound, !FailingAllocations::failed());
    EXPECT_EQ(host::log::CountContaining(kQnLogError, "no memory") > 0, FailingAllocations::failed());
    use.device.QueueTask(bind, &use);
    use.device.DoTask();
    EXPECT_TRUE(use.bound);
    use.device.UninitThreadContext();
  });
  EXPECT_GT(failures, 3);
}

TEST_F(NoMemoryGraphicsTest, ProgramIsMissing) {
  int number = 0;
  EXPECT_GT(Run([&] {
              const std::string name = "program" + std::to_string(number++);
              const bool added = device.AddShader(name.c_str(), glsl_src[1], host::kTintSource);
              EXPECT_EQ(added, !FailingAllocations::failed());
            }),
            2);
}

TEST_F(NoMemoryGraphicsTest, TaskIsDropped) {
  int queued = 0;
  EXPECT_GT(Run([&] {
              device.QueueTask([](void* count) { ++*static_cast<int*>(count); }, &queued);
              const FailingAllocations::Pause pause;
              queued = 0;
              device.DoTask();
              EXPECT_EQ(queued, FailingAllocations::failed() ? 0 : 1);
            }),
            0);
}

TEST_F(NoMemoryGraphicsTest, VideoTextureIsInert) {
  const unsigned char plane[16] = {};
  const unsigned char* const planes[] = {plane, plane, plane};
  const unsigned int strides[] = {4, 4, 4};
  // On a device of its own each time, for it keeps the program.
  const int failures = FailingAllocations::Run([&] {
    std::optional<FailingAllocations::Pause> pause(std::in_place);
    GsDevice fresh;
    ASSERT_TRUE(fresh.Init());
    host::log::Clear();
    pause.reset();
    {
      GsVideoTexture texture(4, 4, GsVideoTexture::kLayoutI420, &fresh);
      const bool made = texture.width() == 4;
      EXPECT_EQ(made, !FailingAllocations::failed());
      EXPECT_EQ(texture.SetColor(GsVideoTexture::kMatrixBT601, GsVideoTexture::kRangeFull, GsVideoTexture::kChromaLeft),
                made);
      EXPECT_EQ(texture.Update(planes, strides), made);
      pause.emplace();
      EXPECT_EQ(host::log::CountContaining(kQnLogError, "no memory") > 0, FailingAllocations::failed());
      EXPECT_TRUE(GsVideoTexture(4, 4, GsVideoTexture::kLayoutI420, &fresh).Update(planes, strides));
    }
  });
  EXPECT_GT(failures, 3);
}

TEST_F(NoMemoryGraphicsTest, ObjectsAreInert) {
  const unsigned char pixel[4] = {1, 2, 3, 4};
  EXPECT_GT(Run([&] {
              const GsTexture texture(pixel, 4, GsTexture::kTextureRGBA, 1, 1, &device);
              EXPECT_EQ(texture.width(), FailingAllocations::failed() ? 0u : 1u);
            }),
            0);
  QnExternalImage image(1, 1, QnExternalImage::kPixelFormatBGRA, 4, pixel);
  EXPECT_GT(Run([&] {
              GsTexture texture(&image, &device);
              texture.Update(&image);
            }),
            0);
  EXPECT_GT(Run([&] {
              GsConstantBuffer constants(16, &device);
              constants.Update(pixel, sizeof(pixel));
            }),
            0);
  EXPECT_GT(Run([&] {
              Filter filter(8, 8, &device);
              filter.Resize(4, 4);
              filter.Attach();
              filter.Detach();
            }),
            2);
  EXPECT_GT(Run([&] {
              GsViewImpl view(GsWindowInfo{}, 16, 16, &device);
              view.SetScene(nullptr);
              view.Resize(20, 20);
              view.Move(3, 4);
              view.SetWindow({});
              view.Attch();
              view.Detach();
            }),
            5);
  EXPECT_GT(Run([&] {
              const scoped_refptr<host::Scene> owned = MakeScene(8, 8, &device);
              host::Scene& scene = *owned;
              EXPECT_EQ(scene.item_count(), 0u);
              scene.Attach();
              scene.Draw();
              scene.OrderItem();
              scene.Detach();
            }),
            2);
}

TEST_F(NoMemoryGraphicsTest, PictureItemsShowWhatTheyCan) {
  const unsigned char pixel[4] = {1, 2, 3, 4};
  const auto shown = MakeScene(8, 8, &device);
  EXPECT_GT(Run([&] {
              const auto item = MakeRef<RefCounted<GsPictureItem>>(pixel, 4u, 1u, 1u, &device);
              item->Update(pixel, 4, 1, 1);
              item->SetShader("a program with a name that is long enough to be stored apart");
              item->SetOpacity(0.5f);
              item->SetFlip(true, false);
              item->SetCrop(gs_vec2(), gs_vec2(1, 1));
              item->SetTexture(nullptr);
              item->ShowScene(shown);
              item->ShowScene(nullptr);
            }),
            4);
  EXPECT_GT(Run([&] { const GsSceneHold hold(shown); }), 0);
  EXPECT_GT(Run([&] {
              const auto scene = MakeScene(8, 8, &device);
              EXPECT_TRUE(scene->texture() || FailingAllocations::failed());
            }),
            1);
}

// A scene that shows another one and itself, faded.
TEST_F(NoMemoryGraphicsTest, ScenesAreShownInScenesOrNot) {
  const int failures = FailingAllocations::Run([&] {
    std::optional<FailingAllocations::Pause> pause(std::in_place);
    const auto shown = MakeScene(8, 8, &device);
    const auto scene = MakeScene(8, 8, &device);
    const GsSceneHold hold(scene);
    const auto other = MakeRef<RefCounted<GsPictureItem>>(&device);
    const auto itself = MakeRef<RefCounted<GsPictureItem>>(&device);
    other->ShowScene(shown);
    itself->ShowScene(scene);
    itself->SetOpacity(0.5f);
    scene->AddItem(other);
    scene->AddItem(itself);
    host::log::Clear();
    pause.reset();
    host::DriveFrame(&device, 1);
    host::DriveFrame(&device, 2);
    pause.emplace();
    EXPECT_TRUE(FailingAllocations::failed() || host::log::Complaints().empty()) << host::log::Complaints();
    itself->ShowScene(nullptr);
  });
  EXPECT_GT(failures, 2);
}

// Values, stages and what this version leaves out.
TEST_F(NoMemoryGraphicsTest, TheRestThrowsNothing) {
  const auto item = MakeItem(gs_vec2(4, 4), &device);
  const auto texture = MakeColor(1, 2, 3, 4, &device);
  GsViewImpl view(GsWindowInfo{}, 16, 16, &device);
  FailingAllocations::Run([&] {
    GsScreenDup duplicator("screen", &device);
    EXPECT_EQ(duplicator.Dup(), -1);
    device.SetFps(60);
    device.ClearFrameList();
    device.EnterThreadContext();
    device.LeaveThreadContext();
    EXPECT_TRUE(device.InitThreadContext());
    EXPECT_TRUE(device.IsInternalRenderThread());
    device.UninitThreadContext();
    device.Enter();
    device.Leave();
    EXPECT_EQ(device.native_obj(), nullptr);
    view.SetBackgroundColor(1, 1, 1, 1);
    view.SetClampX(1);
    view.SetClampY(1);
    view.Move(3, 4);
    view.SetWindow({});
    EXPECT_EQ(view.ToScene(gs_vec2(3, 4)).x, 0.0f);
    EXPECT_EQ(view.ToView(gs_vec2(3, 4)).x, 0.0f);
    EXPECT_EQ(view.HitTest(gs_vec2(3, 4)).item, nullptr);
    EXPECT_EQ(view.scene_ptr(), nullptr);
    item->MoveTo(gs_vec2(1, 1));
    item->Resize(gs_vec2(2, 2));
    item->SetRotation(1);
    item->SetZ(1);
    item->SetVisible(true);
    item->SetHovered(true);
    item->SetSelected(true);
    item->Attach();
    item->Detach();
    texture->SetRotation(1);
    const GsTextureBinder binder(texture.get());
    GsContext context(&device);
    context.SetViewport(0, 0, 1, 1);
    context.DrawRect({gs_vec2(), gs_vec2(1, 1)}, {1, 1});
    context.DrawVertexArray(nullptr, 0, nullptr, 0, {gs_vec2(), gs_vec2()}, {1, 1});
    context.UnbindShader();
  });
}

TEST_F(NoMemoryGraphicsTest, ItemsComeAndGoOrNot) {
  const auto scene = MakeScene(8, 8, &device);
  const auto first = MakeItem(gs_vec2(4, 4), &device);
  scene->AddItem(first);
  scene->Attach();
  EXPECT_GT(Run([&] {
              const auto item = MakeItem(gs_vec2(4, 4), &device);
              scene->AddItem(item);
              EXPECT_EQ(item->scene() != nullptr, scene->item_count() == 2);
              scene->RemoveItem(item);
              const FailingAllocations::Pause pause;
              scene->RemoveItem(item);
              EXPECT_EQ(scene->item_count(), 1u);
              EXPECT_EQ(item->scene(), nullptr);
            }),
            4);
  scene->Detach();
}

// Sorting does with less where it must.
TEST_F(NoMemoryGraphicsTest, ItemsAreSortedOrNot) {
  const auto scene = MakeScene(8, 8, &device);
  const auto low = MakeItem(gs_vec2(4, 4), &device);
  const auto high = MakeItem(gs_vec2(4, 4), &device);
  scene->AddItem(high);
  scene->AddItem(low);
  const auto is_first = [](GsItem* item, void* expected) {
    EXPECT_EQ(item, expected) << host::log::Complaints();
    return false;
  };
  EXPECT_GT(FailingAllocations::Run([&] {
              {
                const FailingAllocations::Pause pause;
                host::log::Clear();
                low->SetZ(1);
                high->SetZ(0);
                scene->OrderItem();
                low->SetZ(0);
                high->SetZ(1);
              }
              scene->OrderItem();
              const bool sorted = host::log::Complaints().empty();
              EXPECT_TRUE(sorted || FailingAllocations::failed());
              scene->EnumItems(is_first, static_cast<GsItem*>(sorted ? low.get() : high.get()));
            }),
            2);
}

TEST_F(NoMemoryGraphicsTest, OutputsStartOrNot) {
  const auto scene = MakeScene(8, 8, &device);
  EXPECT_GT(Run([&] {
              host::Receiver receiver(scene, 8, 8, kGsFormatNV12, &device);
              const bool started = receiver.Start();
              EXPECT_TRUE(started || FailingAllocations::failed());
            }),
            5);
  EXPECT_GT(Run([&] {
              host::TextureReceiver receiver(scene, 8, 8, &device);
              const bool started = receiver.Start();
              EXPECT_TRUE(started || FailingAllocations::failed());
            }),
            2);
}

TEST_F(NoMemoryGraphicsTest, StartedAgainOrStopped) {
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  EXPECT_GT(Run([&] {
              {
                const FailingAllocations::Pause pause;
                ASSERT_TRUE(receiver.Start());
              }
              const std::size_t before = receiver.timestamps().size();
              const bool started = receiver.Start();
              const FailingAllocations::Pause pause;
              EXPECT_TRUE(started || FailingAllocations::failed());
              Frame(7);
              Frame(8);
              if (!FailingAllocations::failed()) receiver.WaitFor(before + 1);
              receiver.Stop();
              if (!started) {
                EXPECT_EQ(receiver.timestamps().size(), before);
              }
            }),
            2);
}

TEST_F(NoMemoryGraphicsTest, FramesAreDrawnWithWhatThereIs) {
  const auto scene = MakeScene(8, 8, &device);
  const auto texture = MakeColor(9, 8, 7, 255, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatI420, &device);
  ASSERT_TRUE(receiver.Start());
  GsViewImpl view(GsWindowInfo{}, 16, 16, &device);
  view.SetScene(scene);
  view.Attch();
  int number = 0;
  FailingAllocations::Run([&] {
    scoped_refptr<host::Item> item;
    {
      const FailingAllocations::Pause pause;
      item = MakeItem(gs_vec2(8, 8), &device);
      item->texture = texture.get();
      item->SetSelected(true);
      scene->AddItem(item);
      view.Resize(17 + number++, 16);
    }
    EXPECT_EQ(view.HitTest(view.ToView(gs_vec2())).item, item);
    host::DriveFrame(&device, 1);
    const FailingAllocations::Pause pause;
    scene->RemoveItem(item);
  });
  view.Detach();
  receiver.Stop();
}

TEST_F(NoMemoryGraphicsTest, ProgramsAndConstantsAreBoundOrNot) {
  ASSERT_TRUE(
      device.AddShader("a program whose name is longer than a string holds in place", glsl_src[1], host::kTintSource));
  const auto scene = MakeScene(8, 8, &device);
  host::TextureReceiver receiver(scene, 8, 8, &device);
  int failures = 0;
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  item->on_draw = [&] {
    GsConstantBuffer constants(16, &device);
    int slot = 0;
    failures += Run([&] {
      GsContext context(&device);
      if (context.BindShader("a program whose name is longer than a string holds in place")) context.UnbindShader();
      if (constants.Bind(slot++ % 10)) constants.Unbind();
    });
  };
  scene->AddItem(item);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  EXPECT_GT(failures, 0);
  receiver.Stop();
}

}  // namespace
