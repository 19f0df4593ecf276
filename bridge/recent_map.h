#ifndef BRIDGE_RECENT_MAP_H_
#define BRIDGE_RECENT_MAP_H_

#include <cstddef>
#include <list>
#include <map>
#include <utility>
#include <variant>

#include "platform/time.h"

namespace orvane::bridge {

// A map with a capacity and a lifetime, which keeps the time of each insertion. Entries expire
// `life` after that time. When the map is full, the oldest entry is removed.
template <typename Key, typename Value = std::monostate>
class RecentMap {
 public:
  struct Entry {
    Key key;
    Value value;
    platform::MonotonicTime at;
  };

  RecentMap(std::size_t capacity, platform::TimeSpan life) : capacity_(capacity), life_(life) {}

  // Inserts or replaces an entry.
  void Put(const Key& key, platform::MonotonicTime now, Value value = {}) {
    Erase(key);
    DropOld(now);
    entries_.push_back({key, std::move(value), now});
    index_.emplace(key, std::prev(entries_.end()));
  }

  // Returns the entry, or null. It is valid until the map is changed.
  const Entry* Find(const Key& key, platform::MonotonicTime now) const {
    const auto found = index_.find(key);
    if (found == index_.end() || now - found->second->at > life_) return nullptr;
    return &*found->second;
  }

  bool Contains(const Key& key, platform::MonotonicTime now) const {
    return Find(key, now) != nullptr;
  }

  void Erase(const Key& key) {
    const auto found = index_.find(key);
    if (found == index_.end()) return;
    entries_.erase(found->second);
    index_.erase(found);
  }

  void Clear() {
    entries_.clear();
    index_.clear();
  }

  std::size_t size() const { return entries_.size(); }

 private:
  // Removes expired entries, and the oldest if there is no room for one more.
  void DropOld(platform::MonotonicTime now) {
    while (!entries_.empty() &&
           (entries_.size() >= capacity_ || now - entries_.front().at > life_)) {
      index_.erase(entries_.front().key);
      entries_.pop_front();
    }
  }

  std::size_t capacity_;
  platform::TimeSpan life_;
  std::list<Entry> entries_;  // oldest first
  std::map<Key, typename std::list<Entry>::iterator> index_;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_RECENT_MAP_H_
