// The encoders of films and their queue, without an engine.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "studio/encoder.h"
#include "studio/encoder_settings.h"
#include "studio/error.h"

namespace {

namespace fs = std::filesystem;
using namespace studio;

constexpr int kWidth = 128, kHeight = 96;

const char* const kEncoders[] = {"libx264",   "libx265",   "libvpx",   "libvpx-vp9", "libaom-av1",
                                 "libsvtav1", "prores_ks", "librav1e", "ffv1",       "mpeg4"};

// A picture with something in every place, which moves.
void Draw(int index, AVFrame* frame) {
  for (int plane = 0; plane < 3; ++plane) {
    const bool whole = plane == 0 || frame->format == AV_PIX_FMT_YUV422P10;
    for (int y = 0; y < (whole ? frame->height : frame->height / 2); ++y) {
      for (int x = 0; x < frame->linesize[plane]; ++x) {
        frame->data[plane][y * frame->linesize[plane] + x] = static_cast<std::uint8_t>((x * y + 5 * index) % 219 + 16);
      }
    }
  }
}

std::string Drain(AVCodecContext* codec) {
  std::string bytes;
  const AvPacket packet(av_packet_alloc());
  for (; avcodec_receive_packet(codec, packet.get()) == 0; av_packet_unref(packet.get())) {
    bytes.append(reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size));
  }
  return bytes;
}

// What an encoder makes of some pictures; nothing when it cannot be opened.
std::string Encoded(const AVCodec* encoder, EncoderUse use) {
  const AvCodec codec(avcodec_alloc_context3(encoder));
  codec->width = kWidth;
  codec->height = kHeight;
  codec->time_base = {1, 25};
  codec->framerate = {25, 1};
  codec->pix_fmt = std::string(encoder->name) == "prores_ks" ? AV_PIX_FMT_YUV422P10 : AV_PIX_FMT_YUV420P;
  codec->bit_rate = 300000;
  codec->flags |= AV_CODEC_FLAG_BITEXACT;
  ApplyEncoderSettings(encoder, use, codec.get());
  if (avcodec_open2(codec.get(), encoder, nullptr) < 0) return "";
  const AvFrame frame(av_frame_alloc());
  frame->format = codec->pix_fmt;
  frame->width = kWidth;
  frame->height = kHeight;
  std::string bytes;
  for (int i = 0; i < 4; ++i) {
    av_frame_get_buffer(frame.get(), 0);
    Draw(i, frame.get());
    frame->pts = i;
    EXPECT_EQ(avcodec_send_frame(codec.get(), frame.get()), 0);
    bytes += Drain(codec.get());
    av_buffer_unref(&frame->buf[0]);
    for (int plane = 1; plane < 3; ++plane) av_buffer_unref(&frame->buf[plane]);
  }
  avcodec_send_frame(codec.get(), nullptr);
  return bytes + Drain(codec.get());
}

// Every option of the table is one that the encoder has: a misspelled one is silently left out.
TEST(EncoderSettingsTest, EveryEncoderWorksInEveryUse) {
  for (const char* name : kEncoders) {
    SCOPED_TRACE(name);
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (!encoder) continue;
    for (const EncoderUse use : {EncoderUse::kOffline, EncoderUse::kLive, EncoderUse::kStream}) {
      EXPECT_FALSE(Encoded(encoder, use).empty()) << static_cast<int>(use);
    }
    EXPECT_TRUE(Encoded(encoder, EncoderUse::kOffline) == Encoded(encoder, EncoderUse::kOffline));
  }
}

TEST(EncoderSettingsTest, LiveAndOfflineDiffer) {
  const auto value = [](const char* name, EncoderUse use, const char* option) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    const AvCodec codec(avcodec_alloc_context3(encoder));
    ApplyEncoderSettings(encoder, use, codec.get());
    std::uint8_t* text = nullptr;
    EXPECT_EQ(av_opt_get(codec->priv_data, option, 0, &text), 0) << name << " " << option;
    const std::string copy = reinterpret_cast<const char*>(text);
    av_free(text);
    return copy;
  };
  if (avcodec_find_encoder_by_name("libvpx-vp9")) {
    EXPECT_EQ(value("libvpx-vp9", EncoderUse::kLive, "deadline"), "1");           // realtime
    EXPECT_EQ(value("libvpx-vp9", EncoderUse::kOffline, "deadline"), "1000000");  // good
    EXPECT_EQ(value("libvpx-vp9", EncoderUse::kLive, "row-mt"), "true");
    EXPECT_EQ(value("libvpx-vp9", EncoderUse::kLive, "cpu-used"), "8");
  }
  if (avcodec_find_encoder_by_name("libx264")) {
    EXPECT_EQ(value("libx264", EncoderUse::kLive, "preset"), "ultrafast");
    EXPECT_EQ(value("libx264", EncoderUse::kOffline, "preset"), "medium");
    EXPECT_EQ(value("libx264", EncoderUse::kStream, "tune"), "zerolatency");
  }
}

class FilmEncoderTest : public testing::Test {
 protected:
  FilmEncoderTest() {
    std::string folder = (fs::temp_directory_path() / "quarn-film-XXXXXX").string();
    if (!mkdtemp(folder.data())) std::abort();
    folder_ = folder;
  }
  ~FilmEncoderTest() override { fs::remove_all(folder_); }

  Description FilmOf(const std::string& name, double seconds) const {
    Description description;
    description.canvas = {kWidth, kHeight};
    description.duration_s = seconds;
    description.output = (folder_ / name).string();
    return description;
  }

  // How many packets a film has of its pictures, and how many seconds of its sound.
  void Read(const std::string& film, int* pictures, double* sound_s) const {
    AVFormatContext* input = nullptr;
    ASSERT_EQ(avformat_open_input(&input, film.c_str(), nullptr, nullptr), 0) << film;
    *pictures = 0;
    *sound_s = 0;
    const AvPacket packet(av_packet_alloc());
    for (; av_read_frame(input, packet.get()) >= 0; av_packet_unref(packet.get())) {
      const AVStream* stream = input->streams[packet->stream_index];
      if (packet->stream_index == 0)
        ++*pictures;
      else
        *sound_s = static_cast<double>(packet->pts + packet->duration) * av_q2d(stream->time_base);
    }
    avformat_close_input(&input);
  }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) names.push_back(entry.path().filename().string());
    return names;
  }

  static AvFrame Silence() {
    const std::vector<float> silence(kSoundBlock);
    const float* planes[kSoundChannels] = {silence.data(), silence.data()};
    return NewSoundBlock(planes, kSoundBlock);
  }

  static GsFrame Grey() {
    static const std::vector<unsigned char> plane(kWidth * kHeight, 128);
    GsFrame frame = {};
    frame.width = kWidth;
    frame.height = kHeight;
    for (int i = 0; i < 3; ++i) {
      frame.data[i] = plane.data();
      frame.linesize[i] = i == 0 ? kWidth : kWidth / 2;
    }
    return frame;
  }

  fs::path folder_;
  StageTimes times_;
};

// More pictures than any encoder takes, all at once, and the sound of them.
TEST_F(FilmEncoderTest, PicturesThatPileUpCostNoSound) {
  const Description description = FilmOf("film.mkv", 9);
  Encoder encoder(std::make_unique<FilmWriter>(description, true), &times_);
  int taken = 0;
  for (int n = 0; n < 270; ++n) {
    if (encoder.Submit(Grey(), n, false)) ++taken;
    if (n % 3 == 0) {
      for (int i = 0; i < 2; ++i) encoder.SubmitSound(Silence(), std::int64_t{kSoundBlock} * (n / 3 * 2 + i));
    }
  }
  encoder.Finish();
  EXPECT_EQ(encoder.dropped_blocks(), 0u);
  int pictures = 0;
  double sound_s = 0;
  Read(description.output, &pictures, &sound_s);
  EXPECT_EQ(pictures, taken);
  EXPECT_NEAR(sound_s, 9, 0.05);
}

// A minute of sound at once, which takes its encoder some time.
TEST_F(FilmEncoderTest, SoundThatPilesUpIsCounted) {
  const Description description = FilmOf("film.mkv", 75);
  Encoder encoder(std::make_unique<FilmWriter>(description, true), &times_);
  std::vector<AvFrame> blocks;
  for (int n = 0; n < 1200; ++n) blocks.push_back(Silence());
  encoder.Submit(Grey(), 0, true);
  for (int n = 0; n < 1200; ++n) encoder.SubmitSound(std::move(blocks[n]), std::int64_t{kSoundBlock} * n);
  EXPECT_GT(encoder.dropped_blocks(), 0u);
  EXPECT_LT(encoder.dropped_blocks(), 1001u);
  encoder.Finish();
}

TEST_F(FilmEncoderTest, FilmThatIsAbandonedKeepsWhatItHas) {
  for (const char* name : {"film.mp4", "film.mkv"}) {
    SCOPED_TRACE(name);
    const Description description = FilmOf(name, 9);
    {
      FilmWriter writer(description);
      for (int n = 0; n < 40; ++n) {
        const AvFrame frame = writer.NewFrame();
        Draw(n, frame.get());
        writer.Write(frame.get(), n);
      }
    }
    int pictures = 0;
    double sound_s = 0;
    Read(description.output, &pictures, &sound_s);
    EXPECT_EQ(pictures, 40);
    fs::remove(description.output);
  }
  { const FilmWriter writer(FilmOf("film.mp4", 9)); }
  EXPECT_TRUE(Files().empty());
}

// An encoder takes no picture of another size: what it had taken before is a film.
TEST_F(FilmEncoderTest, ErrorOfTheEncoderKeepsTheFilmSoFar) {
  const Description description = FilmOf("film.mp4", 9);
  FilmWriter writer(description);
  for (int n = 0; n < 30; ++n) {
    const AvFrame frame = writer.NewFrame();
    Draw(n, frame.get());
    writer.Write(frame.get(), n);
  }
  const AvFrame wrong = writer.NewFrame();
  for (AVBufferRef*& buffer : wrong->buf) av_buffer_unref(&buffer);
  for (std::uint8_t*& plane : wrong->data) plane = nullptr;
  std::string message;
  try {
    writer.Write(wrong.get(), 30);
  } catch (const Error& error) {
    message = error.what();
  }
  EXPECT_EQ(message.rfind("cannot encode " + description.output + " with libx264: ", 0), 0u) << message;
  EXPECT_NE(message.find("; its first 1.0 s are in " + description.output), std::string::npos) << message;
  int pictures = 0;
  double sound_s = 0;
  Read(description.output, &pictures, &sound_s);
  EXPECT_EQ(pictures, 30);
}

}  // namespace
