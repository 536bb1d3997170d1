#include "studio/film_files.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "studio/error.h"

namespace studio {

namespace {

constexpr char kScheme[] = "film-files:";

// As the user named it: what UrlOf and LocalPath put in front is for FFmpeg.
std::string NameOf(std::string url) {
  for (const std::string front : {kScheme, "./"}) {
    if (url.rfind(front, 0) == 0) url.erase(0, front.size());
  }
  return url;
}

}  // namespace

std::string FilmFiles::UrlOf(const std::string& path) { return kScheme + path; }

FilmFiles::FilmFiles(AVFormatContext* format, bool overwrite)
    : overwrite_(overwrite), has_list_(std::string(format->oformat->name) != "image2"), list_(NameOf(format->url)) {
  format->opaque = this;
  format->io_open = &FilmFiles::OpenFile;
  format->io_close2 = &FilmFiles::CloseFile;
}

int FilmFiles::Fail(const std::string& message) {
  if (error_.empty()) error_ = message;
  return AVERROR(EIO);
}

int FilmFiles::OpenFile(AVFormatContext* format, AVIOContext** to, const char* url, int flags, AVDictionary** options) {
  auto* const files = static_cast<FilmFiles*>(format->opaque);
  try {
    return files->Open(to, NameOf(url), flags, options);
  } catch (const Error& error) {
    return files->Fail(error.what());
  } catch (const std::exception& error) {
    return files->Fail("cannot write " + NameOf(url) + ": " + error.what());
  }
}

int FilmFiles::Open(AVIOContext** to, const std::string& name, int flags, AVDictionary** options) {
  OpenedFile opened{name, std::make_unique<FilmFile>(name, overwrite_ || written_.count(name) > 0)};
  const int result = avio_open2(to, AvUrl(opened.file->path()).c_str(), flags, nullptr, options);
  if (result < 0) return Fail("cannot write " + name + ": " + AvErrorText(result));
  open_[*to] = std::move(opened);
  return 0;
}

int FilmFiles::CloseFile(AVFormatContext* format, AVIOContext* io) {
  return static_cast<FilmFiles*>(format->opaque)->Close(io);
}

int FilmFiles::Close(AVIOContext* io) {
  const auto found = open_.find(io);
  if (found == open_.end()) return avio_close(io);
  const OpenedFile opened = std::move(found->second);
  open_.erase(found);
  const std::string failure = "cannot write " + opened.name + ": ";
  avio_flush(io);
  const int written = io->error, closed = avio_close(io);
  if (!error_.empty()) return AVERROR(EIO);  // Nothing follows what could not be written, nor a list that names it.
  if (written < 0 || closed < 0) {
    const std::string why = failure + AvErrorText(written < 0 ? written : closed);
    std::error_code ignored;
    const bool is_segment = has_list_ && opened.name != list_;
    const std::uintmax_t bytes = is_segment ? std::filesystem::file_size(opened.file->path(), ignored) : 0;
    return Fail(bytes > 0 && !ignored ? why + "; what there is of it is in " + opened.file->Keep() : why);
  }
  if (const std::error_code error = opened.file->Publish()) {
    return Fail(failure + (error == std::errc::file_exists ? "it is there by now" : error.message()));
  }
  written_.insert(opened.name);
  return 0;
}

}  // namespace studio
