#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "BeaconSDK/Platform/Api/Object.h"

/// Set operations on lists. Results keep the first list's order; records are compared by `isEqual`.
namespace ks::NSArrayHelpers {

namespace detail {

template <class T>
struct IsRecordPointer : std::false_type {};
template <class T>
struct IsRecordPointer<std::shared_ptr<T>> : std::is_base_of<Object, std::remove_const_t<T>> {};

template <class T>
/// Hashes a record by its own `hash`, any other element by `std::hash`.
struct ElementHash {
  std::size_t operator()(const T& element) const {
    if constexpr (IsRecordPointer<T>::value) {
      return element ? element->hash() : 0;
    } else {
      return std::hash<T>{}(element);
    }
  }
};

template <class T>
/// Compares records by `isEqual`, other elements by `==`.
struct ElementEqual {
  bool operator()(const T& a, const T& b) const {
    if constexpr (IsRecordPointer<T>::value) {
      return a && b ? a->isEqual(b.get()) : a == b;
    } else {
      return a == b;
    }
  }
};

template <class T>
concept Hashable = IsRecordPointer<T>::value || requires(const T& element) {
  { std::hash<T>{}(element) } -> std::convertible_to<std::size_t>;
};

/// Returns the elements of `list` whose presence in `other` equals `wanted`. Linear time for
/// hashable elements, otherwise quadratic.
template <class T>
std::vector<T> filtered(const std::vector<T>& list, const std::vector<T>& other, bool wanted) {
  std::vector<T> result;
  const auto keep = [&](const T& element, bool found) {
    if (found == wanted) result.push_back(element);
  };
  if constexpr (Hashable<T>) {
    const std::unordered_set<T, ElementHash<T>, ElementEqual<T>> index(other.begin(), other.end());
    for (const T& element : list) keep(element, index.contains(element));
  } else {
    for (const T& element : list) {
      keep(element, std::find(other.begin(), other.end(), element) != other.end());
    }
  }
  return result;
}

}  // namespace detail

/// Returns the elements of `list` that `other` contains; keeps duplicates in `list`.
template <class T>
std::vector<T> arrayIntersectionWith(const std::vector<T>& list, const std::vector<T>& other) {
  return detail::filtered(list, other, true);
}

/// Returns the elements of `list` that `other` does not contain.
template <class T>
std::vector<T> arrayByRemovingObjectsOfArray(const std::vector<T>& list,
                                             const std::vector<T>& other) {
  return detail::filtered(list, other, false);
}

/// Returns the first element for which `predicate` is true.
template <class T, class Predicate>
std::optional<T> findObject(const std::vector<T>& list, Predicate predicate) {
  const auto found = std::find_if(list.begin(), list.end(), predicate);
  return found == list.end() ? std::nullopt : std::optional<T>(*found);
}

}  // namespace ks::NSArrayHelpers
