// A pass over the mixer's sources. The mixer thread enters.
#include "audio/mix_pass.h"

#include <algorithm>
#include <cstring>

#include "audio/mix_levels.h"
#include "audio/mix_samples.h"

namespace {

// The loops for one type of samples.
template <class T>
struct Loops;

template <>
struct Loops<float> {
  explicit Loops(const MixSampleVariant& variant) : mix(variant.mix_float), scale(variant.scale_float) {}
  decltype(MixSampleVariant::mix_float) mix;
  decltype(MixSampleVariant::scale_float) scale;
};

template <>
struct Loops<short> {
  explicit Loops(const MixSampleVariant& variant) : mix(variant.mix_short), scale(variant.scale_short) {}
  decltype(MixSampleVariant::mix_short) mix;
  decltype(MixSampleVariant::scale_short) scale;
};

// Blocks with another gain are scaled so many samples at a time, on the stack.
constexpr std::size_t kScaledFrames = 256;

}  // namespace

MixPass::MixPass(const MixSampleVariant& variant, InternalSampleType type, unsigned int channels,
                 unsigned char* const* mix, unsigned char* const* scratch, unsigned int frames)
    : variant_(variant),
      type_(type),
      channels_(channels),
      frames_(frames),
      sample_bytes_(type == kInternalSampleShort ? sizeof(short) : sizeof(float)),
      mix_(mix),
      scratch_(scratch) {}

void MixPass::Add(AudioMixSource* source) {
  using Lending = AudioMixSource::Lending;
  const auto lend = [&](bool wait) {
    return source->LendBlock(type_, channels_, frames_, wait, &blocks_[count_].planes);
  };
  Lending lending = lend(count_ == 0);
  if (lending == Lending::kBusy) {
    Settle();
    lending = lend(true);
  }
  last_gave_nothing_ = lending == Lending::kNothing;
  if (lending == Lending::kLent) {
    Block& block = blocks_[count_];
    block.source = source;
    block.gain = source->gain().NextBlock(frames_);
    block.metered = source->levels().wanted();
    if (count_ == kMostBlocks) {
      MixBlocks();
      blocks_[0] = blocks_[kMostBlocks];
    }
    ++count_;
  } else if (lending == Lending::kNotSo) {
    Settle();
    AddByScratch(source);
  } else {
    source->gain().Rest();
    source->levels().Silence();
  }
}

void MixPass::Finish() {
  Settle();
  if (last_gave_nothing_) ClearFirstScratchPlane();
}

void MixPass::MixBlocks() {
  if (type_ == kInternalSampleFloat) MixBlocksOf<float>();
  if (type_ == kInternalSampleShort) MixBlocksOf<short>();
  for (std::size_t i = 0; i < count_; ++i) blocks_[i].source->TakeBack();
  count_ = 0;
}

template <class T>
void MixPass::MixBlocksOf() {
  const Loops<T> loops(variant_);
  const auto end = blocks_.begin() + static_cast<std::ptrdiff_t>(count_);
  const bool plain =
      std::all_of(blocks_.begin(), end, [](const Block& block) { return block.gain.IsUnity() && !block.metered; });
  for (unsigned int c = 0; c < channels_; ++c) {
    T* const dst = reinterpret_cast<T*>(mix_[c]);
    std::array<const T*, kMostBlocks> sources;
    if (plain) {
      for (std::size_t done = 0; done < frames_;) {
        const std::size_t piece = PieceOf(c, done, sources.data());
        loops.mix(dst + done, sources.data(), count_, piece);
        done += piece;
      }
      continue;
    }
    T scaled[kMostBlocks][kScaledFrames];
    std::array<LevelMeter<T>, kMostBlocks> meters;
    for (std::size_t done = 0; done < frames_;) {
      const std::size_t piece = std::min(PieceOf(c, done, sources.data()), kScaledFrames);
      for (std::size_t i = 0; i < count_; ++i) {
        if (!blocks_[i].gain.IsUnity()) {
          loops.scale(scaled[i], sources[i], piece, blocks_[i].gain.After(done));
          sources[i] = scaled[i];
        }
        if (blocks_[i].metered) meters[i].Add(variant_, sources[i], piece);
      }
      loops.mix(dst + done, sources.data(), count_, piece);
      done += piece;
    }
    for (std::size_t i = 0; i < count_; ++i) {
      if (blocks_[i].metered) blocks_[i].source->levels().Set(c, meters[i].LevelOf(frames_));
    }
  }
}

template <class T>
std::size_t MixPass::PieceOf(unsigned int channel, std::size_t done, const T** sources) const {
  std::size_t piece = frames_ - done;
  for (std::size_t i = 0; i < count_; ++i) {
    const AudioMixSource::LentPlane& plane = blocks_[i].planes[channel];
    if (done < plane.count) {
      sources[i] = static_cast<const T*>(plane.samples) + done;
      piece = std::min(piece, plane.count - done);
    } else {
      sources[i] = static_cast<const T*>(plane.rest) + (done - plane.count);
    }
  }
  return piece;
}

void MixPass::Settle() {
  if (count_ == 0) return;
  const Block& last = blocks_[count_ - 1];
  for (unsigned int c = 0; c < channels_; ++c) {
    const AudioMixSource::LentPlane& plane = last.planes[c];
    std::memcpy(scratch_[c], plane.samples, plane.count * sample_bytes_);
    std::memcpy(scratch_[c] + plane.count * sample_bytes_, plane.rest, (frames_ - plane.count) * sample_bytes_);
    if (last.gain.IsUnity()) continue;
    if (type_ == kInternalSampleFloat) ScaleScratch<float>(c, frames_, last.gain);
    if (type_ == kInternalSampleShort) ScaleScratch<short>(c, frames_, last.gain);
  }
  MixBlocks();
}

void MixPass::AddByScratch(AudioMixSource* source) {
  ClearFirstScratchPlane();
  std::array<void*, kMaxMixChannels> planes;
  std::copy_n(scratch_, kMaxMixChannels, planes.begin());
  AudioMixSource::Counts counts;
  const bool came = source->PopFrontSamples(planes.data(), frames_, &counts) != 0;
  const GainRamp gain = source->gain().NextBlock(frames_);
  if (!gain.IsUnity()) {
    // What came are samples of the source's type, whatever the mix takes them for.
    for (unsigned int c = 0; c < kMaxMixChannels; ++c) {
      if (source->type() == kInternalSampleFloat) ScaleScratch<float>(c, counts[c], gain);
      if (source->type() == kInternalSampleShort) ScaleScratch<short>(c, counts[c], gain);
    }
  }
  if (source->levels().wanted()) {
    if (source->type() == kInternalSampleFloat) MeterScratch<float>(source, counts);
    if (source->type() == kInternalSampleShort) MeterScratch<short>(source, counts);
  }
  if (!came) return;
  if (type_ == kInternalSampleFloat) MixScratch<float>(counts, gain);
  if (type_ == kInternalSampleShort) MixScratch<short>(counts, gain);
}

template <class T>
void MixPass::ScaleScratch(unsigned int channel, std::size_t frames, const GainRamp& gain) {
  T* const plane = reinterpret_cast<T*>(scratch_[channel]);
  Loops<T>(variant_).scale(plane, plane, frames, gain);
}

// With a gain of 1, the whole planes. Kept: C34.
template <class T>
void MixPass::MixScratch(const AudioMixSource::Counts& counts, const GainRamp& gain) {
  for (unsigned int c = 0; c < channels_; ++c) {
    const T* const plane = reinterpret_cast<const T*>(scratch_[c]);
    Loops<T>(variant_).mix(reinterpret_cast<T*>(mix_[c]), &plane, 1, gain.IsUnity() ? frames_ : counts[c]);
  }
}

template <class T>
void MixPass::MeterScratch(AudioMixSource* source, const AudioMixSource::Counts& counts) {
  for (unsigned int c = 0; c < channels_; ++c) {
    LevelMeter<T> meter;
    meter.Add(variant_, reinterpret_cast<const T*>(scratch_[c]), counts[c]);
    source->levels().Set(c, meter.LevelOf(frames_));
  }
}

void MixPass::ClearFirstScratchPlane() { std::memset(scratch_[0], 0, frames_ * sample_bytes_); }
