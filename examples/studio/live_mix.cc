#include "studio/live_mix.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "studio/media_file.h"

namespace studio {
namespace {

constexpr std::int64_t kBlockNs = 50000000;
// While somebody draws the time to and fro, nothing is opened that is over at once.
constexpr std::int64_t kShortestNs = 100000000;
constexpr std::int64_t kRounding = 2;  // Frames by which times may be off that were rounded twice.
// A file is there sooner or later, and a mix that is late loses nothing.
constexpr std::chrono::milliseconds kPatience(30000), kStreamPatience(100);

// How loud a layer is heard.
float GainOf(const Layer& layer) { return layer.visible ? layer.volume : 0; }

// Whether both are read alike, however loud they are heard.
bool SameMedia(const Layer& a, const Layer& b) {
  return a.kind == b.kind && a.file == b.file && a.loop == b.loop && a.track == b.track &&
         a.trim_start_s == b.trim_start_s && a.trim_end_s == b.trim_end_s && a.fade_in_s == b.fade_in_s &&
         a.fade_out_s == b.fade_out_s;
}

}  // namespace

bool SameSound(const LiveLayer& a, const LiveLayer& b) {
  return a.id == b.id && a.begin_ns == b.begin_ns && GainOf(a.layer) == GainOf(b.layer) && SameMedia(a.layer, b.layer);
}

LiveMix::LiveMix(SoundMix::Receiver* receiver, const Timeline* timeline, std::vector<Sound> sounds,
                 std::int64_t begin_ns, std::int64_t scene_end_ns)
    : receiver_(receiver), timeline_(timeline), scene_end_ns_(scene_end_ns), clock_ns_(begin_ns) {
  int id = 0;
  for (Sound& sound : sounds) {
    Voice& voice = voices_[--id];
    voice.gain = voice.last_gain = sound.gain;
    voice.sound = std::move(sound);
    voice.input = mix_.Add(voice.gain);
  }
}

void LiveMix::SetLayers(std::vector<LiveLayer> layers, std::int64_t clock_ns) {
  edits_.push_back({clock_ns, std::move(layers)});
}

void LiveMix::Apply(const std::vector<LiveLayer>& layers) {
  for (auto& [id, voice] : voices_) voice.gone = voice.is_video;
  for (const LiveLayer& layer : layers) {
    if (layer.layer.kind != LayerKind::kVideo) continue;
    const float gain = GainOf(layer.layer);
    const auto [found, is_new] = voices_.try_emplace(layer.id);
    Voice& voice = found->second;
    if (is_new) {
      voice.is_video = true;
      voice.input = mix_.Add(gain);
    } else if (!SameMedia(voice.video.layer, layer.layer)) {
      voice.feed.reset();
    }
    voice.video = layer;
    voice.gain = gain;
    voice.gone = false;
  }
  for (auto& [id, voice] : voices_) {
    if (voice.gone) voice.gain = 0;
    DrivenMix::SetGain(voice.input, voice.gain);
  }
}

void LiveMix::MixUntil(std::int64_t clock_ns) {
  while (clock_ns_ + kBlockNs <= clock_ns) MixBlock(kSoundBlock);
}

void LiveMix::Finish(std::int64_t clock_ns) {
  MixUntil(clock_ns);
  const std::int64_t rest = SoundFrames(clock_ns - clock_ns_);
  if (rest > 0) MixBlock(static_cast<int>(rest));
}

std::vector<std::string> LiveMix::TakeErrors() { return std::exchange(errors_, {}); }

// Mixes a block, of which the receiver gets the first `frames` frames.
void LiveMix::MixBlock(int frames) {
  for (; !edits_.empty() && edits_.front().clock_ns <= clock_ns_; edits_.pop_front()) Apply(edits_.front().layers);
  std::array<std::array<float, kSoundBlock>, kSoundChannels> samples;
  for (auto& [id, voice] : voices_) {
    if (voice.gain == 0 && voice.last_gain == 0) continue;
    for (auto& plane : samples) plane.fill(0);
    const std::int64_t end_ns = clock_ns_ + kBlockNs;
    for (std::int64_t at_ns = clock_ns_; at_ns < end_ns;) {
      const Timeline::Span span = timeline_->At(at_ns);
      const std::int64_t until_ns = std::min(span.until_ns, end_ns);
      const std::int64_t first = SoundFrames(at_ns - clock_ns_), count = SoundFrames(until_ns - clock_ns_) - first;
      float* const planes[kSoundChannels] = {&samples[0][0] + first, &samples[1][0] + first};
      if (span.runs && count > 0) {
        Play(&voice, span.film_ns, span.until_ns - at_ns, planes, static_cast<int>(count));
      }
      at_ns = until_ns;
    }
    const float* const planes[kSoundChannels] = {samples[0].data(), samples[1].data()};
    DrivenMix::Push(voice.input, planes);
    voice.last_gain = voice.gain;
  }
  float* const* const mixed = mix_.Mix();
  level_.Finish(mixed, frames);
  receiver_->OnSound(mixed, frames, static_cast<std::uint64_t>(clock_ns_));
  clock_ns_ += kBlockNs;
  for (auto voice = voices_.begin(); voice != voices_.end();) {
    if (voice->second.gone) mix_.Remove(voice->second.input);
    voice = voice->second.gone ? voices_.erase(voice) : std::next(voice);
  }
}

// Takes what is heard from the scene's time `film_ns` on, which passes for `lasts_ns`. Streams go on where they are.
void LiveMix::Play(Voice* voice, std::int64_t film_ns, std::int64_t lasts_ns, float* const* planes, int frames) {
  const std::int64_t own_ns = film_ns - (voice->is_video ? voice->video.begin_ns : 0);
  const std::int64_t wanted = SoundFrames(own_ns);
  const bool stays = !voice->is_video && IsStream(voice->sound.file);
  if (!voice->feed || (!stays && std::abs(wanted - voice->position) > kRounding)) {
    if (!stays && lasts_ns < kShortestNs) return;
    voice->feed = std::make_unique<SoundFeed>(Opening(*voice, own_ns));
    voice->position = wanted;
  }
  voice->feed->Read(planes, frames, stays ? kStreamPatience : kPatience);
  voice->position += frames;
  std::string error = voice->feed->TakeError();
  if (!error.empty()) errors_.push_back(std::move(error));
}

SoundFeed::Open LiveMix::Opening(const Voice& voice, std::int64_t start_ns) const {
  const std::int64_t end_ns = scene_end_ns_ - (voice.is_video ? voice.video.begin_ns : 0);
  Layer layer = voice.video.layer;
  layer.volume = 1;  // The input's gain has it.
  return [is_video = voice.is_video, layer, sound = voice.sound, start_ns, end_ns](const SoundFeed::GoesOn& goes_on) {
    std::unique_ptr<SoundReader> reader = is_video ? SoundReader::OfVideo(layer, start_ns, end_ns, goes_on)
                                                   : std::make_unique<SoundReader>(sound, start_ns, end_ns, goes_on);
    if (reader) reader->SeekNearStart();
    return reader;
  };
}

}  // namespace studio
