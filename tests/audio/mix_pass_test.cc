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
#include "tests/support/log_capture.h"

namespace {

using Random = std::mt19937;

// A ring in one piece of memory, by its read and write indices.
class ModelRing {
 public:
  ModelRing(std::size_t capacity, std::size_t sample_bytes) : capacity_(capacity), bytes_(sample_bytes) {
    data_.resize(capacity * sample_bytes);
  }

  void Push(const unsigned char* src, std::size_t count) {
    if (!src) return;
    if (count > capacity_) {
      src += (count - capacity_) * bytes_;
      count = capacity_;
    }
    const bool wraps = read_ > write_ || (read_ == write_ && size_ > 0);
    if (wraps) {
      if (write_ + count < read_) {
        Write(src, count);
        size_ += count;
      } else if (read_ + count < capacity_) {
        read_ += count;
        Write(src, count);
      } else {
        size_ -= capacity_ - read_;
        read_ = 0;
        Push(src, count);
      }
      return;
    }
    if (write_ + count < capacity_) {
      Write(src, count);
      size_ += count;
      return;
    }
    const std::size_t head = capacity_ - write_;
    Write(src, head);
    write_ = 0;
    size_ += head;
    const std::size_t reserve = capacity_ / 100;
    if (read_ < reserve) {
      size_ -= reserve - read_;
      read_ = reserve;
    }
    Push(src + head * bytes_, count - head);
  }

  std::size_t Pop(unsigned char* dst, std::size_t count) {
    count = std::min(count, size_);
    for (std::size_t i = 0; i < count; ++i) {
      if (dst) std::memcpy(dst + i * bytes_, &data_[read_ * bytes_], bytes_);
      read_ = read_ + 1 == capacity_ ? 0 : read_ + 1;
      --size_;
    }
    return count;
  }

  void Clear() { read_ = write_ = size_ = 0; }
  std::size_t size() const { return size_; }

 private:
  void Write(const unsigned char* src, std::size_t count) {
    if (count > 0) std::memcpy(&data_[write_ * bytes_], src, count * bytes_);
    write_ += count;
  }

  const std::size_t capacity_;
  const std::size_t bytes_;
  std::vector<unsigned char> data_;
  std::size_t read_ = 0;
  std::size_t write_ = 0;
  std::size_t size_ = 0;
};

class ModelSource {
 public:
  ModelSource(unsigned int rate, unsigned int channels, InternalSampleType type)
      : limit_(rate / 10),
        type_(type),
        rings_(channels, ModelRing(rate * std::size_t{10}, type == kInternalSampleShort ? 2 : 4)) {}

  void Push(const void** planes, unsigned int frames, std::uint64_t sequence) {
    if (sequence != sequence_) {
      ready_ = false;
      for (ModelRing& ring : rings_) ring.Clear();
      sequence_ = sequence;
    }
    if (!planes) return;
    for (std::size_t c = 0; c < rings_.size(); ++c) {
      rings_[c].Push(static_cast<const unsigned char*>(planes[c]), frames);
      if (!enabled && rings_[c].size() > limit_) rings_[c].Pop(nullptr, frames);
    }
    if (!rings_.empty() && rings_[0].size() + frames >= limit_) ready_ = true;
  }

  // How many samples came of each channel.
  std::vector<std::size_t> Pop(unsigned char* const* planes, unsigned int frames) {
    std::vector<std::size_t> popped;
    for (std::size_t c = 0; c < rings_.size(); ++c) popped.push_back(ready_ ? rings_[c].Pop(planes[c], frames) : 0);
    const bool heard = std::any_of(popped.begin(), popped.end(), [](std::size_t count) { return count > 0; });
    const float from = heard_ ? last_ : gain;
    heard_ = heard;
    last_ = gain;
    const auto count = static_cast<float>(frames);
    gain_is_one = from == 1 && gain == 1;
    for (std::size_t c = 0; c < popped.size() && !gain_is_one; ++c) {
      for (std::size_t i = 0; i < popped[c]; ++i) {
        const float at = gain + (from - gain) / count * static_cast<float>(frames - 1 - i);
        if (type_ == kInternalSampleFloat) ScaleAt<float>(planes[c], i, at);
        if (type_ == kInternalSampleShort) ScaleAt<short>(planes[c], i, at);
      }
    }
    return popped;
  }

  void Disable() {
    enabled = false;
    heard_ = false;
  }

  bool enabled = true;
  float gain = 1;  // 0 while muted.
  bool gain_is_one = true;

 private:
  template <class T>
  static void ScaleAt(unsigned char* plane, std::size_t i, float gain) {
    T sample;
    std::memcpy(&sample, plane + i * sizeof(T), sizeof(T));
    sample = Scale<T>(sample, gain);
    std::memcpy(plane + i * sizeof(T), &sample, sizeof(T));
  }

  const std::size_t limit_;
  const InternalSampleType type_;
  bool heard_ = false;
  float last_ = 1;
  std::vector<ModelRing> rings_;
  bool ready_ = false;
  std::uint64_t sequence_ = ~std::uint64_t{0};
};

// Eight planes of so many floats.
class Planes {
 public:
  explicit Planes(unsigned int frames) : samples_(kMaxMixChannels, std::vector<unsigned char>(frames * sizeof(float))) {
    for (std::size_t c = 0; c < samples_.size(); ++c) pointers_[c] = samples_[c].data();
  }
  unsigned char* const* data() const { return pointers_.data(); }
  void Clear(unsigned int channels) {
    for (unsigned int c = 0; c < channels; ++c) std::fill(samples_[c].begin(), samples_[c].end(), 0);
  }
  const std::vector<unsigned char>& operator[](std::size_t c) const { return samples_[c]; }

 private:
  std::vector<std::vector<unsigned char>> samples_;
  std::array<unsigned char*, kMaxMixChannels> pointers_{};
};

template <class T>
void AddPlane(unsigned char* mix, const unsigned char* scratch, unsigned int frames) {
  for (unsigned int i = 0; i < frames; ++i) {
    T a;
    T b;
    std::memcpy(&a, mix + i * sizeof(T), sizeof(T));
    std::memcpy(&b, scratch + i * sizeof(T), sizeof(T));
    a = AddAndNormaliz<T>(a, b);
    std::memcpy(mix + i * sizeof(T), &a, sizeof(T));
  }
}

void ModelPass(const std::vector<std::unique_ptr<ModelSource>>& sources, InternalSampleType type, unsigned int channels,
               const Planes& mix, const Planes& scratch, unsigned int frames) {
  for (const auto& source : sources) {
    if (!source->enabled) continue;
    std::memset(scratch.data()[0], 0, frames * (type == kInternalSampleShort ? sizeof(short) : sizeof(float)));
    std::vector<std::size_t> popped = source->Pop(scratch.data(), frames);
    if (popped.empty() || popped.back() == 0) continue;
    popped.resize(kMaxMixChannels);
    for (unsigned int c = 0; c < channels; ++c) {
      const auto added = static_cast<unsigned int>(source->gain_is_one ? frames : popped[c]);
      if (type == kInternalSampleFloat) AddPlane<float>(mix.data()[c], scratch.data()[c], added);
      if (type == kInternalSampleShort) AddPlane<short>(mix.data()[c], scratch.data()[c], added);
    }
  }
}

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
    std::vector<std::unique_ptr<ModelSource>> models;
    const std::size_t count = random() % 24;
    std::vector<unsigned int> widths;
    for (std::size_t i = 0; i < count; ++i) {
      // One in eight has another type or fewer channels than the mix.
      const bool odd = random() % 8 == 0;
      const InternalSampleType its_type = odd ? static_cast<InternalSampleType>(random() % 2) : type;
      widths.push_back(odd ? random() % 9 : std::min(8u, channels + static_cast<unsigned int>(random() % 3)));
      sources.push_back(std::make_unique<AudioMixSource>(rate, widths[i], its_type));
      models.push_back(std::make_unique<ModelSource>(rate, widths[i], its_type));
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
      ModelPass(models, type, channels, model_mix, model_scratch, frames);
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
