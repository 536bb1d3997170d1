// The items of a scene, in the order of drawing.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
#define QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_

#include <algorithm>
#include <cstddef>
#include <list>
#include <utility>
#include <vector>

#include <quarn/gs_item.h>
#include <quarn/ref_count.h>

#include "foundation/rw_mutex.h"

// Any thread. The lock is held to copy or to change the list only, never while an item runs: walks go over copies,
// whose references keep removed items alive.
class GsItemList {
 public:
  using Entry = scoped_refptr<GsItem>;

  // Puts `item` at the end, with a reference, and tells it its scene; does nothing when it is in the list.
  void Add(GsItem* item, GsScene* scene) {
    std::list<Entry> node;
    node.emplace_back(item);
    mutex_.WriteLock();
    if (Find(item) == items_.end()) {
      items_.splice(items_.end(), node);
      item->SetScene(scene);
    }
    mutex_.WriteUnlock();
  }

  // Takes `item` out and answers the list's reference; null when it was not there.
  Entry Remove(GsItem* item) {
    std::list<Entry> node;
    mutex_.WriteLock();
    const auto found = Find(item);
    if (found != items_.end()) {
      item->SetScene(nullptr);
      node.splice(node.end(), items_, found);
    }
    mutex_.WriteUnlock();
    return node.empty() ? Entry() : std::move(node.front());
  }

  // Sorts by ascending z, equals in their order. Of a z that changes meanwhile, either value may count.
  void Order() {
    mutex_.WriteLock();
    items_.sort([](const Entry& a, const Entry& b) { return a->z() < b->z(); });
    mutex_.WriteUnlock();
  }

  std::size_t size() {
    mutex_.ReadLock();
    const std::size_t size = items_.size();
    mutex_.ReadUnlock();
    return size;
  }

  // Replaces what `copy` holds.
  void CopyTo(std::vector<Entry>* copy) {
    mutex_.ReadLock();
    copy->assign(items_.begin(), items_.end());
    mutex_.ReadUnlock();
  }

 private:
  std::list<Entry>::iterator Find(GsItem* item) QUARN_REQUIRES(mutex_) {
    return std::find_if(items_.begin(), items_.end(), [item](const Entry& entry) { return entry.get() == item; });
  }

  std::list<Entry> items_ QUARN_GUARDED_BY(mutex_);
  RWMutex mutex_;
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
