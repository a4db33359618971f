#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ks {

/// Maps text keys to values and iterates in order of first insertion. Constant-time look-up.
/// Entries cannot be removed one by one.
template <class T>
class OrderedTable {
 public:
  /// Returns the value under `key`, or null. Valid until the next change.
  const T* find(std::string_view key) const {
    const auto found = index_.find(key);
    return found == index_.end() ? nullptr : &entries_[found->second].second;
  }
  T* find(std::string_view key) { return const_cast<T*>(std::as_const(*this).find(key)); }

  /// Stores `value` under `key`; a known key keeps its place in the order.
  void set(std::string_view key, T value) {
    if (T* const known = find(key)) {
      *known = std::move(value);
      return;
    }
    index_.emplace(key, entries_.size());
    entries_.emplace_back(key, std::move(value));
  }

  void clear() {
    entries_.clear();
    index_.clear();
  }

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>{}(text);
    }
  };

  std::vector<std::pair<std::string, T>> entries_;
  std::unordered_map<std::string, std::size_t, TextHash, std::equal_to<>> index_;
};

}  // namespace ks
