#include "BeaconSDK/Platform/Api/Class.h"

#include <algorithm>
#include <map>

namespace ks {

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, const Class*, std::less<>> classes;
};

/// Leaked on purpose: classes of other source files register before and are read after this file's
/// own statics live.
Registry& registry() {
  static auto* const instance = new Registry;
  return *instance;
}

}  // namespace

const Class Object::kClass{"NSObject", nullptr, nullptr, {}};

Class::Class(std::string name, const Class* superclass, Factory factory,
             std::vector<Property> ownProperties, DeprecatedCoding deprecatedCoding)
    : name_(std::move(name)),
      superclass_(superclass),
      factory_(factory),
      own_(std::move(ownProperties)),
      deprecatedCoding_(std::move(deprecatedCoding)) {
  if (deprecatedCoding_.uncodableProperties) {
    const auto& excluded = *deprecatedCoding_.uncodableProperties;
    std::erase_if(own_, [&](const Property& property) {
      return std::find(excluded.begin(), excluded.end(), property.name) != excluded.end();
    });
  }
  const std::lock_guard lock(registry().mutex);
  registry().classes[name_] = this;
}

const std::vector<Property>& Class::codableProperties() const {
  std::call_once(mergedOnce_, [this] {
    merged_ = own_;
    if (superclass_ == nullptr) return;
    for (const auto& inherited : superclass_->codableProperties()) {
      const auto same = std::find_if(merged_.begin(), merged_.end(), [&](const Property& entry) {
        return entry.name == inherited.name;
      });
      if (same == merged_.end()) {
        merged_.push_back(inherited);
      } else {
        *same = inherited;
      }
    }
  });
  return merged_;
}

bool Class::isKindOf(std::string_view name) const {
  if (name == "NSObject") return true;
  for (const Class* level = this; level != nullptr; level = level->superclass_) {
    if (level->name_ == name) return true;
  }
  return false;
}

const Class* Class::named(std::string_view name) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().classes.find(name);
  return found == registry().classes.end() ? nullptr : found->second;
}

const Class& Object::objectClass() const { return kClass; }

std::string Object::className() const { return objectClass().name(); }

std::string Object::description() const { return "<" + className() + ">"; }

bool isKindOfClass(const Value& value, std::string_view name) {
  // The commonest kinds first: every value of a restored record is asked.
  if (value.string()) return name == "NSString" || name == "NSObject";
  if (value.isNumber()) return name == "NSNumber" || name == "NSObject";
  if (const auto object = value.object()) return object->objectClass().isKindOf(name);
  if (name == "NSObject") return true;
  const std::string actual = value.className();
  if (actual == name) return true;
  constexpr std::string_view kMutable = "NSMutable";
  return actual.starts_with(kMutable) && name.starts_with("NS") &&
         std::string_view(actual).substr(kMutable.size()) == name.substr(2);
}

}  // namespace ks
