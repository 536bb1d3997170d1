// What is heard in a film, and when it is heard and seen: by the film's own timestamps.
#ifndef QUARN_TESTS_EXAMPLES_FILM_SOUND_H_
#define QUARN_TESTS_EXAMPLES_FILM_SOUND_H_

#include <string>
#include <vector>

#include "tests/examples/example_program.h"

// A film's sound, decoded.
struct FilmSound {
  struct Piece {
    double time_s = 0;
    std::size_t at = 0;  // Where it begins in each of the planes.
  };

  int rate = 0;
  std::vector<std::vector<float>> planes;  // One a channel.
  std::vector<Piece> pieces;               // Each goes on to the next.

  // The first sample at or behind a time of the film.
  std::size_t At(double time_s) const;
  double TimeOf(std::size_t sample) const;
  double end_s() const { return TimeOf(planes[0].size()); }
  // The amplitude of a tone in a channel from one time to another.
  double Tone(int channel, double hertz, double from_s, double to_s) const;
  // The largest magnitude.
  double Peak(int channel, double from_s, double to_s) const;
  // The first time, not before `from_s`, at which channel 0 is louder than `level`; negative when it never is.
  double FirstLoud(double from_s, double level) const;
};

// The brightness of a film's pictures, 0 to 1.
struct FilmLight {
  std::vector<double> times_s;
  std::vector<double> levels;

  // The first time, not before `from_s`, at which a picture is brighter than a half; negative when none is.
  double FirstBright(double from_s) const;
};

// The underruns that a summary of quarn-record tells of, in blocks; a busy machine may have some. -1 when it does not
// speak of them.
int Underruns(const std::string& summary);

class SoundTest : public ExampleTest {
 protected:
  // Makes a clip that is dark and silent but for a white flash, and a beep of 1000 Hz, of a fifth of a second at
  // `first_s` and every `period_s` seconds behind.
  void MakeFlashes(const std::string& name, double seconds, double first_s, double period_s);

  // Makes a tone, in two channels.
  void MakeTone(const std::string& name, int hertz, double level, const std::string& seconds = "3",
                const std::string& rate = "48000");

  // "codec,channels,rate" of the film's sound; empty when it has none.
  std::string ProbeSound(const std::string& film);
  FilmSound DecodeSound(const std::string& film);
  FilmLight DecodeLight(const std::string& film);
};

#endif  // QUARN_TESTS_EXAMPLES_FILM_SOUND_H_
