// Packs what was encoded into a file or a stream, with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_MUXER_H_
#define QUARN_EXAMPLES_STUDIO_FILM_MUXER_H_

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/film_file.h"
#include "studio/film_files.h"
#include "studio/film_kinds.h"

namespace studio {

// A file is written so that it can be read to its last second at any time, whatever becomes of the program, and has a
// name of its own until it is complete; so has each of a film that has many. When it breaks off, what there is of it is
// kept. Pipes are written as they are; a pipe's reader that goes away is an error. A stream outlives its receiver: what
// cannot be sent is counted and forgotten.
//
// One thread at a time, except GiveUp.
class FilmMuxer {
 public:
  // Nothing is opened yet. Throws Error.
  FilmMuxer(const Description& description, const FilmKind& kind);
  // Keeps what was written of a film that was not finished.
  ~FilmMuxer();
  FilmMuxer(const FilmMuxer&) = delete;
  FilmMuxer& operator=(const FilmMuxer&) = delete;

  // Whether encoders are to leave their headers to the container.
  bool global_header() const { return (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0; }
  // Adds a stream for what `codec` encodes, and returns its number.
  int AddStream(const AVCodecContext* codec);
  // Opens the file or the stream. Throws Error.
  void Open();
  // Whether it was opened, and is not ended: neither finished nor broken off.
  bool open() const { return open_; }
  // Writes a packet of a stream, whose times are in `time_base`. Throws Error.
  void Write(AVPacket* packet, int stream, AVRational time_base);
  // Completes the film. Throws Error.
  void Finish();
  // Ends a film that went wrong, and keeps what there is of it. Returns what a message has to add about that: "; its
  // first 1.5 s are in NAME", or nothing where nothing was kept.
  std::string Salvage();
  // Makes a stream's writes that wait for a slow receiver fail, from `seconds` from now on; files have all the time
  // they need. Thread: any.
  void GiveUp(double seconds);

  // Packets that no receiver took.
  std::uint64_t lost_packets() const { return lost_packets_; }

 private:
  void OpenOutput();
  void WriteHeader();
  void CheckWritten(int result);
  void CheckFiles();
  void CheckSent(int result);
  int End();
  int Close();
  std::error_code Publish();
  [[noreturn]] void Fail(const std::string& why);
  static int Send(void* self, std::uint8_t* data, int size);
  static int Interrupted(void* muxer);

  const std::string target_;  // The film's name or URL.
  const bool is_stream_;
  const bool is_pipe_;
  const bool overwrite_;
  const int descriptor_;  // Of a pipe that is open already.
  const bool index_in_front_;
  const std::vector<std::pair<std::string, std::string>> options_;  // Of the container.
  std::optional<FilmFile> file_;    // Unset for a pipe, a stream, and a film of many files.
  std::optional<FilmFiles> files_;  // Set for that.
  AVFormatContext* format_ = nullptr;
  AVIOContext* receiver_ = nullptr;  // Of a stream, but where FFmpeg opens it.
  bool open_ = false;
  bool broken_ = false;          // The file takes no more.
  std::int64_t good_bytes_ = 0;  // Of the file, up to the end of the last write that succeeded.
  bool taken_ = false;           // Some of the stream was.
  std::string lost_why_;
  std::uint64_t lost_packets_ = 0;
  std::atomic<std::int64_t> give_up_ns_{0};
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_MUXER_H_
