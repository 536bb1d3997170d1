// The items of a scene, in the order of drawing.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
#define QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <list>
#include <memory>
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

  // A copy of the list to walk over; the list must outlive it. It takes the list's spare vector along, so that a list
  // walked every frame takes nothing from the heap; a walk inside or beside another finds none and makes its own.
  class Walk {
   public:
    explicit Walk(GsItemList* list) : list_(list), items_(list->spare_.exchange(nullptr)) {
      if (!items_) items_ = std::make_unique<std::vector<Entry>>();
      list->CopyTo(items_.get());
    }
    ~Walk() {
      items_->clear();
      delete list_->spare_.exchange(items_.release());
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    std::vector<Entry>::const_iterator begin() const { return items_->begin(); }
    std::vector<Entry>::const_iterator end() const { return items_->end(); }

   private:
    GsItemList* list_;
    std::unique_ptr<std::vector<Entry>> items_;
  };

  GsItemList() = default;
  ~GsItemList() { delete spare_; }
  GsItemList(const GsItemList&) = delete;
  GsItemList& operator=(const GsItemList&) = delete;

  // Puts `item` at the end, with a reference, and tells it its scene; does nothing when it is in the list.
  void Add(GsItem* item, GsScene* scene) {
    std::list<Entry> node;
    node.emplace_back(item);
    WriteGuard guard(mutex_);
    if (Find(item) == items_.end()) {
      items_.splice(items_.end(), node);
      item->SetScene(scene);
    }
  }

  // Takes `item` out and answers the list's reference; null when it was not there.
  Entry Remove(GsItem* item) {
    std::list<Entry> node;
    {
      WriteGuard guard(mutex_);
      const auto found = Find(item);
      if (found != items_.end()) {
        item->SetScene(nullptr);
        node.splice(node.end(), items_, found);
      }
    }
    return node.empty() ? Entry() : std::move(node.front());
  }

  // Sorts by ascending z, equals in their order. Of a z that changes meanwhile, either value may count.
  void Order() {
    WriteGuard guard(mutex_);
    items_.sort([](const Entry& a, const Entry& b) { return a->z() < b->z(); });
  }

  std::size_t size() {
    ReadGuard guard(mutex_);
    return items_.size();
  }

  // Replaces what `copy` holds.
  void CopyTo(std::vector<Entry>* copy) {
    ReadGuard guard(mutex_);
    copy->assign(items_.begin(), items_.end());
  }

 private:
  // A host's AddRef, and the heap, may throw: the lock goes with them.
  class QUARN_SCOPED_CAPABILITY ReadGuard {
   public:
    explicit ReadGuard(RWMutex& mutex) QUARN_ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.ReadLock(); }
    ~ReadGuard() QUARN_RELEASE() { mutex_.ReadUnlock(); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

   private:
    RWMutex& mutex_;
  };
  class QUARN_SCOPED_CAPABILITY WriteGuard {
   public:
    explicit WriteGuard(RWMutex& mutex) QUARN_ACQUIRE(mutex) : mutex_(mutex) { mutex_.WriteLock(); }
    ~WriteGuard() QUARN_RELEASE() { mutex_.WriteUnlock(); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

   private:
    RWMutex& mutex_;
  };

  std::list<Entry>::iterator Find(GsItem* item) QUARN_REQUIRES(mutex_) {
    return std::find_if(items_.begin(), items_.end(), [item](const Entry& entry) { return entry.get() == item; });
  }

  std::atomic<std::vector<Entry>*> spare_{nullptr};  // Empty; null while a walk has it.
  std::list<Entry> items_ QUARN_GUARDED_BY(mutex_);
  RWMutex mutex_;
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
