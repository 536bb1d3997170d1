// One block of the mix: several sources at a time, from where their samples lie.
#ifndef QUARN_AUDIO_MIX_PASS_H_
#define QUARN_AUDIO_MIX_PASS_H_

#include <array>
#include <cstddef>

#include "audio/audio_mix_source.h"
#include "audio/mix_format.h"
#include "audio/mix_samples_variants.h"

// The mix and the scratch planes end as if each source were popped into the scratch planes, of which only the first is
// cleared before (Kept: C34), and these added to the mix where anything came. What a source lends, a whole block of
// every channel, is added without being copied; of several such sources the last one's block is what the scratch planes
// hold afterwards. A source with another gain than 1 is scaled on its way, in the scratch planes too, and adds nothing
// beyond what came of it. Scratch planes that the mix has no channel for are nobody's: they may hold anything.
//
// Thread: the mixer's, with its lock held from construction to Finish.
class MixPass {
 public:
  // Both have eight planes of `frames` floats.
  MixPass(const MixSampleVariant& variant, InternalSampleType type, unsigned int channels, unsigned char* const* mix,
          unsigned char* const* scratch, unsigned int frames);
  MixPass(const MixPass&) = delete;
  MixPass& operator=(const MixPass&) = delete;

  // Adds the next block of the source.
  void Add(AudioMixSource* source);
  // To be called once, after the last.
  void Finish();

 private:
  struct Block {
    AudioMixSource* source;
    AudioMixSource::LentPlanes planes;
    GainRamp gain;
    bool metered;
  };
  // So many sources are added at a time: the mix is then seldom read and written, and what a push may have to wait for
  // is over soon.
  static constexpr std::size_t kMostBlocks = 8;

  // Adds the blocks that were lent to the mix, and gives them back.
  void MixBlocks();
  template <class T>
  void MixBlocksOf();
  // How far, from `done` on, each of the blocks that were lent is in one piece. Where that lies goes to `sources`.
  template <class T>
  std::size_t PieceOf(unsigned int channel, std::size_t done, const T** sources) const;
  // The same, with what the last one would have left in the scratch planes.
  void Settle();
  void AddByScratch(AudioMixSource* source);
  template <class T>
  void ScaleScratch(unsigned int channel, std::size_t frames, const GainRamp& gain);
  template <class T>
  void MixScratch(const AudioMixSource::Counts& counts, const GainRamp& gain);
  template <class T>
  void MeterScratch(AudioMixSource* source, const AudioMixSource::Counts& counts);
  void ClearFirstScratchPlane();

  const MixSampleVariant& variant_;
  const InternalSampleType type_;
  const unsigned int channels_;
  const unsigned int frames_;
  const std::size_t sample_bytes_;
  unsigned char* const* const mix_;
  unsigned char* const* const scratch_;
  std::array<Block, kMostBlocks + 1> blocks_;  // The last is for one that has not been counted yet.
  std::size_t count_ = 0;
  bool last_gave_nothing_ = false;
};

#endif  // QUARN_AUDIO_MIX_PASS_H_
