// Items that show a picture. Any thread sets what is shown; the render thread ticks and draws.
//
// What a setter exchanges is guarded by the item's mutex, which is held for a moment. The scene shown is exchanged with
// the context's lock held as well: so a tick and a draw, which run with it held, find it there until they end.
#include <quarn/gs_picture_item.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/draw_target.h"
#include "graphics/graphics_constant_buffer.h"
#include "graphics/graphics_context.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_texture_array.h"
#include "graphics/public/gs_scene_use.h"
#include "graphics/public/to_engine.h"
#include "graphics/shown_scenes.h"

namespace {

constexpr char kPlainProgram[] = "rgba";

// Draws a part of a picture, faded. Linear filtering stays within the part, as it stays within a texture.
constexpr char kPartProgram[] = "quarn: part of a picture";
constexpr char kPartVertexSource[] =
    "in vec3 a_pos;\n"
    "in vec2 a_tex_coord;\n"
    "out vec2 v_tex_coord;\n"
    "uniform mvp {\n"
    "    mat4 model;\n"
    "    mat4 view;\n"
    "    mat4 projection;\n"
    "};\n"
    "\n"
    "void main() {\n"
    "    gl_Position = projection * view * model * vec4(a_pos, 1.0);\n"
    "    v_tex_coord = a_tex_coord;\n"
    "}\n";
constexpr char kPartFragmentSource[] =
    "in vec2 v_tex_coord;\n"
    "out vec4 FragColor;\n"
    "uniform sampler2D u_tex0;\n"
    "layout(std140) uniform u_buf0 {\n"
    "    vec4 part;\n"
    "    vec4 look;\n"
    "};\n"
    "\n"
    "void main() {\n"
    "    vec2 margin = min(0.5 / vec2(textureSize(u_tex0, 0)), 0.5 * abs(part.zw));\n"
    "    vec2 least = min(part.xy, part.xy + part.zw) + margin;\n"
    "    vec2 most = max(part.xy, part.xy + part.zw) - margin;\n"
    "    vec4 rgba = texture(u_tex0, clamp(part.xy + part.zw * v_tex_coord, least, most));\n"
    "    FragColor = vec4(rgba.rgb, max(rgba.a, look.y) * look.x);\n"
    "}\n";

// What a program finds in u_buf0.
struct Constants {
  float part[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  float look[4] = {1.0f, 0.0f, 0.0f, 0.0f};

  bool operator==(const Constants& other) const {
    return std::equal(part, part + 4, other.part) && std::equal(look, look + 4, other.look);
  }
};

// What is shown and how, as setters leave it.
struct Look {
  std::shared_ptr<GsTexture> texture;
  bool own_texture = false;
  GsScene* scene = nullptr;                    // In the place of the texture.
  bool scene_fits = false;                     // Whether it is of the item's device.
  std::shared_ptr<const std::string> program;  // The host's; null for the library's own.
  float opacity = 1.0f;
  bool flip_horizontal = false;
  bool flip_vertical = false;
  bool cropped = false;
  gs_vec2 corner;
  gs_vec2 extent;

  bool plain() const { return !scene && opacity == 1.0f && !flip_horizontal && !flip_vertical && !cropped; }

  // Null where nothing is to be shown.
  GraphicsTexture* picture() const {
    if (scene) return scene_fits && scene->impl() ? scene->impl()->texture() : nullptr;
    return texture ? texture->impl() : nullptr;
  }

  Constants ConstantsFor(GraphicsTexture* shown) const {
    Constants constants;
    float(&part)[4] = constants.part;
    if (cropped) {
      const auto width = static_cast<float>(shown->width());
      const auto height = static_cast<float>(shown->height());
      part[0] = corner.x / width;
      part[1] = 1.0f - (corner.y + extent.y) / height;  // A texture's coordinates go upwards.
      part[2] = extent.x / width;
      part[3] = extent.y / height;
    }
    if (flip_horizontal) part[0] += std::exchange(part[2], -part[2]);
    if (flip_vertical) part[1] += std::exchange(part[3], -part[3]);
    constants.look[0] = opacity;
    constants.look[1] = scene ? 1.0f : 0.0f;  // Opaque, whatever blending has left in its alpha.
    return constants;
  }
};

unsigned char ToByte(float channel) {
  if (!(channel > 0.0f)) return 0;
  return channel < 1.0f ? static_cast<unsigned char>(std::lround(channel * 255.0f)) : 255;
}

}  // namespace

// Behind an item.
class GsShownPicture {
 public:
  explicit GsShownPicture(GraphicsDevice* device)
      : engine(device), context(AcquireContext(device ? device->gs_context() : nullptr)) {}
  ~GsShownPicture() {
    constants.reset();
    ReleaseContext(context);
  }
  GsShownPicture(const GsShownPicture&) = delete;
  GsShownPicture& operator=(const GsShownPicture&) = delete;

  Look CopyLook() {
    MutexLocker<Mutex> lock(mutex);
    return look;
  }
  // Returns null, or what is in the way. Throws std::bad_alloc.
  const char* Draw(const internal_transform& place);
  const char* BindProgram(const Look& now);
  bool BindConstants(const Constants& values);

  GraphicsDevice* const engine;  // Used in frames only: then it is there.
  GraphicsContext* const context;
  Mutex mutex;
  Look look QUARN_GUARDED_BY(mutex);

  // The render thread's.
  std::unique_ptr<GraphicsConstantBuffer> constants;
  Constants uploaded;
  bool part_program_failed = false;
  bool reported = false;  // Whether the log knows that nothing is drawn.
};

const char* GsShownPicture::BindProgram(const Look& now) {
  if (now.program) return context->BindShader(now.program->c_str()) ? nullptr : "there is no program of that name";
  if (now.plain()) return context->BindShader(kPlainProgram) ? nullptr : "there is no program \"rgba\"";
  if (context->BindShader(kPartProgram)) return nullptr;
  if (!part_program_failed) {
    part_program_failed = !engine->AddShader(kPartProgram, kPartVertexSource, kPartFragmentSource);
    if (!part_program_failed && context->BindShader(kPartProgram)) return nullptr;
  }
  return "its program could not be built";
}

bool GsShownPicture::BindConstants(const Constants& values) {
  if (!constants) {
    constants.reset(engine->CreateConstantBuffer(sizeof(values), &values));
    CountAsPart(constants.get());
    if (!constants) return false;
    uploaded = values;
  }
  if (!(uploaded == values)) constants->Update(&values, sizeof(values));
  uploaded = values;
  return constants->Bind(0);
}

const char* GsShownPicture::Draw(const internal_transform& place) {
  const internal_vec2 target = DrawTargetSize(context);
  if (target.x == 0.0f || target.y == 0.0f) {
    ReportNoDrawTarget(context);
    return nullptr;
  }
  const Look now = CopyLook();
  GraphicsTexture* const shown = now.picture();
  if (!shown) return nullptr;
  // An item before may have left another.
  SetWholeViewport(context);
  if (const char* const problem = BindProgram(now)) return problem;
  const bool plain = !now.program && now.plain();
  GraphicsTextureArray texture(shown);
  texture.Bind();
  const bool ready = plain || BindConstants(now.ConstantsFor(shown));
  if (ready) context->DrawRect(place, target);
  if (ready && !plain) constants->Unbind();
  context->UnbindShader();
  texture.Unbind();
  return ready ? nullptr : "its constants could not be bound";
}

GsPictureItem::GsPictureItem(GsDevice* device) : GsItem(device), picture_(nullptr) {
  EvenWithoutMemory("GsPictureItem::GsPictureItem", [&] { picture_ = new GsShownPicture(ResolveDevice(device)); });
}

GsPictureItem::GsPictureItem(const unsigned char* data, unsigned int stride, unsigned int width, unsigned int height,
                             GsDevice* device)
    : GsPictureItem(device) {
  Resize(gs_vec2(static_cast<float>(width), static_cast<float>(height)));
  if (!picture_ || !picture_->context) return;
  EvenWithoutMemory("GsPictureItem::GsPictureItem", [&] {
    auto texture = std::make_shared<GsTexture>(data, stride, GsTexture::kTextureRGBA, width, height, device);
    CountAsPart(texture->impl());
    MutexLocker<Mutex> lock(picture_->mutex);
    picture_->look.texture = std::move(texture);
    picture_->look.own_texture = true;
  });
}

namespace {

struct Pixel {
  explicit Pixel(const gs_vec3& color) : rgba{ToByte(color.x), ToByte(color.y), ToByte(color.z), 255} {}
  const unsigned char rgba[4];
};

}  // namespace

GsPictureItem::GsPictureItem(const gs_vec2& size, const gs_vec3& color, GsDevice* device)
    : GsPictureItem(Pixel(color).rgba, sizeof(Pixel::rgba), 1, 1, device) {
  Resize(size);
}

GsPictureItem::~GsPictureItem() {
  // First of all: the render thread must not tick an item that is being taken apart.
  Detach();
  if (!picture_) return;
  { const GsSceneUse last_use = GsSceneUse::Adopt(picture_->CopyLook().scene); }
  delete picture_;
}

void GsPictureItem::TickSource() {
  if (!picture_ || !visible() || !HoldsContextLock(picture_->context)) return;
  const Look now = picture_->CopyLook();
  if (now.scene && now.scene_fits) NoteShown(picture_->context, now.scene->impl(), scene());
}

void GsPictureItem::Draw() {
  if (!picture_ || !picture_->context) return;
  const char* problem = nullptr;
  try {
    problem = picture_->Draw(gs_transform(pos(), size(), rotation()));
  } catch (const std::bad_alloc&) {
    problem = "no memory";
  }
  const bool reported = std::exchange(picture_->reported, problem != nullptr);
  if (problem && !reported) Logger::default_logger()->Error("[GsPictureItem] nothing is drawn: %s", problem);
}

void GsPictureItem::Update(const unsigned char* data, unsigned int stride, unsigned int width, unsigned int height) {
  if (!picture_ || !picture_->context) return;
  const Look now = picture_->CopyLook();
  if (now.own_texture) return now.texture->Update(data, stride, GsTexture::kTextureRGBA, width, height);
  Logger::default_logger()->Error("[GsPictureItem] an update changes nothing: the item has no picture of its own");
}

void GsPictureItem::SetTexture(std::shared_ptr<GsTexture> texture) {
  if (!picture_) return;
  if (texture && size().x == 0.0f && size().y == 0.0f) {
    Resize(gs_vec2(static_cast<float>(texture->width()), static_cast<float>(texture->height())));
  }
  {
    // The texture before goes without the mutex: that may run the host's code.
    MutexLocker<Mutex> lock(picture_->mutex);
    picture_->look.texture.swap(texture);
    picture_->look.own_texture = false;
  }
  if (shown_scene()) ShowScene(nullptr);
}

void GsPictureItem::ShowScene(GsScene* scene) {
  if (!picture_) return;
  GsSceneUse use(scene);  // Then of the scene before: it ends without a lock.
  const bool fits = scene && scene->impl() && GsSceneUse::Context(scene) == picture_->context;
  if (picture_->context && scene && scene->impl() && !fits) {
    Logger::default_logger()->Error("[GsPictureItem] the scene is of another device: it is not shown");
  }
  if (fits && size().x == 0.0f && size().y == 0.0f) {
    Resize(gs_vec2(static_cast<float>(scene->width()), static_cast<float>(scene->height())));
  }
  ContextLock context_lock(picture_->context);
  MutexLocker<Mutex> lock(picture_->mutex);
  use = GsSceneUse::Adopt(std::exchange(picture_->look.scene, use.Leave()));
  picture_->look.scene_fits = fits;
  // In a frame whose ticks are over already, too.
  if (fits) NoteShown(picture_->context, scene->impl(), this->scene());
}

GsScene* GsPictureItem::shown_scene() const { return picture_ ? picture_->CopyLook().scene : nullptr; }

void GsPictureItem::SetShader(const char* name) {
  if (!picture_) return;
  EvenWithoutMemory("GsPictureItem::SetShader", [&] {
    const bool own = name && std::strcmp(name, kPlainProgram) != 0;
    auto program = own ? std::make_shared<const std::string>(name) : nullptr;
    MutexLocker<Mutex> lock(picture_->mutex);
    picture_->look.program.swap(program);
  });
}

void GsPictureItem::SetOpacity(float opacity) {
  if (!picture_) return;
  if (!(opacity >= 0.0f && opacity <= 1.0f)) {
    Logger::default_logger()->Error("[GsPictureItem] no opacity of %f: it is 0 to 1", static_cast<double>(opacity));
    return;
  }
  MutexLocker<Mutex> lock(picture_->mutex);
  picture_->look.opacity = opacity;
}

float GsPictureItem::opacity() const { return picture_ ? picture_->CopyLook().opacity : 0.0f; }

void GsPictureItem::SetFlip(bool horizontal, bool vertical) {
  if (!picture_) return;
  MutexLocker<Mutex> lock(picture_->mutex);
  picture_->look.flip_horizontal = horizontal;
  picture_->look.flip_vertical = vertical;
}

void GsPictureItem::SetCrop(const gs_vec2& corner, const gs_vec2& size) {
  if (!picture_) return;
  const bool numbers =
      std::isfinite(corner.x) && std::isfinite(corner.y) && std::isfinite(size.x) && std::isfinite(size.y);
  if (!numbers || size.x < 0.0f || size.y < 0.0f) {
    Logger::default_logger()->Error("[GsPictureItem] no part of a picture: %f x %f pixels at (%f, %f)",
                                    static_cast<double>(size.x), static_cast<double>(size.y),
                                    static_cast<double>(corner.x), static_cast<double>(corner.y));
    return;
  }
  MutexLocker<Mutex> lock(picture_->mutex);
  picture_->look.cropped = size.x != 0.0f || size.y != 0.0f;
  picture_->look.corner = corner;
  picture_->look.extent = size;
}
