#include "studio/video_player.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <new>
#include <utility>

namespace studio {
namespace {

constexpr std::size_t kPicturesAhead = 4;
constexpr std::int64_t kRoundingNs = 1000000;     // Containers round times to milliseconds.
constexpr std::int64_t kBehindNs = 100000000;     // From here on pictures are left out that no other one needs,
constexpr std::int64_t kFarBehindNs = 250000000;  // and from here on all until one that needs no other one.
constexpr std::chrono::milliseconds kAskPeriod(100);

}  // namespace

VideoPlayer::VideoPlayer(std::unique_ptr<MediaReader> reader, bool loop, bool offline, std::int64_t start_ns)
    : reader_(std::move(reader)),
      loop_(loop),
      offline_(offline),
      ahead_(reader_->shape()),
      in_time_(reader_->shape()),
      due_ns_(start_ns + kRoundingNs) {
  free_.reserve(kPicturesAhead);
  reader_->SkipTo(due_ns_);
  while (!ended_ && (entries_.empty() || entries_.back()->decoded.time_ns <= due_ns_)) {
    const std::shared_ptr<Entry> entry = DecodeEntry(due_ns_);
    ended_ = !entry || !Add(entry);
    DropPassed();
  }
  thread_ = std::thread(&VideoPlayer::Run, this);
}

VideoPlayer::~VideoPlayer() {
  reader_->Interrupt();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wanted_.notify_one();
  thread_.join();
}

const Picture* VideoPlayer::Take(std::int64_t film_ns) {
  std::unique_lock<std::mutex> lock(mutex_);
  rests_ = false;
  wanted_.notify_one();
  film_ns += kRoundingNs;
  if (film_ns > due_ns_) period_ns_ = film_ns - due_ns_;
  due_ns_ = film_ns;
  if (offline_) {
    const auto decoded = [&] { return ended_ || (!entries_.empty() && entries_.back()->decoded.time_ns > film_ns); };
    while (!changed_.wait_for(lock, kAskPeriod, decoded)) {
      if (goes_on_ && !goes_on_()) return nullptr;
    }
  }
  const auto chosen = Choose();
  if (chosen == entries_.end()) return nullptr;
  const std::shared_ptr<Entry> entry = *chosen;
  entries_.erase(entries_.begin(), std::next(chosen));
  rests_ = false;  // There is room again.
  wanted_.notify_one();
  if (entry->stage == Stage::kDecoded) Convert(entry, &in_time_, &lock);
  changed_.wait(lock, [&] { return entry->stage == Stage::kConverted; });
  if (!entry->good) return nullptr;
  std::swap(current_, entry->picture);
  GiveBack(std::move(entry->picture));
  return &current_;
}

void VideoPlayer::WaitAhead() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return rests_; });
}

// The picture that is due, or while one is left out after the other, the last one that is ready.
VideoPlayer::Entries::iterator VideoPlayer::Choose() {
  auto newest = entries_.end(), ready = entries_.end();
  for (auto entry = entries_.begin(); entry != entries_.end() && (*entry)->decoded.time_ns <= due_ns_; ++entry) {
    newest = entry;
    if ((*entry)->stage == Stage::kConverted) ready = entry;
  }
  return offline_ || ready == entries_.end() ? newest : ready;
}

// Of the pictures that are due, all but the newest have been late already. In real time those that are converted stay,
// for they can be shown at once; offline nothing but the newest is shown.
void VideoPlayer::DropPassed() {
  for (std::size_t i = 0; i + 1 < entries_.size();) {
    const bool passed =
        entries_[i + 1]->decoded.time_ns <= due_ns_ && (offline_ || entries_[i]->stage == Stage::kDecoded);
    if (passed) {
      if (entries_[i]->stage == Stage::kConverted) GiveBack(std::move(entries_[i]->picture));
      entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      ++i;
    }
  }
}

// Keeps the memory of a picture for another one.
void VideoPlayer::GiveBack(Picture picture) {
  if (free_.size() < kPicturesAhead) free_.push_back(std::move(picture));
}

// Whether something between the two times will be asked for, if it goes on as before.
bool VideoPlayer::WillBeTaken(std::int64_t begin_ns, std::int64_t end_ns) const {
  if (period_ns_ == 0) return true;
  const std::int64_t periods = std::max<std::int64_t>(1, (begin_ns - due_ns_ + period_ns_ - 1) / period_ns_);
  return due_ns_ + periods * period_ns_ < end_ns;
}

std::shared_ptr<VideoPlayer::Entry> VideoPlayer::NextToConvert() {
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const Entry& entry = *entries_[i];
    if (entry.stage != Stage::kDecoded) continue;
    const bool has_next = i + 1 < entries_.size();
    const std::int64_t begin_ns = entry.decoded.time_ns;
    if (begin_ns <= due_ns_) {
      // A late one, perhaps with a better one behind it: worth the while if there is nothing else to show.
      if (has_next || ended_ || (!offline_ && i == 0)) return entries_[i];
    } else {
      const std::int64_t end_ns = has_next ? entries_[i + 1]->decoded.time_ns : entry.decoded.end_ns;
      if (WillBeTaken(begin_ns, end_ns)) return entries_[i];
    }
  }
  return nullptr;
}

void VideoPlayer::Convert(const std::shared_ptr<Entry>& entry, PictureConverter* converter,
                          std::unique_lock<std::mutex>* lock) {
  entry->stage = Stage::kConverting;
  if (!free_.empty()) {
    entry->picture = std::move(free_.back());
    free_.pop_back();
  }
  lock->unlock();
  try {
    entry->good = converter->Convert(*entry->decoded.frame, form_, &entry->picture);
  } catch (const std::exception&) {
    entry->good = false;
  }
  if (!entry->good) {
    entry->picture = Picture();
    ++lost_;
  }
  entry->decoded.frame.reset();
  lock->lock();
  entry->stage = Stage::kConverted;
  changed_.notify_all();
}

// Null at the end, which is also where there is no memory.
std::shared_ptr<VideoPlayer::Entry> VideoPlayer::DecodeEntry(std::int64_t due_ns) {
  try {
    auto entry = std::make_shared<Entry>();
    if (reader_->Decode(&entry->decoded)) return entry;
    if (loop_ && reader_->Rewind(due_ns) && reader_->Decode(&entry->decoded)) return entry;
  } catch (const std::exception&) {
    ++lost_;
  }
  return nullptr;
}

// Returns false where there is no memory for one more.
bool VideoPlayer::Add(const std::shared_ptr<Entry>& entry) {
  try {
    entries_.push_back(entry);
    return true;
  } catch (const std::bad_alloc&) {
    ++lost_;
    return false;
  }
}

// Sees to it that decoding does not stay behind.
void VideoPlayer::Hurry(std::int64_t behind_ns, std::int64_t due_ns) {
  reader_->SetHurry(behind_ns > kBehindNs);
  if (behind_ns > kFarBehindNs) reader_->SkipTo(due_ns);
}

void VideoPlayer::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  std::int64_t decoded_ns = due_ns_;  // Where the last picture ended.
  while (!stop_) {
    DropPassed();
    if (const std::shared_ptr<Entry> entry = NextToConvert()) {
      Convert(entry, &ahead_, &lock);
      continue;
    }
    if (ended_ || entries_.size() > kPicturesAhead) {
      rests_ = true;
      changed_.notify_all();
      wanted_.wait(lock);
      continue;
    }
    const std::int64_t due_ns = due_ns_;
    lock.unlock();
    if (!offline_) Hurry(due_ns - decoded_ns, due_ns);
    const std::shared_ptr<Entry> entry = DecodeEntry(due_ns);
    lock.lock();
    if (entry) decoded_ns = entry->decoded.end_ns;
    ended_ = !entry || !Add(entry);
    changed_.notify_all();
  }
}

}  // namespace studio
