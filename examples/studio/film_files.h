// The files of a film that has many: numbered pictures, or a playlist with its segments.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_FILES_H_
#define QUARN_EXAMPLES_STUDIO_FILM_FILES_H_

#include <map>
#include <memory>
#include <set>
#include <string>

#include "studio/av.h"
#include "studio/film_file.h"

namespace studio {

// Each is a FilmFile, and takes its name when FFmpeg closes it. One that FFmpeg writes anew, such as a playlist,
// replaces what the film itself has written under that name, whether or not others may be replaced.
// After one that could not be written none takes its name any more, so a playlist stays as it was; of a segment that
// there was no room for, what was written is kept.
//
// One thread at a time.
class FilmFiles {
 public:
  // The muxer `format` opens and closes its files through this, which has to outlive it.
  FilmFiles(AVFormatContext* format, bool overwrite);
  FilmFiles(const FilmFiles&) = delete;
  FilmFiles& operator=(const FilmFiles&) = delete;

  // How FFmpeg has to be told of a file. Playlists are renamed by FFmpeg itself where it knows their protocol.
  static std::string UrlOf(const std::string& path);

  // The first that went wrong, in one line; FFmpeg does not tell everything. Empty as long as all is well.
  const std::string& error() const { return error_; }

 private:
  static int OpenFile(AVFormatContext* format, AVIOContext** to, const char* url, int flags, AVDictionary** options);
  static int CloseFile(AVFormatContext* format, AVIOContext* io);
  int Open(AVIOContext** to, const std::string& name, int flags, AVDictionary** options);
  int Close(AVIOContext* io);
  int Fail(const std::string& message);

  struct OpenedFile {
    std::string name;
    std::unique_ptr<FilmFile> file;
  };

  const bool overwrite_;
  const bool has_list_;     // Of segments; else there are pictures.
  const std::string list_;  // Its name.
  std::map<AVIOContext*, OpenedFile> open_;
  std::set<std::string> written_;
  std::string error_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_FILES_H_
