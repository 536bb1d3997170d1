// An ordered set of pointers that is walked every frame.
#ifndef QUARN_GRAPHICS_REGISTRY_H_
#define QUARN_GRAPHICS_REGISTRY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// Keeps insertion order, holds each pointer once, owns nothing. Not locked: the context's lock guards it.
template <class T>
class Registry {
 public:
  void Add(T* entry) {
    if (!entry || Has(entry)) return;
    walked_.reserve(entries_.size() + 1);  // So that a walk needs no memory, unless it runs inside another.
    entries_.push_back(entry);
  }

  void Remove(T* entry) {
    const auto found = std::find(entries_.begin(), entries_.end(), entry);
    if (found == entries_.end()) return;
    entries_.erase(found);
    ++removals_;
  }

  // Calls visit(entry) front to back. A visit may add and remove entries, and walk: a walk visits each entry that was
  // there when it began, and is there when its turn comes, once. What is added meanwhile is visited in the next. (What
  // is added at the address of one that has gone counts as that one come back.)
  template <class Visit>
  void Walk(Visit visit) {
    Walk(visit, [](T**, std::size_t) {});
  }

  // The same in another order: first calls arrange(entries, count), which may exchange them among themselves.
  template <class Visit, class Arrange>
  void Walk(Visit visit, Arrange arrange) {
    const std::uint64_t removals = removals_;
    const Copy copy(this);
    arrange(walked_.data() + copy.begin(), copy.end() - copy.begin());
    for (std::size_t i = copy.begin(); i < copy.end(); ++i) {
      T* const entry = walked_[i];
      if (removals == removals_ || Has(entry)) visit(entry);
    }
  }

 private:
  // The entries that a walk goes over, on top of those of the walks that it runs inside of.
  class Copy {
   public:
    explicit Copy(Registry* registry) : walked_(registry->walked_), begin_(walked_.size()) {
      walked_.insert(walked_.end(), registry->entries_.begin(), registry->entries_.end());
      end_ = walked_.size();
    }
    ~Copy() { walked_.resize(begin_); }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    std::size_t begin() const { return begin_; }
    std::size_t end() const { return end_; }

   private:
    std::vector<T*>& walked_;
    std::size_t begin_;
    std::size_t end_;
  };

  bool Has(const T* entry) const { return std::find(entries_.begin(), entries_.end(), entry) != entries_.end(); }

  std::vector<T*> entries_;
  std::vector<T*> walked_;
  std::uint64_t removals_ = 0;  // So that only a walk in which something left looks for its entries.
};

#endif  // QUARN_GRAPHICS_REGISTRY_H_
