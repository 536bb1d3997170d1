// The file that a film is written to.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_FILE_H_
#define QUARN_EXAMPLES_STUDIO_FILM_FILE_H_

#include <filesystem>
#include <string>
#include <system_error>

namespace studio {

// It has a name of its own in the film's folder, FILM.XXXXXX.part, until the film is complete: nobody sees half a film,
// and two programs that record to one name do not meet. Where that name is a symbolic link, the film goes to where it
// points.
class FilmFile {
 public:
  // Makes the file, empty. Throws Error.
  explicit FilmFile(const std::string& film, bool overwrite = true);
  // Removes it, unless it was kept.
  ~FilmFile();
  FilmFile(const FilmFile&) = delete;
  FilmFile& operator=(const FilmFile&) = delete;

  std::string path() const { return path_.string(); }

  // Gives it the film's name, at once and in place of what has that name; unless it is not to overwrite that, which is
  // the error std::errc::file_exists then.
  std::error_code Publish();
  // Keeps it as a film that broke off: under the film's name where that is free, for an older film may be worth more,
  // else under its own. Returns the name.
  std::string Keep();

 private:
  std::error_code Rename(bool overwrite);

  const std::string film_;
  const bool overwrite_;
  std::filesystem::path target_;
  std::filesystem::path path_;  // Empty once it is kept.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_FILE_H_
