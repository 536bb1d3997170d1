// Media files that are damaged, or made of any numbers: they are refused with an Error, or read to an end, as a
// picture, a video and a sound.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/media_reader.h"
#include "studio/media_span.h"
#include "studio/sound_reader.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/made_matroska.h"

namespace {

constexpr int kMostPictures = 12;
constexpr int kMostBlocks = 24;
constexpr int kMostReads = 8;                   // A pass may be a millisecond, and opens the file.
constexpr std::size_t kMostMemory = 64u << 20;  // Larger pictures only take longer.

// The bytes as a file with a name. FFmpeg tells by them what it is.
class File {
 public:
  explicit File(const std::string& bytes) : descriptor_(memfd_create("media", 0)) {
    FUZZ_CHECK(descriptor_ >= 0 &&
               write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  }
  ~File() { close(descriptor_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  const int descriptor_;
};

void ReadPictures(const studio::Layer& layer) {
  studio::MediaReader reader(layer);
  FUZZ_CHECK(reader.size().width > 0 && reader.size().height > 0);
  reader.ShrinkTo(studio::Size{64, 64});
  studio::Picture picture;
  for (int i = 0; i < kMostPictures && reader.Next(&picture); ++i) {
    FUZZ_CHECK(picture.size.width <= 64 && picture.size.height <= 64);
    if (i == 3) reader.SkipTo(500000000);
  }
  if (reader.Rewind(100000000)) reader.Next(&picture);
}

void ReadSound(studio::SoundReader* reader) {
  if (!reader) return;
  std::array<std::vector<float>, studio::kSoundChannels> planes;
  float* pointers[studio::kSoundChannels];
  for (std::size_t c = 0; c < planes.size(); ++c) {
    planes[c].resize(2400);
    pointers[c] = planes[c].data();
  }
  reader->SeekNearStart();
  for (int i = 0; i < kMostReads && reader->Read(pointers, 2400) == 2400; ++i) {
  }
}

// Small ones as a rule, else those where something ends.
std::uint64_t AnyNumber(FuzzInput* input) {
  const std::uint8_t kind = input->Byte();
  if (kind < 128) return kind;
  if (kind < 192) return std::uint64_t{1} << kind % 64;
  if (kind < 224) return (std::uint64_t{1} << kind % 32 * 2) - 1;
  if (kind < 240) return std::uint64_t{0} - (std::uint64_t{1} << kind % 16 * 4);
  if (kind < 248) return 1000000000u;
  return input->Take<std::uint64_t>();
}

std::string MakeMedia(FuzzInput* input) {
  test::MadeMatroska media;
  media.time_scale = input->Flag() ? 1000000 : AnyNumber(input);
  if (input->Flag()) media.duration = input->Take<double>();
  media.tracks.resize(1 + input->UpTo(2));
  for (test::MadeMatroska::Track& track : media.tracks) {
    track.is_sound = input->Flag();
    if (input->Flag()) track.frame_ns = AnyNumber(input);
    if (input->Flag()) track.delay_ns = AnyNumber(input);
    if (track.is_sound && input->Flag()) track.rate = static_cast<double>(AnyNumber(input));
    if (track.is_sound && input->Flag()) track.channels = AnyNumber(input);
    if (track.is_sound || input->Flag()) continue;
    for (std::uint64_t* side : {&track.width, &track.height, &track.display_width, &track.display_height}) {
      *side = AnyNumber(input);
    }
  }
  while (!input->empty() && media.blocks.size() < kMostBlocks) {
    test::MadeMatroska::Block block;
    block.track = 1 + input->UpTo(static_cast<unsigned int>(media.tracks.size()) - 1);
    block.time = AnyNumber(input);
    if (input->Flag()) block.duration = AnyNumber(input);
    if (input->Flag()) block.padding_ns = static_cast<std::int64_t>(AnyNumber(input));
    const test::MadeMatroska::Track& track = media.tracks[block.track - 1];
    const std::uint64_t bytes = track.is_sound ? 960 : track.width % 256 * (track.height % 256) * 4;
    block.bytes = std::string(static_cast<std::size_t>(bytes), static_cast<char>(input->Byte()));
    media.blocks.push_back(block);
  }
  return media.Bytes();
}

template <class Read>
void Try(Read read) {
  try {
    read();
  } catch (const studio::Error&) {
  }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

// Beside any other damage: numbers of a box, in either order of bytes, where something ends.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned int seed) {
  std::minstd_rand random(seed);
  if (random() % 2 != 0 || size < 10) return LLVMFuzzerMutate(data, size, most);
  for (unsigned int changes = 1 + random() % 3; changes > 0; --changes) {
    const std::size_t bytes = std::size_t{1} << random() % 4;
    const std::uint64_t bit = std::uint64_t{1} << random() % (8 * bytes);
    const std::uint64_t numbers[] = {0, 1, bit, bit - 1, ~std::uint64_t{0}, std::uint64_t{1} << (8 * bytes - 1)};
    const std::uint64_t number = numbers[random() % 6];
    const std::size_t at = random() % (size - bytes + 1);
    const bool big_endian = random() % 2 != 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      data[at + i] = static_cast<std::uint8_t>(number >> 8 * (big_endian ? bytes - 1 - i : i));
    }
  }
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = [] {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(kMostMemory);
    return true;
  }();
  if (!ready || size < 2) return 0;
  // The first byte says how it is read, and whether it is a file or what one is made of.
  FuzzInput input(data, size);
  const unsigned int how = input.Byte();
  const File file(how / 128 != 0 ? MakeMedia(&input) : input.Rest());
  studio::Layer layer;
  layer.kind = studio::LayerKind::kVideo;
  layer.file = file.name();
  layer.loop = how % 2 != 0;
  if (how / 2 % 2 != 0) layer.trim_start_s = 0.1;
  if (how / 4 % 2 != 0) layer.trim_end_s = 0.3;
  if (how / 8 % 2 != 0) layer.crop.left = 3;
  if (how / 16 % 2 != 0) layer.fade_out_s = 0.1f;
  studio::Sound sound;
  sound.file = layer.file;
  sound.trim_start_s = layer.trim_start_s;
  sound.fade_out_s = layer.fade_out_s;
  Try([&] { ReadPictures(layer); });
  Try([&] {
    studio::SoundReader reader(sound, 0);
    reader.LengthNs(sound);
    ReadSound(&reader);
  });
  Try([&] { ReadSound(studio::SoundReader::OfVideo(layer, 50000000).get()); });
  Try([&] { studio::VideoLengthNs(layer); });
  return 0;
}
