// An ordered set of pointers that is walked every frame.
#ifndef QUARN_GRAPHICS_REGISTRY_H_
#define QUARN_GRAPHICS_REGISTRY_H_

#include <algorithm>
#include <cstddef>
#include <vector>

// Keeps insertion order, holds each pointer once, owns nothing. Not locked: the context's lock guards it.
template <class T>
class Registry {
 public:
  void Add(T* entry) {
    if (entry && std::find(entries_.begin(), entries_.end(), entry) == entries_.end()) entries_.push_back(entry);
  }

  void Remove(T* entry) {
    const auto found = std::find(entries_.begin(), entries_.end(), entry);
    if (found != entries_.end()) entries_.erase(found);
  }

  // Calls visit(entry) front to back. It goes by position, so that a visit that adds or removes entries (which it
  // should not) makes the walk miss or repeat one of them and harms nothing else.
  template <class Visit>
  void Walk(Visit visit) const {
    for (std::size_t i = 0; i < entries_.size(); ++i) visit(entries_[i]);
  }

 private:
  std::vector<T*> entries_;
};

#endif  // QUARN_GRAPHICS_REGISTRY_H_
