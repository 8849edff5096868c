#pragma once
// An observable list between a library and its view, in the manner of an array controller: it
// changes the content list it is given, shows the part of it that a filter lets through (the
// arranged objects), keeps a selection of objects, and raises one change signal after each
// change.
//
// The content is changed on the main loop, except for a whole replacement (replaceContent), which
// may come from another thread. Background tasks read it, so every change and every read of the
// content is made under the content lock. The lock is the controller's own, or one its owner
// shares with other readers of the content. It is recursive: an owner may hold it across several
// controller calls that must look like one step. The selection, the filter and the change signal
// belong to the main loop.

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "runtime/Signal.h"

namespace halvex {

template <typename T>
class ArrayController {
 public:
  using Object = std::shared_ptr<T>;
  using Content = std::vector<Object>;
  using Filter = std::function<bool(const T&)>;

  using LockSource = std::function<std::recursive_mutex&()>;

  explicit ArrayController(Content& content) : content_(content) {}
  // The content is guarded by the lock `lock` answers, asked for at each use.
  ArrayController(Content& content, LockSource lock) : content_(content), lockSource_(std::move(lock)) {}
  ArrayController(const ArrayController&) = delete;
  ArrayController& operator=(const ArrayController&) = delete;

  // Decides what the view shows; an empty filter shows everything. The owner may read the
  // current predicate inside it, so a change of the predicate shows at the next read.
  void setFilter(Filter filter) {
    filter_ = std::move(filter);
    dropHiddenFromSelection();
    notify();
  }
  // Inserted objects become the selection, as list views expect after an add or a move.
  bool selectsInsertedObjects = true;
  // Raised after every change of the content, the selection or the filter.
  Signal<> changed;

  std::recursive_mutex& contentLock() const { return lockSource_ ? lockSource_() : mutex_; }
  Content content() const {
    std::lock_guard lock(contentLock());
    return content_;
  }

  // Whether the filter lets `object` through to the arranged objects.
  bool arranges(const T& object) const { return shows(object); }
  Content arrangedObjects() const {
    std::lock_guard lock(contentLock());
    Content arranged;
    arranged.reserve(content_.size());
    for (const auto& object : content_)
      if (shows(*object)) arranged.push_back(object);
    return arranged;
  }

  void addObject(Object object) { addObjects({std::move(object)}); }
  void addObjects(const Content& objects) {
    {
      std::lock_guard lock(contentLock());
      content_.insert(content_.end(), objects.begin(), objects.end());
    }
    if (selectsInsertedObjects) selectObjects(objects);
    notify();
  }
  // Index into the arranged objects; at or past their end the object goes to the end of the
  // content, otherwise just before the object that now stands at that index.
  void insertObject(Object object, std::size_t atArrangedObjectIndex) {
    const Content arranged = arrangedObjects();
    {
      std::lock_guard lock(contentLock());
      auto where = content_.end();
      if (atArrangedObjectIndex < arranged.size())
        where = std::find(content_.begin(), content_.end(), arranged[atArrangedObjectIndex]);
      content_.insert(where, object);
    }
    if (selectsInsertedObjects) selectObjects({object});
    notify();
  }
  // Removes the first occurrence of the object; an object not in the content changes nothing.
  bool removeObject(const Object& object) {
    {
      std::lock_guard lock(contentLock());
      auto it = std::find(content_.begin(), content_.end(), object);
      if (it == content_.end()) return false;
      content_.erase(it);
    }
    std::erase(selection_, object);
    notify();
    return true;
  }
  // Removes each object's first occurrence, with one change; objects not in the content are
  // skipped. Answers how many went.
  std::size_t removeObjects(const Content& objects) {
    std::size_t removed = 0;
    {
      std::lock_guard lock(contentLock());
      for (const auto& object : objects) {
        auto it = std::find(content_.begin(), content_.end(), object);
        if (it == content_.end()) continue;
        content_.erase(it);
        ++removed;
      }
    }
    if (removed == 0) return 0;
    std::erase_if(selection_, [&](const Object& object) {
      return std::find(objects.begin(), objects.end(), object) != objects.end();
    });
    notify();
    return removed;
  }
  void setContent(Content content) {
    replaceContent(std::move(content));
    contentReplaced();
  }
  // From any thread: the content becomes `content` at once. The selection and the views follow
  // when the main loop calls contentReplaced(); until then the selection shows only what the new
  // content holds.
  void replaceContent(Content content) {
    std::lock_guard lock(contentLock());
    content_ = std::move(content);
  }
  // On the main loop, after a replacement: the selection starts afresh and the views are told.
  void contentReplaced() {
    selection_.clear();
    notify();
  }

  // The selected objects that the filter shows, in arranged order.
  Content selectedObjects() const {
    Content selected;
    for (const auto& object : arrangedObjects())
      if (std::find(selection_.begin(), selection_.end(), object) != selection_.end()) selected.push_back(object);
    return selected;
  }
  // The arranged index of the first selected object, or nothing.
  std::optional<std::size_t> selectionIndex() const {
    const Content arranged = arrangedObjects();
    for (std::size_t i = 0; i < arranged.size(); ++i)
      if (std::find(selection_.begin(), selection_.end(), arranged[i]) != selection_.end()) return i;
    return std::nullopt;
  }
  // An index past the arranged objects clears the selection.
  void setSelectionIndex(std::size_t index) {
    const Content arranged = arrangedObjects();
    selection_.clear();
    if (index < arranged.size()) selection_.push_back(arranged[index]);
    notify();
  }
  void clearSelection() {
    selection_.clear();
    notify();
  }

 private:
  bool shows(const T& object) const { return !filter_ || filter_(object); }
  void selectObjects(const Content& objects) {
    selection_.clear();
    for (const auto& object : objects)
      if (shows(*object)) selection_.push_back(object);
  }
  void dropHiddenFromSelection() {
    std::erase_if(selection_, [this](const Object& object) { return !shows(*object); });
  }
  void notify() { changed(); }

  Content& content_;
  LockSource lockSource_;
  mutable std::recursive_mutex mutex_;
  Filter filter_;
  Content selection_;
};

}  // namespace halvex
