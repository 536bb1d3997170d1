// Media files that are damaged: they are refused with an Error, or read to an end, as a picture, a video and a sound.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/media_reader.h"
#include "studio/media_span.h"
#include "studio/sound_reader.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

constexpr int kMostPictures = 12;
constexpr int kMostBlocks = 24;
constexpr std::size_t kMostMemory = 256u << 20;

// The bytes as a file with a name. FFmpeg tells by them what it is.
class File {
 public:
  File(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("media", 0)) {
    FUZZ_CHECK(descriptor_ >= 0 && write(descriptor_, data, size) == static_cast<ssize_t>(size));
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
  for (int i = 0; i < kMostBlocks && reader->Read(pointers, 2400) == 2400; ++i) {
  }
}

template <class Read>
void Try(Read read) {
  try {
    read();
  } catch (const studio::Error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = [] {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(kMostMemory);
    return true;
  }();
  if (!ready || size < 2) return 0;
  // The first byte says how it is read.
  const unsigned int how = data[0];
  const File file(data + 1, size - 1);
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
