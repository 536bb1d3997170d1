#include "tests/pictures/stage.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace pictures {
namespace {

// Beyond what any machine needs for a picture.
constexpr std::chrono::seconds kPatience(60);
constexpr std::uint64_t kPeriod = 1000;

}  // namespace

std::vector<unsigned char> Noise(int width, int height, int channels, std::uint32_t seed, Alpha alpha) {
  Random random(seed);
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                                    static_cast<std::size_t>(channels));
  for (unsigned char& value : pixels) value = static_cast<unsigned char>(random.Next() >> 11);
  if (channels != 4) return pixels;
  for (std::size_t i = 3; i < pixels.size(); i += 4) {
    switch (alpha) {
      case Alpha::kOpaque: pixels[i] = 255; break;
      case Alpha::kMixed: break;
      case Alpha::kNone: pixels[i] = 0; break;
      case Alpha::kSteps: {
        constexpr unsigned char kSteps[] = {0, 1, 127, 128, 254, 255};
        pixels[i] = kSteps[i / 4 % 6];
        break;
      }
    }
  }
  return pixels;
}

const char kTint[] = "a tint";
const char kTintSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform u_buf0 { vec4 tint; };\n"
    "void main() { FragColor = texture(u_tex0, v_tex_coord) * tint; }\n";
const char kFour[] = "four textures";
const char kFourSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform sampler2D u_tex1;\n"
    "uniform sampler2D u_tex2;\n"
    "uniform sampler2D u_tex3;\n"
    "uniform u_buf0 { vec4 share; };\n"
    "void main() {\n"
    "  FragColor = share.x * texture(u_tex0, v_tex_coord) + share.y * texture(u_tex1, v_tex_coord) +\n"
    "      share.z * texture(u_tex2, v_tex_coord) + share.w * texture(u_tex3, v_tex_coord);\n"
    "}\n";

Scene::Scene(Stage* stage, unsigned int width, unsigned int height, std::string name)
    : GsScene(width, height, stage->device()), stage_(stage), name_(std::move(name)) {}

void Scene::Draw() {
  stage_->record()->Line("draw " + name_);
  draw ? draw(this) : DrawItems();
}

Item::Item(Stage* stage, const gs_vec2& size, std::string name)
    : GsItem(size, stage->device()), stage_(stage), name_(std::move(name)) {}

void Item::TickSource() {
  if (!quiet) stage_->record()->Line("tick " + name_);
  if (tick) tick(this);
}

void Item::Draw() {
  if (!quiet) stage_->record()->Line("draw " + name_);
  draw ? draw(this) : DrawPicture();
}

void Item::DrawPicture() {
  GsScene* const canvas = scene();
  if (!canvas) return;
  GsContext context(stage_->device());
  context.SetViewport(0, 0, canvas->width(), canvas->height());
  if (!context.BindShader(program.c_str())) return;
  DrawPictureAt(gs_transform(pos(), size(), rotation()), Vec(canvas->width(), canvas->height()));
  context.UnbindShader();
}

void Item::DrawPictureAt(const gs_transform& transform, const gs_vec2& target) {
  GsTextureBinder binder(textures[0], textures[1], textures[2], textures[3]);
  std::vector<GsConstantBuffer*> bound;
  for (const Constants& block : constants) {
    if (block.buffer->Bind(block.slot)) bound.push_back(block.buffer);
  }
  GsContext(stage_->device()).DrawRect(transform, target);
  for (GsConstantBuffer* const buffer : bound) buffer->Unbind();
}

Filter::Filter(Stage* stage, unsigned int width, unsigned int height, std::string name)
    : GsFilter(width, height, stage->device()), stage_(stage), name_(std::move(name)) {}

Filter::~Filter() { Detach(); }

void Filter::Draw() {
  stage_->record()->Line("draw " + name_);
  if (draw) draw(this);
}

Output::Output(Stage* stage, GsScene* scene, int width, int height, GsFormat format, std::string name)
    : GsOutputRaw(scene, Unsigned(width), Unsigned(height), format, stage->device()),
      stage_(stage),
      format_(format),
      name_(std::move(name)) {}

Output::~Output() { Stop(); }

bool Output::Start() {
  const bool answer = GsOutputRaw::Start();
  stage_->record()->Line("start " + name_ + (answer ? "" : ": refused"));
  started_ = answer;
  return answer;
}

void Output::Stop() {
  SetGate(true);
  if (started_) stage_->record()->Line("stop " + name_);
  started_ = false;
  GsOutputRaw::Stop();
}

void Output::OnFrame(const GsFrame& frame) {
  Picture picture = {};
  picture.timestamp = frame.timestamp;
  picture.width = frame.width;
  picture.height = frame.height;
  const bool planar = format_ == kGsFormatI420 || format_ == kGsFormatNV12;
  for (int i = 0; i < 4; ++i) {
    if (!frame.data[i]) continue;
    picture.linesize[i] = frame.linesize[i];
    picture.rows[i] = planar && i > 0 ? frame.height / 2 : frame.height;
    picture.planes[i].assign(frame.data[i], frame.data[i] + picture.rows[i] * frame.linesize[i]);
  }
  std::unique_lock<std::mutex> lock(mutex_);
  pictures_.push_back(std::move(picture));
  ++received_;
  changed_.notify_all();
  changed_.wait(lock, [this] { return open_; });
}

void Output::SetGate(bool open) {
  std::lock_guard<std::mutex> lock(mutex_);
  open_ = open;
  changed_.notify_all();
}

void Output::Collect(unsigned int count) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [&] { return pictures_.size() >= count; })) {
    stage_->record()->Line("MISSING pictures of " + name_);
  }
  const std::size_t there = std::min<std::size_t>(count, pictures_.size());
  for (std::size_t i = 0; i < there; ++i) Write(pictures_[i]);
  pictures_.erase(pictures_.begin(), pictures_.begin() + static_cast<std::ptrdiff_t>(there));
}

void Output::Rest() {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Picture& picture : pictures_) Write(picture);
  pictures_.clear();
}

void Output::WriteCounts() {
  // A delivery is counted when it is over, which may be a moment after Stop.
  while (Counts().delivered < received_) std::this_thread::yield();
  stage_->record()->Line("counts " + std::to_string(Counts().delivered) + " repeated " +
                         std::to_string(Counts().repeated));
}

void Output::Write(const Picture& picture) {
  const std::string name = name_ + "." + std::to_string(++written_);
  stage_->record()->Line("frame " + name + " " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                         " time " + std::to_string(picture.timestamp));
  for (int i = 0; i < 4; ++i) {
    if (picture.planes[i].empty()) continue;
    stage_->record()->Picture(name + "." + std::to_string(i), picture.planes[i].data(), picture.linesize[i],
                              picture.rows[i]);
  }
}

TextureOutput::TextureOutput(Stage* stage, GsScene* scene, int width, int height, std::string name)
    : GsOutputTex(scene, Unsigned(width), Unsigned(height), stage->device()), stage_(stage), name_(std::move(name)) {}

TextureOutput::~TextureOutput() { Stop(); }

void TextureOutput::OnTexture(GsTexture* texture, unsigned long long timestamp) {
  stage_->record()->Line("texture " + name_ + " " + std::to_string(texture->width()) + "x" +
                         std::to_string(texture->height()) + " time " + std::to_string(timestamp));
  if (on_texture) on_texture(texture);
}

Stage::Stage(Record* record, bool is_default) : record_(record), is_default_(is_default) {
  if (is_default) {
    GsDevice::CreateDefaultDevice(false);
    device_ = GsDevice::DefaultDevice();
  } else {
    own_device_ = std::make_unique<GsDevice>();
    own_device_->Init();
    device_ = own_device_.get();
  }
  device_->InitThreadContext();
}

Stage::~Stage() {
  for (const auto& output : outputs_) {
    output->Stop();
    output->Rest();
    output->WriteCounts();
  }
  outputs_.clear();
  texture_outputs_.clear();
  kept_.clear();
  for (const auto& scene : scenes_) {
    scene->EnumItems(
        [](GsItem* item, void* owner) {
          static_cast<GsScene*>(owner)->RemoveItem(item);
          return true;
        },
        static_cast<GsScene*>(scene.get()));
  }
  scenes_.clear();
  items_.clear();
  filters_.clear();
  device_->UninitThreadContext();
  if (is_default_) GsDevice::DestroyDefaultDevice();
  own_device_.reset();
}

Scene* Stage::MakeScene(int width, int height) {
  scenes_.push_back(
      MakeRef<RefCounted<Scene>>(this, Unsigned(width), Unsigned(height), "scene" + std::to_string(++names_)));
  return scenes_.back();
}

Item* Stage::MakeItem(GsScene* scene, const gs_vec2& size, const gs_vec2& pos, GsTexture* texture) {
  items_.push_back(MakeRef<RefCounted<Item>>(this, size, "item" + std::to_string(++names_)));
  Item* const item = items_.back();
  item->MoveTo(pos);
  item->textures[0] = texture;
  if (scene) scene->AddItem(item);
  return item;
}

Filter* Stage::MakeFilter(int width, int height) {
  filters_.push_back(
      std::make_unique<Filter>(this, Unsigned(width), Unsigned(height), "filter" + std::to_string(++names_)));
  return filters_.back().get();
}

Output* Stage::MakeOutput(GsScene* scene, int width, int height, GsFormat format) {
  outputs_.push_back(std::make_unique<Output>(this, scene, width, height, format, "output" + std::to_string(++names_)));
  outputs_.back()->Start();
  return outputs_.back().get();
}

TextureOutput* Stage::MakeTextureOutput(GsScene* scene, int width, int height) {
  texture_outputs_.push_back(
      std::make_unique<TextureOutput>(this, scene, width, height, "output" + std::to_string(++names_)));
  texture_outputs_.back()->Start();
  return texture_outputs_.back().get();
}

GsTexture* Stage::MakeTexture(int width, int height, std::uint32_t seed, Alpha alpha) {
  const std::vector<unsigned char> pixels = Noise(width, height, 4, seed, alpha);
  return Keep(std::make_unique<GsTexture>(pixels.data(), Unsigned(4 * width), GsTexture::kTextureRGBA, Unsigned(width),
                                          Unsigned(height), device_));
}

GsTexture* Stage::MakeColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a) {
  const unsigned char pixel[] = {r, g, b, a};
  return Keep(std::make_unique<GsTexture>(pixel, 4, GsTexture::kTextureRGBA, 1, 1, device_));
}

GsConstantBuffer* Stage::MakeConstants(const void* data, unsigned int size) {
  return Keep(std::make_unique<GsConstantBuffer>(data, size, device_));
}

GsConstantBuffer* Stage::MakeConstants(const std::vector<float>& values) {
  return MakeConstants(values.data(), static_cast<unsigned int>(values.size() * sizeof(float)));
}

void Stage::AddProgram(const char* name, const char* fragment_source) {
  record_->Line(std::string("program ") + name +
                (device_->AddShader(name, glsl_src[kGsGlslRgba + 1], fragment_source) ? "" : ": refused"));
}

void Stage::AddBgraProgram() {
  device_->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
}

void Stage::Remove(Output* output) {
  output->Stop();
  output->Rest();
  outputs_.erase(std::find_if(outputs_.begin(), outputs_.end(), [&](const auto& own) { return own.get() == output; }));
}

void Stage::Remove(Item* item) {
  for (const auto& scene : scenes_) scene->RemoveItem(item);
  items_.erase(std::find_if(items_.begin(), items_.end(), [&](const auto& own) { return own.get() == item; }));
}

void Stage::Drive(unsigned int count) {
  record_->Line("-- frame");
  timestamp_ += kPeriod;
  device_->TickSource();
  device_->HandleFilter();
  device_->OutputFrame(timestamp_, count);
  device_->DrawDisplay();
  device_->DoTask();
}

void Stage::Frame(unsigned int count) {
  Drive(count);
  for (const auto& output : outputs_) {
    if (output->started() && !output->silent) output->Collect(count);
  }
}

void Stage::Frames(int frames) {
  for (int i = 0; i < frames; ++i) Frame();
}

gs_vec2 CentreOf(GsScene* scene, const gs_vec2& size, int left, int top) {
  return gs_vec2(static_cast<float>(left) + size.x / 2.0f - static_cast<float>(scene->width()) / 2.0f,
                 static_cast<float>(top) + size.y / 2.0f - static_cast<float>(scene->height()) / 2.0f);
}

}  // namespace pictures
