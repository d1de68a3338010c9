// Collections: an ordered collection with 1-based positions and removal, and
// a keyed collection from text to number.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tavric/RuntimeError.h"

namespace tavric {

// Positions run from 1 to Count(); removing an element closes the gap.
// A position outside 1..Count() raises 9.
template <class T>
class OrderedCollection {
 public:
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(items_.size()); }
  void Add(T item) { items_.push_back(std::move(item)); }
  T& Item(std::int32_t position) { return items_[Index(position)]; }
  const T& Item(std::int32_t position) const { return items_[Index(position)]; }
  void Remove(std::int32_t position) {
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(Index(position)));
  }

 private:
  std::size_t Index(std::int32_t position) const {
    if (position < 1 || position > Count()) Raise(err::kSubscriptOutOfRange);
    return static_cast<std::size_t>(position - 1);
  }
  std::vector<T> items_;
};

// Keys are compared exactly (case-sensitive). Adding a key twice raises 457;
// reading a key that is not held raises 5.
class KeyedCollection {
 public:
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(items_.size()); }
  void Add(const std::string& key, double value) {
    if (!items_.emplace(key, value).second) Raise(err::kDuplicateKey);
  }
  double Item(const std::string& key) const {
    const auto it = items_.find(key);
    if (it == items_.end()) Raise(err::kInvalidCall);
    return it->second;
  }
  bool Contains(const std::string& key) const { return items_.count(key) != 0; }

 private:
  std::map<std::string, double> items_;
};

}  // namespace tavric
