#pragma once

#include <span>
#include <string_view>

namespace ks {

/// Optional behaviour: independent flags, all off by default, passed to the manager on creation.
/// docs/refinements.md describes each.
struct Refinements {
  /// Run-time state is copied to the object that replaces a zone; stays interrupted by a change of
  /// neighbourhood end with an exit; the observer receives the interval in which each stay ended.
  bool exactStays = false;
  /// The enabled list is built from the first list that has categories; a content without category
  /// follows the local category.
  bool categoriesFromFirstList = false;
  /// Statistics are stored on disk, in order, until the portal accepts or refuses each one.
  bool keptStatistics = false;
  /// Notifications do not replace each other.
  bool everyAnnouncement = false;
  /// Delays and blocks use elapsed time, whatever the wall clock is set to.
  bool steadyClock = false;
  /// One registration for application events, however often the library starts.
  bool oneActivation = false;
  /// Each start completes, with a result or an error, even if the portal refuses the credentials.
  bool startAlwaysAnswers = false;

  friend bool operator==(const Refinements&, const Refinements&) = default;

  /// A member and its name in options and scenarios.
  struct Named {
    std::string_view name;
    bool Refinements::*member;
  };
  static std::span<const Named> named();
  static Refinements all();
};

}  // namespace ks
