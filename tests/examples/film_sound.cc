#include "tests/examples/film_sound.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

std::size_t FilmSound::At(double time_s) const {
  // Films of the tests have few pieces: one for each decoded frame.
  const auto next = std::upper_bound(pieces.begin(), pieces.end(), time_s,
                                     [](double time, const Piece& piece) { return time < piece.time_s; });
  const Piece& piece = next == pieces.begin() ? *next : *std::prev(next);
  const double offset = std::max(0.0, std::ceil((time_s - piece.time_s) * rate - 1e-6));
  return std::min(piece.at + static_cast<std::size_t>(offset), planes[0].size());
}

double FilmSound::TimeOf(std::size_t sample) const {
  const auto next = std::upper_bound(pieces.begin(), pieces.end(), sample,
                                     [](std::size_t at, const Piece& piece) { return at < piece.at; });
  const Piece& piece = *std::prev(next);
  return piece.time_s + static_cast<double>(sample - piece.at) / rate;
}

double FilmSound::Tone(int channel, double hertz, double from_s, double to_s) const {
  double re = 0, im = 0;
  const std::size_t from = At(from_s), to = At(to_s);
  for (std::size_t i = from; i < to; ++i) {
    const double phase = 2 * std::acos(-1.0) * hertz * static_cast<double>(i - from) / rate;
    re += planes[channel][i] * std::cos(phase), im += planes[channel][i] * std::sin(phase);
  }
  return 2 * std::hypot(re, im) / static_cast<double>(std::max<std::size_t>(to - from, 1));
}

double FilmSound::Peak(int channel, double from_s, double to_s) const {
  float peak = 0;
  for (std::size_t i = At(from_s); i < At(to_s); ++i) peak = std::max(peak, std::fabs(planes[channel][i]));
  return static_cast<double>(peak);
}

double FilmSound::FirstLoud(double from_s, double level) const {
  for (std::size_t i = At(from_s); i < planes[0].size(); ++i) {
    if (std::fabs(static_cast<double>(planes[0][i])) > level) return TimeOf(i);
  }
  return -1;
}

double FilmLight::FirstBright(double from_s) const {
  for (std::size_t i = 0; i < times_s.size(); ++i) {
    if (times_s[i] >= from_s && levels[i] > 0.5) return times_s[i];
  }
  return -1;
}

int Underruns(const std::string& summary) {
  if (summary.find(", no underrun\n") != std::string::npos) return 0;
  std::istringstream lines(summary);
  std::string line;
  while (std::getline(lines, line) && line.find(", underruns:") == std::string::npos) continue;
  if (!lines) return -1;
  int blocks = 0;
  while (std::getline(lines, line) && line.find(" came late") != std::string::npos) {
    blocks += std::atoi(&line[line.rfind(": ") + 2]);
  }
  return blocks;
}

void SoundTest::MakeFlashes(const std::string& name, double seconds, double first_s, double period_s) {
  const std::string length = std::to_string(seconds);
  const std::string on = "gte(t," + std::to_string(first_s) + ")*lt(mod(t-" + std::to_string(first_s) + "," +
                         std::to_string(period_s) + "),0.2)";
  const Ended ended = Run(
      FFMPEG, {"-v",       "error",
               "-nostdin", "-y",
               "-f",       "lavfi",
               "-i",       "color=black:s=160x90:r=50:d=" + length + ",drawbox=color=white:t=fill:enable='" + on + "'",
               "-f",       "lavfi",
               "-i",       "aevalsrc='0.8*sin(2*PI*1000*t)*" + on + "':s=44100:d=" + length,
               "-c:v",     "libx264",
               "-preset",  "ultrafast",
               "-pix_fmt", "yuv420p",
               "-c:a",     "aac",
               name});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
}

void SoundTest::MakeTone(const std::string& name, int hertz, double level, const std::string& seconds,
                         const std::string& rate) {
  Ffmpeg("-f lavfi -i aevalsrc=" + std::to_string(level) + "*sin(2*PI*t*" + std::to_string(hertz) + "):d=" + seconds +
         ":s=" + rate + ":c=stereo " + name);
}

std::string SoundTest::ProbeSound(const std::string& film) {
  const Ended ended = Run(FFPROBE, {"-v", "error", "-select_streams", "a", "-show_entries",
                                    "stream=codec_name,channels,sample_rate", "-of", "csv=p=0", film});
  EXPECT_EQ(ended.err, "");
  return ended.out.substr(0, ended.out.find('\n'));
}

FilmSound SoundTest::DecodeSound(const std::string& film) {
  FilmSound sound;
  std::string codec;
  char comma = 0;
  int channels = 0;
  std::string probed = ProbeSound(film);
  std::replace(probed.begin(), probed.end(), ',', ' ');
  std::istringstream(probed) >> codec >> sound.rate >> channels;
  if (channels == 0) {
    ADD_FAILURE() << film << " has no sound";
    sound.rate = 1, sound.planes.resize(2), sound.pieces.resize(1);
    return sound;
  }

  const Ended frames = Run(FFPROBE, {"-v", "error", "-select_streams", "a:0", "-show_entries",
                                     "frame=pts_time,nb_samples", "-of", "csv=p=0", film});
  std::istringstream lines(frames.out);
  std::size_t total = 0, count = 0;
  for (std::string line; std::getline(lines, line);) {
    double time_s = 0;
    if (!(std::istringstream(line) >> time_s >> comma >> count)) continue;
    sound.pieces.push_back({time_s, total});
    total += count;
  }
  const Ended raw =
      Run(FFMPEG, {"-v", "error", "-nostdin", "-y", "-i", film, "-map", "0:a:0", "-f", "f32le", ".run-raw"});
  EXPECT_EQ(raw.exit_code, 0) << raw.err;
  const std::string bytes = ReadFile(Path(".run-raw"));
  EXPECT_EQ(bytes.size(), total * channels * sizeof(float));
  sound.planes.resize(channels);
  for (std::size_t at = 0; at + sizeof(float) <= bytes.size(); at += sizeof(float)) {
    float sample = 0;
    std::memcpy(&sample, &bytes[at], sizeof(sample));
    sound.planes[at / sizeof(float) % channels].push_back(sample);
  }
  return sound;
}

FilmLight SoundTest::DecodeLight(const std::string& film) {
  FilmLight light;
  const Ended frames = Run(
      FFPROBE, {"-v", "error", "-select_streams", "v:0", "-show_entries", "frame=pts_time", "-of", "csv=p=0", film});
  std::istringstream lines(frames.out);
  for (std::string line; std::getline(lines, line);) {
    double time_s = 0;
    if (std::istringstream(line) >> time_s) light.times_s.push_back(time_s);
  }
  const Ended raw = Run(FFMPEG, {"-v", "error", "-nostdin", "-y", "-i", film, "-map", "0:v:0", "-vf",
                                 "scale=1:1:flags=area:out_range=full", "-fps_mode", "passthrough", "-f", "rawvideo",
                                 "-pix_fmt", "gray", ".run-raw"});
  EXPECT_EQ(raw.exit_code, 0) << raw.err;
  for (const char level : ReadFile(Path(".run-raw"))) light.levels.push_back(static_cast<unsigned char>(level) / 255.0);
  EXPECT_EQ(light.levels.size(), light.times_s.size());
  light.levels.resize(light.times_s.size());
  return light;
}
