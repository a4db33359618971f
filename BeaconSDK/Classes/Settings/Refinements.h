#pragma once

#include <span>
#include <string_view>

namespace ks {

/// Behaviour beyond the default, each switched on by itself and off unless asked for. Given to the
/// manager when it is made. docs/refinements.md has a paragraph for each.
struct Refinements {
  /// Run-time state passes to the object that replaces a zone; stays that a change of neighbourhood
  /// cuts off end with an exit; the observer learns between which moments each stay ended.
  bool exactStays = false;
  /// The enabled list is made from the first list that has categories; a content without category
  /// follows the local category.
  bool categoriesFromFirstList = false;
  /// Statistics wait on disk, in order, until the portal accepts or refuses each one.
  bool keptStatistics = false;
  /// Announcements do not replace each other.
  bool everyAnnouncement = false;
  /// Delays and blocks follow elapsed time, whoever sets the wall clock.
  bool steadyClock = false;
  /// One registration for application events, however often the library starts.
  bool oneActivation = false;
  /// Each start completes, with a result or an error, also when the portal refuses the user.
  bool startAlwaysAnswers = false;

  friend bool operator==(const Refinements&, const Refinements&) = default;

  /// A member and its name, as options and scenarios write it.
  struct Named {
    std::string_view name;
    bool Refinements::*member;
  };
  static std::span<const Named> named();
  static Refinements all();
};

}  // namespace ks
