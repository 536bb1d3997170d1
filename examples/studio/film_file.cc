#include "studio/film_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

FilmFile::FilmFile(const std::string& film) : film_(film), target_(film) {
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

std::error_code FilmFile::Publish() {
  std::error_code error;
  fs::rename(path_, target_, error);
  if (!error) path_.clear();
  return error;
}

std::string FilmFile::Keep() {
  std::error_code error;
  if (!fs::exists(target_, error) && !Publish()) return film_;
  std::string name = path();
  path_.clear();
  return name;
}

}  // namespace studio
