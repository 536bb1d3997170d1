// Passes beside a plain model of sources, rings and mixing, in every variant that the processor runs: bit for bit.
#include "audio/mix_pass.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "audio/audio_mixer.h"
#include "audio/mix_samples.h"
#include "tests/audio/mix_model.h"
#include "tests/support/log_capture.h"

namespace {

using mix_model::Pass;
using mix_model::Planes;
using mix_model::Source;

using Random = std::mt19937;

class MixPassTest : public testing::TestWithParam<const MixSampleVariant*> {
 protected:
  LogCapture log_;
};

// What is played of one host: any bits where they are floats, signalling not-a-numbers and infinities among them.
std::vector<unsigned char> AnyBytes(Random& random, std::size_t bytes) {
  std::vector<unsigned char> any(bytes);
  std::generate(any.begin(), any.end(), [&] { return static_cast<unsigned char>(random()); });
  return any;
}

// Quiet floats, so that sums do not all saturate.
std::vector<unsigned char> QuietFloats(Random& random, std::size_t bytes) {
  std::vector<unsigned char> quiet(bytes);
  for (std::size_t i = 0; i + sizeof(float) <= bytes; i += sizeof(float)) {
    const float sample = (static_cast<float>(random() % 20001) - 10000.0f) / 30000.0f;
    std::memcpy(&quiet[i], &sample, sizeof(sample));
  }
  return quiet;
}

TEST_P(MixPassTest, MixesAsTheModelToTheBit) {
  constexpr int kRuns = 40;
  constexpr int kPasses = 40;
  for (unsigned int seed = 0; seed < kRuns; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const InternalSampleType type = random() % 2 ? kInternalSampleFloat : kInternalSampleShort;
    const unsigned int channels = random() % 4 == 0 ? 8 : random() % 9;
    // Rings of 10 times the rate: at the smaller rates they wrap and overflow in every run.
    const unsigned int rate = std::array<unsigned int, 4>{40, 210, 900, 4000}[random() % 4];
    const unsigned int frames = random() % 3 == 0 ? rate / 20 : 1 + random() % (rate / 4);
    // Pushes are parts of it. The longest is eleven seconds.
    const std::size_t longest = 11 * rate * sizeof(float);
    const std::size_t noise_bytes = longest + 4096;
    const std::vector<unsigned char> noise =
        random() % 2 ? AnyBytes(random, noise_bytes) : QuietFloats(random, noise_bytes);
    const bool with_gains = random() % 3 != 0;
    std::vector<std::unique_ptr<AudioMixSource>> sources;
    std::vector<std::unique_ptr<Source>> models;
    const std::size_t count = random() % 24;
    std::vector<unsigned int> widths;
    for (std::size_t i = 0; i < count; ++i) {
      // One in eight has another type or fewer channels than the mix.
      const bool odd = random() % 8 == 0;
      const InternalSampleType its_type = odd ? static_cast<InternalSampleType>(random() % 2) : type;
      widths.push_back(odd ? random() % 9 : std::min(8u, channels + static_cast<unsigned int>(random() % 3)));
      sources.push_back(std::make_unique<AudioMixSource>(rate, widths[i], its_type));
      models.push_back(std::make_unique<Source>(rate, widths[i], its_type));
      sources[i]->Enable();
    }
    Planes mix(frames);
    Planes scratch(frames);
    Planes model_mix(frames);
    Planes model_scratch(frames);
    for (int pass_number = 0; pass_number < kPasses; ++pass_number) {
      for (std::size_t i = 0; i < count; ++i) {
        if (random() % 30 == 0) {
          if (models[i]->enabled) {
            models[i]->Disable();
            sources[i]->Disable();
          } else {
            models[i]->enabled = true;
            sources[i]->Enable();
          }
        }
        // Some keep a gain of 1 throughout, in some runs all do.
        if (with_gains && i % 3 != 0 && random() % 6 == 0) {
          const float gain = std::array<float, 5>{0.0f, 0.3f, 1.0f, 1.7f, 100.0f}[random() % 5];
          const bool muted = random() % 4 == 0;
          sources[i]->gain().Set(gain);
          sources[i]->gain().SetMuted(muted);
          models[i]->gain = muted ? 0 : gain;
        }
        // Levels are measured beside it.
        if (random() % 100 == 0) sources[i]->levels().Ask(0);
        // As much as is mixed as a rule; less and nothing; now and then more than the ring holds.
        for (int push = random() % 3 == 0 ? 2 : 1; push > 0; --push) {
          unsigned int pushed = frames;
          if (random() % 6 == 0) pushed = random() % (2 * frames + 1);
          if (random() % 60 == 0) pushed = random() % (11 * rate);
          const std::size_t places = (noise_bytes - pushed * sizeof(float)) / sizeof(float);
          std::array<const void*, kMaxMixChannels> planes{};
          for (unsigned int c = 0; c < widths[i]; ++c) {
            planes[c] = random() % 40 == 0 ? nullptr : &noise[random() % places * sizeof(float)];
          }
          const std::uint64_t sequence = 1 + (random() % 50 == 0 ? random() % 3 : 0);
          const void** const pushed_planes = random() % 40 == 0 ? nullptr : planes.data();
          sources[i]->PushBackSamples(pushed_planes, pushed, sequence);
          models[i]->Push(pushed_planes, pushed, sequence);
        }
      }
      mix.Clear(channels);
      model_mix.Clear(channels);
      MixPass pass(*GetParam(), type, channels, mix.data(), scratch.data(), frames);
      for (const auto& source : sources) {
        if (source->enabled()) pass.Add(source.get());
      }
      pass.Finish();
      Pass(models, type, channels, model_mix, model_scratch, frames);
      for (unsigned int c = 0; c < channels; ++c) {
        ASSERT_TRUE(mix[c] == model_mix[c]) << "channel " << c << " of pass " << pass_number;
        ASSERT_TRUE(scratch[c] == model_scratch[c]) << "scratch plane " << c << " of pass " << pass_number;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Runnable, MixPassTest, testing::ValuesIn(RunnableMixSampleVariants()),
                         [](const auto& variant) { return std::string(variant.param->name); });

// A source with `frames` frames of one value in each of two channels.
std::unique_ptr<AudioMixSource> SourceOf(float value, unsigned int frames) {
  auto source = std::make_unique<AudioMixSource>(8000, 2, kInternalSampleFloat);
  source->Enable();
  const std::vector<float> samples(frames, value);
  const void* planes[] = {samples.data(), samples.data()};
  source->PushBackSamples(planes, frames, 1);
  return source;
}

TEST(MixPassLoanTest, GivesEveryBlockBack) {
  std::vector<std::unique_ptr<AudioMixSource>> sources;
  for (int i = 0; i < 20; ++i) sources.push_back(SourceOf(0.01f, 800));
  Planes mix(400);
  Planes scratch(400);
  MixPass pass(FastestMixSampleVariant(), kInternalSampleFloat, 2, mix.data(), scratch.data(), 400);
  for (const auto& source : sources) pass.Add(source.get());
  pass.Finish();
  AudioMixSource::LentPlanes planes;
  for (const auto& source : sources) {
    EXPECT_EQ(source->LendBlock(kInternalSampleFloat, 2, 400, true, &planes), AudioMixSource::Lending::kLent);
    source->TakeBack();
  }
}

TEST(MixPassLoanTest, CopiesWhatAnotherMixerHasBorrowed) {
  const auto source = SourceOf(0.25f, 800);
  AudioMixSource::LentPlanes planes;
  ASSERT_EQ(source->LendBlock(kInternalSampleFloat, 2, 400, true, &planes), AudioMixSource::Lending::kLent);
  Planes mix(400);
  Planes scratch(400);
  MixPass pass(FastestMixSampleVariant(), kInternalSampleFloat, 2, mix.data(), scratch.data(), 400);
  pass.Add(source.get());
  pass.Finish();
  const float* const mixed = reinterpret_cast<const float*>(mix.data()[1]);
  EXPECT_EQ(std::vector<float>(mixed, mixed + 400), std::vector<float>(400, 0.25f));
  source->TakeBack();
}

}  // namespace
