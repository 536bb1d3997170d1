// The way from an engine object to the host's override.
#include "graphics/public/gs_bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

#include "tests/support/log_capture.h"

namespace {

class Callback {
 public:
  virtual ~Callback() = default;
  virtual void OnEvent() = 0;
};

class Host {
 public:
  void Handle() {
    ++calls;
    if (on_call) on_call();
  }
  int calls = 0;
  std::function<void()> on_call;
};

class HostOnEvent : public GsBridge<Callback, Host> {
 public:
  using GsBridge::GsBridge;
  void OnEvent() override { Lead(&Host::Handle); }
};

class Engine {
 public:
  void Attach(Callback* callback) {
    if (out_of_memory) throw std::bad_alloc();
    attached = callback;
  }
  void Detach() {
    attached = nullptr;
    ++detaches;
  }
  Callback* attached = nullptr;
  int detaches = 0;
  bool out_of_memory = false;
};

TEST(GsBridgeTest, LeadsFromTheEngineToTheHostUntilItIsDetached) {
  Host host;
  Engine engine;
  HostOnEvent* bridge = nullptr;
  EXPECT_TRUE(AttachBridge("Attaching", &host, &engine, &bridge));
  ASSERT_NE(bridge, nullptr);
  ASSERT_EQ(engine.attached, bridge);
  engine.attached->OnEvent();
  engine.attached->OnEvent();
  EXPECT_EQ(host.calls, 2);
  DetachBridge(&engine, &bridge);
  EXPECT_EQ(engine.attached, nullptr);
  EXPECT_EQ(bridge, nullptr);
}

TEST(GsBridgeTest, TheHostMayDetachInTheCall) {
  Host host;
  Engine engine;
  HostOnEvent* bridge = nullptr;
  ASSERT_TRUE(AttachBridge("Attaching", &host, &engine, &bridge));
  host.on_call = [&] { DetachBridge(&engine, &bridge); };
  engine.attached->OnEvent();
  EXPECT_EQ(host.calls, 1);
  EXPECT_EQ(bridge, nullptr);
}

TEST(GsBridgeTest, IsMadeWithoutAnEngineToo) {
  Host host;
  HostOnEvent* bridge = nullptr;
  EXPECT_TRUE(AttachBridge("Attaching", &host, static_cast<Engine*>(nullptr), &bridge));
  EXPECT_NE(bridge, nullptr);
  DetachBridge(static_cast<Engine*>(nullptr), &bridge);
  EXPECT_EQ(bridge, nullptr);
}

TEST(GsBridgeTest, SaysWhenMemoryWasMissing) {
  LogCapture log;
  Host host;
  Engine engine;
  engine.out_of_memory = true;
  HostOnEvent* bridge = nullptr;
  EXPECT_FALSE(AttachBridge("Attaching", &host, &engine, &bridge));
  EXPECT_TRUE(log.Has(Logger::Level::Error, "Attaching comes to nothing: no memory"));
  DetachBridge(&engine, &bridge);
  EXPECT_EQ(engine.detaches, 1);
  EXPECT_EQ(bridge, nullptr);
}

}  // namespace
