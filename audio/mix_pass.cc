// A pass over the mixer's sources. The mixer thread enters.
#include "audio/mix_pass.h"

#include <algorithm>
#include <cstring>

#include "audio/mix_samples.h"

namespace {

template <class T>
std::array<T*, kMaxMixChannels> PlanesOf(unsigned char* const* planes) {
  std::array<T*, kMaxMixChannels> typed;
  std::transform(planes, planes + kMaxMixChannels, typed.begin(),
                 [](unsigned char* plane) { return reinterpret_cast<T*>(plane); });
  return typed;
}

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
    blocks_[count_].source = source;
    if (count_ == kMostBlocks) {
      MixBlocks();
      blocks_[0] = blocks_[kMostBlocks];
    }
    ++count_;
  } else if (lending == Lending::kNotSo) {
    Settle();
    AddByScratch(source);
  }
}

void MixPass::Finish() {
  Settle();
  if (last_gave_nothing_) ClearFirstScratchPlane();
}

void MixPass::MixBlocks() {
  if (type_ == kInternalSampleFloat) MixBlocksOf<float>(variant_.mix_float);
  if (type_ == kInternalSampleShort) MixBlocksOf<short>(variant_.mix_short);
  for (std::size_t i = 0; i < count_; ++i) blocks_[i].source->TakeBack();
  count_ = 0;
}

template <class T>
void MixPass::MixBlocksOf(void (*mix)(T*, const T* const*, std::size_t, std::size_t)) {
  for (unsigned int c = 0; c < channels_; ++c) {
    T* const dst = reinterpret_cast<T*>(mix_[c]);
    for (std::size_t done = 0; done < frames_;) {
      // As far as every block is in one piece.
      std::size_t piece = frames_ - done;
      std::array<const T*, kMostBlocks> sources;
      for (std::size_t i = 0; i < count_; ++i) {
        const AudioMixSource::LentPlane& plane = blocks_[i].planes[c];
        if (done < plane.count) {
          sources[i] = static_cast<const T*>(plane.samples) + done;
          piece = std::min(piece, plane.count - done);
        } else {
          sources[i] = static_cast<const T*>(plane.rest) + (done - plane.count);
        }
      }
      mix(dst + done, sources.data(), count_, piece);
      done += piece;
    }
  }
}

void MixPass::Settle() {
  if (count_ == 0) return;
  const AudioMixSource::LentPlanes& last = blocks_[count_ - 1].planes;
  for (unsigned int c = 0; c < channels_; ++c) {
    std::memcpy(scratch_[c], last[c].samples, last[c].count * sample_bytes_);
    std::memcpy(scratch_[c] + last[c].count * sample_bytes_, last[c].rest, (frames_ - last[c].count) * sample_bytes_);
  }
  MixBlocks();
}

void MixPass::AddByScratch(AudioMixSource* source) {
  ClearFirstScratchPlane();
  std::array<void*, kMaxMixChannels> planes = PlanesOf<void>(scratch_);
  if (source->PopFrontSamples(planes.data(), frames_) == 0) return;
  if (type_ == kInternalSampleFloat) {
    MixSample<float>(PlanesOf<float>(mix_).data(), PlanesOf<float>(scratch_).data(), frames_, channels_);
  }
  if (type_ == kInternalSampleShort) {
    MixSample<short>(PlanesOf<short>(mix_).data(), PlanesOf<short>(scratch_).data(), frames_, channels_);
  }
}

void MixPass::ClearFirstScratchPlane() { std::memset(scratch_[0], 0, frames_ * sample_bytes_); }
