#include "tests/stress/thread_checks.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace stress {

Findings findings;
std::atomic<int> live_objects{0};

namespace {

constexpr int kMostFindings = 20;

// Draws a texture over the whole of what is drawn into.
void DrawWhole(GsDevice* device, GsTexture* texture) {
  GsContext context(device);
  if (!context.BindShader("rgba")) return;
  GsTextureBinder binder(texture);
  context.DrawRect(gs_transform(gs_vec2(), context.target_size()));
  context.UnbindShader();
}

void Look(int level, const char* format, va_list args, void* /*user*/) {
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, args);
  if (level > kQnLogWarning || std::strcmp(text, "device create success") == 0) return;
  // What the machine does not have, a screen for instance, is no mistake.
  if (std::strstr(text, "A view cannot be shown") || std::strstr(text, "does not become real-time")) return;
  findings.Add(std::string("the log says: ") + text);
}

}  // namespace

void Findings::Add(const std::string& text) {
  if (count_.fetch_add(1) >= kMostFindings) return;
  std::printf("FOUND: %s\n", text.c_str());
  std::fflush(stdout);
}

void WatchLog() { qn_set_log_handle(Look, nullptr); }

void ItemBase::Draw() {
  const Passage passage(gate, "GsItem::Draw");
  DrawWhole(device_, texture_);
}

void Filter::Draw() {
  const Passage passage(gate, "GsFilter::Draw");
  DrawWhole(device_, texture_);
}

void RawOutput::OnFrame(const GsFrame& frame) {
  const Passage passage(gate, "GsOutputRaw::OnFrame");
  if (frame.width != width_ || frame.height != height_) findings.Add("a frame has another size than its output");
  // Bytes that were written for another frame meanwhile are a race, which a sanitizer sees.
  unsigned int sum = 0;
  for (unsigned int x = 0; x < frame.linesize[0]; ++x) sum += frame.data[0][x];
  if (sum == 0xffffffff) findings.Add("no row sums up to this");
  // From one start to the next: a call that came while one was under way belongs to nobody knows which.
  const unsigned int starts = starts_;
  const bool follows = starts == received_.starts && starts % 2 == 0 && !anew_;
  if (repeating()) {
    ++received_.repeats;
  } else if (follows && frame.data[0] == received_.planes) {
    findings.Add("two pictures came in a row from the same planes");
  }
  received_.planes = frame.data[0];
  received_.starts = starts;
  anew_ = false;
  if (on_frame) on_frame(received_.calls);
  ++received_.calls;
}

void RawOutput::Begin() {
  gate.Open();
  ++starts_;
  if (!Start()) findings.Add("GsOutputRaw::Start failed");
  ++starts_;
}

void RawOutput::BeginAnew() {
  Stop();
  if (!Start()) findings.Add("GsOutputRaw::Start failed");
  anew_ = true;
}

void RawOutput::End() {
  Stop();
  gate.Shut();
}

void RawOutput::Check() const {
  const GsOutputStats stats = this->stats();
  if (stats.delivered != received_.calls) {
    findings.Add("raw: delivered " + std::to_string(stats.delivered) + ", calls " + std::to_string(received_.calls));
  }
  if (stats.repeated != received_.repeats) {
    findings.Add("raw: repeated " + std::to_string(stats.repeated) + ", seen " + std::to_string(received_.repeats));
  }
  if (Counts().delivered + 1 < stats.delivered)
    findings.Add("raw: fewer deliveries than calls");  // The last one is counted a moment later.
}

void TextureOutput::OnTexture(GsTexture* texture, unsigned long long /*timestamp*/) {
  const Passage passage(gate, "GsOutputTex::OnTexture");
  if (!texture || texture->width() != scene_->width()) findings.Add("a texture has another size than its scene");
  if (on_texture) on_texture(received_.calls);
  ++received_.calls;
}

void TextureOutput::Begin() {
  gate.Open();
  if (!Start()) findings.Add("GsOutputTex::Start failed");
}

void TextureOutput::End() {
  Stop();
  gate.Shut();
}

void TextureOutput::Check() const {
  const GsOutputStats stats = this->stats();
  if (stats.delivered != received_.calls) {
    findings.Add("tex: delivered " + std::to_string(stats.delivered) + ", calls " + std::to_string(received_.calls));
  }
}

}  // namespace stress
