#include "tests/public/host.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>

namespace host {
namespace log {
namespace {

struct Line {
  int level;
  std::string text;
};

std::mutex mutex;
std::condition_variable added;
std::vector<Line> lines;

void Record(int level, const char* format, va_list args, void* /*user*/) {
  char text[4096];
  std::vsnprintf(text, sizeof(text), format, args);
  {
    std::lock_guard<std::mutex> lock(mutex);
    lines.push_back({level, text});
  }
  added.notify_all();
}

int CountLocked(int level, const std::string& text) {
  return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                        [&](const Line& line) { return line.level == level && line.text == text; }));
}

}  // namespace

void Install() { qn_set_log_handle(Record, nullptr); }

void Clear() {
  std::lock_guard<std::mutex> lock(mutex);
  lines.clear();
}

int Count(int level, const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex);
  return CountLocked(level, text);
}

bool WaitFor(int level, const std::string& text) {
  std::unique_lock<std::mutex> lock(mutex);
  return added.wait_for(lock, std::chrono::milliseconds(kPatienceMs), [&] { return CountLocked(level, text) > 0; });
}

int CountContaining(int level, const std::string& part) {
  std::lock_guard<std::mutex> lock(mutex);
  return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const Line& line) {
    return line.level == level && line.text.find(part) != std::string::npos;
  }));
}

std::string Complaints() {
  std::lock_guard<std::mutex> lock(mutex);
  std::string text;
  for (const Line& line : lines) {
    if (line.level <= kQnLogWarning && line.text != "device create success") text += line.text + "\n";
  }
  return text;
}

}  // namespace log

namespace {

template <class Predicate>
bool WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, int ms, Predicate predicate) {
  return changed.wait_for(lock, std::chrono::milliseconds(ms), predicate);
}

}  // namespace

void Flag::Set() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    set_ = true;
  }
  changed_.notify_all();
}

bool Flag::IsSet() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return set_;
}

bool Flag::Wait(int ms) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return WaitUntil(changed_, lock, ms, [this] { return set_; });
}

int Counter::Add() {
  std::unique_lock<std::mutex> lock(mutex_);
  const int value = ++value_;
  lock.unlock();
  changed_.notify_all();
  return value;
}

int Counter::value() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return value_;
}

bool Counter::WaitFor(int value) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return WaitUntil(changed_, lock, kPatienceMs, [&] { return value_ >= value; });
}

std::vector<test::Picture> CopyPlanes(const GsFrame& frame, GsFormat format) {
  const int width = static_cast<int>(frame.width);
  const int height = static_cast<int>(frame.height);
  const auto plane = [&](int i, int w, int h, int channels) {
    return test::Picture(frame.data[i], frame.linesize[i], w, h, channels);
  };
  switch (format) {
    case kGsFormatI420:
      return {plane(0, width, height, 1), plane(1, width / 2, height / 2, 1), plane(2, width / 2, height / 2, 1)};
    case kGsFormatNV12: return {plane(0, width, height, 1), plane(1, width / 2, height / 2, 2)};
    default: return {plane(0, width, height, 4)};
  }
}

void Receiver::OnFrame(const GsFrame& frame) {
  Delivery delivery;
  delivery.timestamp = frame.timestamp;
  delivery.format = frame.format;
  delivery.thread = std::this_thread::get_id();
  if (keep_planes) delivery.planes = CopyPlanes(frame, format_);
  int count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    deliveries_.push_back(std::move(delivery));
    count = static_cast<int>(deliveries_.size());
  }
  changed_.notify_all();
  if (on_frame) on_frame(count);
}

std::vector<Delivery> Receiver::WaitFor(std::size_t count) const {
  std::unique_lock<std::mutex> lock(mutex_);
  WaitUntil(changed_, lock, kPatienceMs, [&] { return deliveries_.size() >= count; });
  const auto end = deliveries_.begin() + static_cast<std::ptrdiff_t>(std::min(count, deliveries_.size()));
  return std::vector<Delivery>(deliveries_.begin(), end);
}

std::vector<Delivery> Receiver::deliveries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return deliveries_;
}

std::vector<std::uint64_t> Receiver::timestamps() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::uint64_t> result;
  for (const Delivery& delivery : deliveries_) result.push_back(delivery.timestamp);
  return result;
}

void TextureReceiver::OnTexture(GsTexture* texture, unsigned long long timestamp) {
  int count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    timestamps_.push_back(timestamp);
    count = static_cast<int>(timestamps_.size());
  }
  changed_.notify_all();
  if (on_texture) on_texture(texture, count);
}

std::vector<std::uint64_t> TextureReceiver::WaitFor(std::size_t count) const {
  std::unique_lock<std::mutex> lock(mutex_);
  WaitUntil(changed_, lock, kPatienceMs, [&] { return timestamps_.size() >= count; });
  const auto end = timestamps_.begin() + static_cast<std::ptrdiff_t>(std::min(count, timestamps_.size()));
  return std::vector<std::uint64_t>(timestamps_.begin(), end);
}

std::vector<std::uint64_t> TextureReceiver::timestamps() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return timestamps_;
}

void Item::TickSource() {
  if (on_tick) on_tick();
  ticks.Add();
}

void Item::Draw() {
  ++draws;
  if (on_draw) on_draw();
  GsScene* const canvas = scene();
  if (!texture || !canvas) return;
  GsContext context(device_ ? device_ : GsDevice::DefaultDevice());
  context.SetViewport(0, 0, canvas->width(), canvas->height());
  if (!context.BindShader(program)) return;
  {
    GsTextureBinder binder(texture);
    const bool bound = constants && constants->Bind(0);
    context.DrawRect(gs_transform(pos(), size(), rotation()),
                     gs_vec2(static_cast<float>(canvas->width()), static_cast<float>(canvas->height())));
    if (bound) constants->Unbind();
  }
  context.UnbindShader();
}

scoped_refptr<Scene> MakeScene(unsigned int width, unsigned int height, GsDevice* device) {
  return MakeRef<RefCounted<Scene>>(width, height, device);
}

scoped_refptr<Item> MakeItem(const gs_vec2& size, GsDevice* device) { return MakeRef<RefCounted<Item>>(size, device); }

std::unique_ptr<GsTexture> MakeTexture(const test::Picture& picture, GsDevice* device) {
  return std::make_unique<GsTexture>(picture.pixels.data(), static_cast<unsigned int>(picture.width * 4),
                                     GsTexture::kTextureRGBA, static_cast<unsigned int>(picture.width),
                                     static_cast<unsigned int>(picture.height), device);
}

std::unique_ptr<GsTexture> MakeColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a,
                                     GsDevice* device) {
  test::Picture picture(1, 1, 4);
  picture.pixels = {r, g, b, a};
  return MakeTexture(picture, device);
}

test::Picture MakePattern(int width, int height, int alpha) {
  test::Picture picture(width, height, 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char* const pixel = picture.at(x, y);
      pixel[0] = static_cast<unsigned char>(255 * x / std::max(1, width - 1));
      pixel[1] = static_cast<unsigned char>(255 * y / std::max(1, height - 1));
      pixel[2] = static_cast<unsigned char>((x / 4 + y / 3) % 3 * 100);
      pixel[3] = static_cast<unsigned char>(alpha < 0 ? 255 * x / std::max(1, width - 1) : alpha);
    }
  }
  return picture;
}

void DriveFrame(GsDevice* device, std::uint64_t timestamp, unsigned int count) {
  device->TickSource();
  device->HandleFilter();
  device->OutputFrame(timestamp, count);
  device->DrawDisplay();
  device->DoTask();
}

void DrivenTest::SetUp() {
  log::Clear();
  ASSERT_TRUE(device.Init());
  ASSERT_TRUE(device.InitThreadContext());
}

void DrivenTest::TearDown() { device.UninitThreadContext(); }

void DrivenTest::Frame(std::uint64_t timestamp, unsigned int count) { DriveFrame(&device, timestamp, count); }

void ThreadedTest::SetUp() {
  log::Clear();
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
  device = GsDevice::DefaultDevice();
  device->SetFps(100);
  // The change comes after the frame in hand, which is output one frame later with the time that it has on the old
  // grid.
  ASSERT_TRUE(PassFrames(device, 3));
}

void ThreadedTest::TearDown() { GsDevice::DestroyDefaultDevice(); }

namespace {

constexpr unsigned char kProof[] = {10, 200, 90, 255};

::testing::AssertionResult DeviceWorks(GsDevice* device, const std::function<void()>& make_frame) {
  const auto color = MakeColor(kProof[0], kProof[1], kProof[2], kProof[3], device);
  const auto scene = MakeScene(16, 8, device);
  const auto item = MakeItem(gs_vec2(16, 8), device);
  item->texture = color.get();
  scene->AddItem(item);
  Receiver receiver(scene, 16, 8, kGsFormatRGBA, device);
  if (!receiver.Start()) return ::testing::AssertionFailure() << "the output did not start";
  if (make_frame) make_frame();
  const std::vector<Delivery> deliveries = receiver.WaitFor(1);
  receiver.Stop();
  if (deliveries.empty()) return ::testing::AssertionFailure() << "no frame came";
  const unsigned char* const pixel = deliveries[0].planes[0].at(7, 3);
  if (!std::equal(pixel, pixel + 4, kProof)) return ::testing::AssertionFailure() << "the frame has another colour";
  return ::testing::AssertionSuccess();
}

}  // namespace

::testing::AssertionResult DrivenDeviceWorks(GsDevice* device) {
  return DeviceWorks(device, [device] { DriveFrame(device, 1); });
}

::testing::AssertionResult ThreadedDeviceWorks(GsDevice* device) { return DeviceWorks(device, nullptr); }

bool PassFrames(GsDevice* device, int count) {
  for (int i = 0; i < count; ++i) {
    Flag passed;
    device->QueueTask([](void* flag) { static_cast<Flag*>(flag)->Set(); }, &passed);
    if (!passed.Wait()) return false;
  }
  return true;
}

::testing::AssertionResult IsContiguous(const std::vector<std::uint64_t>& timestamps, std::uint64_t interval) {
  for (std::size_t i = 1; i < timestamps.size(); ++i) {
    if (timestamps[i] - timestamps[i - 1] != interval) {
      return ::testing::AssertionFailure() << "frame " << i << " is stamped " << timestamps[i] << ", the one before it "
                                           << timestamps[i - 1] << "; the interval is " << interval;
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace host
