// The items of a scene, in the order of drawing.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
#define QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <quarn/gs_item.h>
#include <quarn/gs_texture.h>

#include "foundation/mutex.h"

// Any thread. A list is never changed: whoever changes the items makes another, and puts it in the place of the one
// that it was made from. The lock is held only to take a list and to exchange it. That matters because those who change
// the items, and the render thread, take it with the context's lock held: they never wait there for somebody's walk,
// nor for a host's code.
class GsItemList {
 public:
  // Each entry has one reference on its item, whichever lists share it.
  using List = std::vector<std::shared_ptr<GsItem>>;
  // A list to walk over. Its references keep removed items alive.
  using Snapshot = std::shared_ptr<const List>;

  // The items of a list, or of none, to walk over.
  class Walk {
   public:
    Walk() = default;
    // `list` may be null.
    explicit Walk(GsItemList* list) : list_(list ? list->Current() : nullptr) {}

    const std::shared_ptr<GsItem>* begin() const { return list_ ? list_->data() : nullptr; }
    const std::shared_ptr<GsItem>* end() const { return list_ ? list_->data() + list_->size() : nullptr; }

   private:
    Snapshot list_;
  };

  GsItemList() = default;
  GsItemList(const GsItemList&) = delete;
  GsItemList& operator=(const GsItemList&) = delete;

  Snapshot Current() {
    MutexLocker<Mutex> lock(mutex_);
    return list_;
  }

  // Puts `item` at the end, with a reference, and tells it its scene; does nothing when it is in the list.
  void Add(GsItem* item, GsScene* scene) {
    std::shared_ptr<GsItem> entry;
    std::shared_ptr<List> list;
    Snapshot old = Current();
    do {
      if (Find(*old, item) != old->end()) return;
      if (!entry) entry = Reference(item);
      list = std::make_shared<List>();
      list->reserve(old->size() + 1);
      list->assign(old->begin(), old->end());
      list->push_back(entry);
    } while (!Exchange(&old, list, item, scene));
  }

  // Takes `item` out and answers the list that it was in, which holds the reference; null when it was not there.
  Snapshot Remove(GsItem* item) {
    std::shared_ptr<List> list;
    Snapshot old = Current();
    do {
      const auto found = Find(*old, item);
      if (found == old->end()) return nullptr;
      list = std::make_shared<List>();
      list->reserve(old->size() - 1);
      list->assign(old->begin(), found);
      list->insert(list->end(), found + 1, old->end());
    } while (!Exchange(&old, list, item, nullptr));
    return old;
  }

  // Sorts by ascending z; items of equal z keep their order. Of a z that another thread changes meanwhile, either value
  // may count.
  void Order() {
    std::shared_ptr<List> list;
    Snapshot old = Current();
    do {
      // Each z is read once: a sort is undefined when its comparisons change while it runs.
      std::vector<std::pair<int, std::shared_ptr<GsItem>>> entries;
      entries.reserve(old->size());
      for (const auto& entry : *old) entries.emplace_back(entry->z(), entry);
      std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
      list = std::make_shared<List>();
      list->reserve(entries.size());
      for (auto& entry : entries) list->push_back(std::move(entry.second));
    } while (!Exchange(&old, list, nullptr, nullptr));
  }

  // The scene's picture as hosts sample it, null without one. It stands here because the fields of the scene are part
  // of the interface; the scene sets it once, before anybody uses it.
  std::unique_ptr<GsTexture> picture;

  std::size_t size() {
    MutexLocker<Mutex> lock(mutex_);
    return list_->size();
  }

 private:
  static std::shared_ptr<GsItem> Reference(GsItem* item) {
    item->AddRef();
    return std::shared_ptr<GsItem>(item, [](GsItem* held) { held->Release(); });
  }

  static List::const_iterator Find(const List& list, const GsItem* item) {
    return std::find_if(list.begin(), list.end(), [item](const auto& entry) { return entry.get() == item; });
  }

  // Puts `list` in the place of `old`, and tells `item`, if there is one, its scene. Returns false, and answers the
  // present list in `old`, when there is another by now. No list is freed under the lock: that may drop an item's last
  // reference, which runs the host's code.
  bool Exchange(Snapshot* old, Snapshot list, GsItem* item, GsScene* scene) {
    Snapshot present;
    {
      MutexLocker<Mutex> lock(mutex_);
      if (list_ == *old) {
        list_.swap(list);
        if (item) item->SetScene(scene);
        return true;
      }
      present = list_;
    }
    old->swap(present);
    return false;
  }

  Snapshot list_ QUARN_GUARDED_BY(mutex_) = std::make_shared<const List>();
  Mutex mutex_;
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_ITEM_LIST_H_
