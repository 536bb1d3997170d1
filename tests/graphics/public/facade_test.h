// What the tests of the public graphics classes share: a fake engine, the log, and a look at vtables.
#ifndef QUARN_TESTS_GRAPHICS_PUBLIC_FACADE_TEST_H_
#define QUARN_TESTS_GRAPHICS_PUBLIC_FACADE_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <quarn/gs_device.h>

#include "foundation/logger.h"
#include "tests/support/fake_device.h"
#include "tests/support/log_capture.h"

// No default device, a fresh journal and log.
class FacadeTest : public testing::Test {
 protected:
  FacadeTest() { fake::Reset(); }
  ~FacadeTest() override {
    GsDevice::DestroyDefaultDevice();
    fake::Reset();
  }

  // What was logged at that level, oldest first.
  std::vector<std::string> errors() const { return At(Logger::Level::Error); }
  std::vector<std::string> warnings() const { return At(Logger::Level::Warn); }

  LogCapture log_;

 private:
  std::vector<std::string> At(Logger::Level level) const {
    std::vector<std::string> found;
    for (const LogCapture::Line& line : log_.Lines()) {
      if (line.level == level) found.push_back(line.text);
    }
    return found;
  }
};

// The same with a default device, not started; the journal and the log begin after its creation.
class FacadeWithDeviceTest : public FacadeTest {
 protected:
  FacadeWithDeviceTest() { MakeDevice(); }

  void MakeDevice() {
    GsDevice::DestroyDefaultDevice();
    GsDevice::CreateDefaultDevice(false);
    fake::ClearCalls();
    log_.Clear();
  }
  static GsDevice* device() { return GsDevice::DefaultDevice(); }
  static FakeDevice* engine() { return static_cast<FakeDevice*>(device()->impl()); }
};

// The place of a virtual operation in its class's table; a destructor takes two places.
template <class Function>
std::ptrdiff_t Slot(Function function) {
  std::ptrdiff_t words[2] = {};
  static_assert(sizeof(function) == sizeof(words), "the layout of the Itanium ABI");
  std::memcpy(words, &function, sizeof(words));
#if defined(__aarch64__)
  return words[0] / static_cast<std::ptrdiff_t>(sizeof(void*));
#else
  return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
#endif
}

#endif  // QUARN_TESTS_GRAPHICS_PUBLIC_FACADE_TEST_H_
