#include "studio/film_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

#include "studio/error.h"

namespace fs = std::filesystem;

namespace studio {
namespace {

constexpr char kSuffix[] = ".part";
constexpr std::size_t kLetters = 6;
constexpr std::size_t kMaxName = 255 - kLetters - sizeof(kSuffix);  // What a file's name has room for beside them.

std::string RandomLetters() {
  static constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::string letters;
  while (letters.size() < kLetters) letters += kAlphabet[random() % (sizeof(kAlphabet) - 1)];
  return letters;
}

// Makes a file that was not there. Returns an error number.
int Create(const fs::path& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) return errno;
  close(file);
  return 0;
}

// Gives a file a name that nothing has, though something may get it meanwhile: that is an error.
std::error_code RenameToFree(const fs::path& from, const fs::path& to) {
  int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
    // Not every file system can. Of two names of one file, the new one is the one to keep.
    result = link(from.c_str(), to.c_str());
    if (result == 0) unlink(from.c_str());
  }
  return result == 0 ? std::error_code() : std::error_code(errno, std::generic_category());
}

}  // namespace

FilmFile::FilmFile(const std::string& film, bool overwrite) : film_(film), overwrite_(overwrite), target_(film) {
  std::error_code error;
  if (fs::exists(target_, error) && !fs::is_regular_file(target_, error)) {
    throw Error("cannot write " + film + ": it is not a plain file");
  }
  if (fs::is_symlink(target_, error)) target_ = fs::weakly_canonical(target_, error);
  const std::string name = target_.filename().string().substr(0, kMaxName);
  int failure = 0;
  do {
    path_ = target_.parent_path() / (name + "." + RandomLetters() + kSuffix);
    failure = Create(path_);
  } while (failure == EEXIST);
  if (failure != 0) throw Error("cannot write " + film + ": " + std::generic_category().message(failure));
}

FilmFile::~FilmFile() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove(path_, ignored);
}

std::error_code FilmFile::Publish() { return Rename(overwrite_); }

std::error_code FilmFile::Rename(bool overwrite) {
  std::error_code error;
  if (overwrite) {
    fs::rename(path_, target_, error);
  } else {
    error = RenameToFree(path_, target_);
  }
  if (!error) path_.clear();
  return error;
}

std::string FilmFile::Keep() {
  if (!Rename(false)) return film_;
  std::string name = path();
  path_.clear();
  return name;
}

}  // namespace studio
