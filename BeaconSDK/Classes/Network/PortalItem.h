#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// One element of a portal's document in its cleaned-up form: nulls are absent, and every number
/// and truth value is its decimal text. Lists are present and hold nothing that can be read.
///
/// All members, also those of nested objects, are in one table that an item keeps when it is
/// cleared: reading a document of many elements allocates nothing for each.
class PortalItem {
 public:
  /// One object of the item, nested or not. Valid until the item changes.
  class Object {
   public:
    bool contains(std::string_view name) const { return find(name) != 0; }
    /// Empty for a member that is missing or no text.
    std::string_view text(std::string_view name) const;
    std::optional<std::string> optionalText(std::string_view name) const;
    /// Nothing for a member that is missing or no object.
    std::optional<Object> object(std::string_view name) const;

   private:
    friend class PortalItem;
    Object(const PortalItem& item, std::uint32_t index) : item_(&item), index_(index) {}
    /// The last member of that name; 0 when there is none or it is null.
    std::uint32_t find(std::string_view name) const;

    const PortalItem* item_;
    std::uint32_t index_;
  };

  PortalItem() { clear(); }
  /// An item with the members of `dictionary`, which is in the cleaned-up form.
  explicit PortalItem(const Dictionary& dictionary);

  Object root() const { return {*this, 0}; }

  using Index = std::uint32_t;
  static constexpr Index kRoot = 0;
  /// Removes all members.
  void clear();
  /// Each adds a member to the object `parent` and returns it.
  Index addText(Index parent, std::string_view name, std::string_view text);
  Index addObject(Index parent, std::string_view name);
  Index addList(Index parent, std::string_view name);
  /// Hides earlier members of the same name.
  Index addNull(Index parent, std::string_view name);

 private:
  enum class Kind : std::uint8_t { null, text, object, list };
  struct Member {
    Kind kind = Kind::object;
    /// Its name in `bytes_`, followed by its text.
    std::size_t begin = 0;
    std::uint32_t nameSize = 0;
    std::uint32_t textSize = 0;
    /// The member before it in the same object, and its own last member; 0 for none.
    Index previous = 0;
    Index last = 0;
  };
  Index add(Index parent, Kind kind, std::string_view name, std::string_view text = {});
  void addMembers(Index parent, const Dictionary& dictionary);

  std::vector<Member> members_;
  std::string bytes_;
};

/// What the converters of the portal's documents read.
using PortalObject = PortalItem::Object;

}  // namespace ks
