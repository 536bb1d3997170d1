// Matroska files whose every number the test chooses: what no encoder would write.
#ifndef QUARN_TESTS_SUPPORT_MADE_MATROSKA_H_
#define QUARN_TESTS_SUPPORT_MADE_MATROSKA_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace test {

struct MadeMatroska {
  // Pictures are RGBA, samples are of 16 bits.
  struct Track {
    bool is_sound = false;
    std::uint64_t width = 2, height = 2;
    std::uint64_t display_width = 0, display_height = 0;  // 0: not said.
    double rate = 48000;
    std::uint64_t channels = 1;
    std::uint64_t frame_ns = 0;  // How long a frame lasts; 0: not said.
    std::uint64_t delay_ns = 0;  // What decoders need before the first.
  };
  struct Block {
    std::uint64_t track = 1;  // Counted from 1.
    std::uint64_t time = 0;   // In units of `time_scale`.
    std::string bytes = std::string(16, '\x7f');
    std::uint64_t duration = 0;  // In the same; 0: not said.
    std::int64_t padding_ns = 0;
  };

  std::uint64_t time_scale = 1000000;  // Nanoseconds.
  double duration = 0;                 // In units of that.
  std::vector<Track> tracks;
  std::vector<Block> blocks;

  std::string Bytes() const {
    std::string info = Number(0x2AD7B1, time_scale) + Text(0x4D80, "test") + Text(0x5741, "test");
    if (duration > 0) info += Real(0x4489, duration);
    std::string entries;
    for (std::size_t i = 0; i < tracks.size(); ++i) entries += Element(0xAE, Entry(tracks[i], i + 1));
    std::string clusters;
    for (const Block& block : blocks) {
      const std::string head{static_cast<char>(0x80 | block.track), 0, 0, 0};
      std::string group = Element(0xA1, head + block.bytes);
      if (block.duration > 0) group += Number(0x9B, block.duration);
      if (block.padding_ns != 0) group += Number(0x75A2, static_cast<std::uint64_t>(block.padding_ns));
      clusters += Element(0x1F43B675, Number(0xE7, block.time) + Element(0xA0, group));
    }
    return Element(0x1A45DFA3, Text(0x4282, "matroska") + Number(0x4287, 4) + Number(0x4285, 2)) +
           Element(0x18538067, Element(0x1549A966, info) + Element(0x1654AE6B, entries) + clusters);
  }

 private:
  static std::string BigEndian(std::uint64_t value, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
    return text;
  }
  static std::string Element(std::uint32_t id, const std::string& content) {
    std::string text = BigEndian(id, id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1);
    return text + BigEndian((std::uint64_t{1} << 56) | content.size(), 8) + content;
  }
  static std::string Number(std::uint32_t id, std::uint64_t value) { return Element(id, BigEndian(value, 8)); }
  static std::string Text(std::uint32_t id, const std::string& text) { return Element(id, text); }
  static std::string Real(std::uint32_t id, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return Number(id, bits);
  }
  static std::string Entry(const Track& track, std::uint64_t number) {
    std::string entry = Number(0xD7, number) + Number(0x73C5, number) + Number(0x83, track.is_sound ? 2 : 1);
    if (track.frame_ns > 0) entry += Number(0x23E383, track.frame_ns);
    if (track.delay_ns > 0) entry += Number(0x56AA, track.delay_ns);
    if (track.is_sound) {
      return entry + Text(0x86, "A_PCM/INT/LIT") +
             Element(0xE1, Real(0xB5, track.rate) + Number(0x9F, track.channels) + Number(0x6264, 16));
    }
    std::string video = Number(0xB0, track.width) + Number(0xBA, track.height) + Text(0x2EB524, "RGBA");
    if (track.display_width > 0) video += Number(0x54B0, track.display_width);
    if (track.display_height > 0) video += Number(0x54BA, track.display_height);
    return entry + Text(0x86, "V_UNCOMPRESSED") + Element(0xE0, video);
  }
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_MADE_MATROSKA_H_
