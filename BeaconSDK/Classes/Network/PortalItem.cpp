#include "BeaconSDK/Classes/Network/PortalItem.h"

#include <cstring>

namespace ks {

PortalItem::PortalItem(const Dictionary& dictionary) {
  clear();
  addMembers(kRoot, dictionary);
}

void PortalItem::clear() {
  members_.assign(1, {});
  bytes_.clear();
}

PortalItem::Index PortalItem::addText(Index parent, std::string_view name, std::string_view text) {
  return add(parent, Kind::text, name, text);
}

PortalItem::Index PortalItem::addObject(Index parent, std::string_view name) {
  return add(parent, Kind::object, name);
}

PortalItem::Index PortalItem::addList(Index parent, std::string_view name) {
  return add(parent, Kind::list, name);
}

PortalItem::Index PortalItem::addNull(Index parent, std::string_view name) {
  return add(parent, Kind::null, name);
}

PortalItem::Index PortalItem::add(Index parent, Kind kind, std::string_view name,
                                  std::string_view text) {
  const auto index = static_cast<Index>(members_.size());
  members_.push_back({kind, bytes_.size(), static_cast<std::uint32_t>(name.size()),
                      static_cast<std::uint32_t>(text.size()), members_[parent].last, 0});
  members_[parent].last = index;
  bytes_.append(name).append(text);
  return index;
}

void PortalItem::addMembers(Index parent, const Dictionary& dictionary) {
  for (const auto& [name, value] : dictionary) {
    if (const auto* text = value.string()) {
      addText(parent, name, *text);
    } else if (const auto* nested = value.dictionary()) {
      addMembers(addObject(parent, name), *nested);
    } else {
      addList(parent, name);
    }
  }
}

PortalItem::Index PortalItem::Object::find(std::string_view name) const {
  const Member* const members = item_->members_.data();
  const char* const bytes = item_->bytes_.data();
  Index i = members[index_].last;
  while (i != 0 && (members[i].nameSize != name.size() ||
                    std::memcmp(bytes + members[i].begin, name.data(), name.size()) != 0)) {
    i = members[i].previous;
  }
  return members[i].kind == Kind::null ? 0 : i;
}

std::string_view PortalItem::Object::text(std::string_view name) const {
  const Member& member = item_->members_[find(name)];
  if (member.kind != Kind::text) return {};
  return std::string_view(item_->bytes_).substr(member.begin + member.nameSize, member.textSize);
}

std::optional<std::string> PortalItem::Object::optionalText(std::string_view name) const {
  const Index found = find(name);
  if (item_->members_[found].kind != Kind::text) return std::nullopt;
  const Member& member = item_->members_[found];
  return item_->bytes_.substr(member.begin + member.nameSize, member.textSize);
}

std::optional<PortalObject> PortalItem::Object::object(std::string_view name) const {
  const Index found = find(name);
  if (found == 0 || item_->members_[found].kind != Kind::object) return std::nullopt;
  return Object(*item_, found);
}

}  // namespace ks
