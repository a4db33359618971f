#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"

#include <array>
#include <span>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiveForm.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"
#include "BeaconSDK/Platform/Api/Class.h"

namespace ks {

using namespace keyed_archive;

namespace {

/// "NSMutableArray" derives from "NSArray", and everything from "NSObject".
std::vector<std::string> platformChain(std::string_view name) {
  constexpr std::string_view kMutable = "NSMutable";
  std::vector<std::string> chain{std::string(name)};
  if (name.starts_with(kMutable)) chain.push_back("NS" + std::string(name.substr(kMutable.size())));
  chain.emplace_back("NSObject");
  return chain;
}

std::vector<std::string> recordChain(const Class& objectClass) {
  std::vector<std::string> chain;
  for (const Class* level = &objectClass; level != nullptr; level = level->superclass()) {
    chain.push_back(level->name());
  }
  chain.emplace_back("NSObject");
  return chain;
}

}  // namespace

Data NSKeyedArchiver::archivedDataWithRootObject(const Value& root) {
  NSKeyedArchiver archiver;
  archiver.encodeObject(root, NSKeyedArchiveRootObjectKey);
  return archiver.encodedData();
}

bool NSKeyedArchiver::archiveRootObject(const Value& root, const std::filesystem::path& path) {
  const Data bytes = archivedDataWithRootObject(root);
  return !bytes.empty() && writeFileAtomically(path, bytes);
}

NSKeyedArchiver::NSKeyedArchiver() { addObject(unique_.string(kNothing)); }

void NSKeyedArchiver::encodeObject(const Value& value, std::string_view key) {
  std::optional<NodeId> unknown;
  std::optional<NodeId>* known = &unknown;
  if (scope_->form != nullptr) {
    auto& keys = scope_->form->keys;
    if (scope_->next == keys.size()) keys.emplace_back();
    known = &keys[scope_->next++];
  }
  if (value.isAbsent() || error_) return;
  const NodeId node = keyNode(key, *known);
  const NodeId valueNode = reference(value);
  scope_->keys.push_back(node);
  scope_->values.push_back(valueNode);
}

/// Records of one class may still differ in what they encode.
NSKeyedArchiver::NodeId NSKeyedArchiver::keyNode(std::string_view key,
                                                 std::optional<NodeId>& known) {
  const bool isEscaped = key.starts_with('$');
  if (known && !isEscaped && list_.text(*known) == key) return *known;
  known = unique_.string(isEscaped ? "$" + std::string(key) : key);
  return *known;
}

void NSKeyedArchiver::reserveTimes(std::size_t factor) {
  const auto reserve = [factor](auto&... containers) {
    (containers.reserve(factor * containers.size()), ...);
  };
  reserve(objects_, references_, heights_, plainObjects_, dates_, uuids_, sharedObjects_,
          retained_);
  list_.reserveTimes(factor);
  unique_.reserveTimes(factor);
}

Data NSKeyedArchiver::encodedData() {
  if (error_) return {};
  const NodeId keys[] = {unique_.string(kVersionKey), unique_.string(kObjectsKey),
                         unique_.string(kArchiverKey), unique_.string(kTopKey)};
  const NodeId values[] = {unique_.scalar(PropertyList::integerNode(kVersion)),
                           list_.addArray(objects_), unique_.string(kArchiver),
                           list_.addDictionary(top_.keys, top_.values)};
  list_.setRoot(list_.addDictionary(keys, values));
  auto bytes = NSPropertyListSerialization::dataOf(list_, format_);
  if (bytes) return std::move(bytes.value());
  error_ = bytes.error();
  return {};
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::addObject(NodeId node) {
  const auto index = static_cast<ObjectIndex>(objects_.size());
  objects_.push_back(node);
  references_.push_back(list_.addUid(index));
  heights_.push_back(0);
  return index;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::objectIndex(const Value& value) {
  if (value.isAbsent() || error_) return 0;
  if (const auto plain = uniquePlainNode(value, unique_)) return plainObject(value, *plain);
  const bool isSmall = value.date() || value.uuid() || value.isNull();
  if (isSmall && !nesting_.meet(1)) return tooDeep();
  if (const auto* date = value.date()) return dateObject(*date);
  if (const auto* uuid = value.uuid()) return uuidObject(*uuid);
  if (value.isNull()) return nullObject();
  return sharedObject(value);
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::plainObject(const Value& value, NodeId node) {
  const auto [known, isNew] = plainObjects_.try_emplace(node, 0);
  if (!isNew) return known->second;
  const auto* text = value.string();
  const bool meansNothing = text && *text == kNothing;
  const auto index = addObject(meansNothing ? instance("NSString", kStringKey, node) : node);
  return plainObjects_[node] = index;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::dateObject(Date date) {
  const double seconds = secondsSinceReference(date);
  const auto number = PropertyList::realNode(PropertyList::Kind::real, seconds);
  const auto [known, isNew] = dates_.try_emplace(number.payload, 0);
  if (isNew) known->second = addObject(instance("NSDate", kTimeKey, unique_.scalar(number)));
  return known->second;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::uuidObject(const UUID& uuid) {
  const auto [known, isNew] = uuids_.try_emplace(uuid, 0);
  if (isNew) known->second = addObject(instance("NSUUID", kUuidKey, list_.addData(uuid.bytes)));
  return known->second;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::nullObject() {
  if (null_ == 0) null_ = addObject(instance("NSNull"));
  return null_;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::sharedObject(const Value& value) {
  const auto [known, isNew] =
      sharedObjects_.try_emplace(value.identity(), static_cast<ObjectIndex>(objects_.size()));
  const ObjectIndex index = known->second;
  const bool fits = isNew ? nesting_.enter() : nesting_.meet(heights_[index]);
  if (!fits) return tooDeep();
  if (!isNew) return index;
  // Takes its number before its content does, so that a record can be referred to from within.
  addObject(0);
  retained_.push_back(value);
  objects_[index] = contentOf(value);
  heights_[index] = nesting_.leave();
  return index;
}

NSKeyedArchiver::ObjectIndex NSKeyedArchiver::tooDeep() {
  error_ = cocoaError(NSCocoaError::coderInvalidValue, "The value nests too deep");
  return 0;
}

NSKeyedArchiver::NodeId NSKeyedArchiver::contentOf(const Value& value) {
  if (const auto* data = value.data()) return list_.addData(*data);
  if (const auto* array = value.array()) return listInstance(value.className(), array->items);
  if (const auto* set = value.set()) return listInstance(value.className(), set->items);
  if (const auto* dictionary = value.dictionary()) {
    return dictionaryInstance(value.className(), *dictionary);
  }
  return recordInstance(*value.object());
}

NSKeyedArchiver::NodeId NSKeyedArchiver::listInstance(std::string_view className,
                                                      const std::vector<Value>& items) {
  std::vector<NodeId> references;
  references.reserve(items.size());
  for (const auto& item : items) references.push_back(reference(item));
  return instance(className, kItemsKey, list_.addArray(references));
}

NSKeyedArchiver::NodeId NSKeyedArchiver::dictionaryInstance(std::string_view className,
                                                            const Dictionary& dictionary) {
  std::vector<NodeId> names;
  std::vector<NodeId> values;
  names.reserve(dictionary.size());
  values.reserve(dictionary.size());
  for (const auto& [name, value] : dictionary) {
    names.push_back(reference(name));
    values.push_back(reference(value));
  }
  const NodeId keys[] = {unique_.string(kKeysKey), unique_.string(kItemsKey),
                         unique_.string(kClassKey)};
  const NodeId content[] = {list_.addArray(names), list_.addArray(values),
                            platformClass(className)};
  return list_.addDictionary(keys, content);
}

NSKeyedArchiver::NodeId NSKeyedArchiver::recordInstance(const Object& record) {
  const Class& recordClass = record.objectClass();
  RecordForm& form = forms_[&recordClass];
  Scope scope;
  scope.form = &form;
  scope.keys.reserve(form.keys.size() + 1);
  scope.values.reserve(form.keys.size() + 1);
  Scope* const outer = std::exchange(scope_, &scope);
  NSObjectAutoCoding::encodeWithCoder(record, *this);
  scope_ = outer;
  if (!form.classReference) form.classReference = classReference(recordChain(recordClass));
  scope.keys.push_back(unique_.string(kClassKey));
  scope.values.push_back(*form.classReference);
  return list_.addDictionary(scope.keys, scope.values);
}

NSKeyedArchiver::NodeId NSKeyedArchiver::instance(std::string_view className, std::string_view key,
                                                  NodeId content) {
  std::array<NodeId, 2> keys{};
  std::array<NodeId, 2> values{};
  std::size_t count = 0;
  if (!key.empty()) {
    keys[count] = unique_.string(key);
    values[count++] = content;
  }
  keys[count] = unique_.string(kClassKey);
  values[count++] = platformClass(className);
  return list_.addDictionary(std::span(keys).first(count), std::span(values).first(count));
}

NSKeyedArchiver::NodeId NSKeyedArchiver::platformClass(std::string_view name) {
  const auto known = classes_.find(std::string(name));
  return known != classes_.end() ? references_[known->second] : classReference(platformChain(name));
}

NSKeyedArchiver::NodeId NSKeyedArchiver::classReference(const std::vector<std::string>& chain) {
  const auto [known, isNew] = classes_.try_emplace(chain[0], 0);
  if (isNew) {
    std::vector<NodeId> names;
    names.reserve(chain.size());
    for (const auto& name : chain) names.push_back(unique_.string(name));
    const NodeId keys[] = {unique_.string(kClassNameKey), unique_.string(kClassChainKey)};
    const NodeId values[] = {names[0], list_.addArray(names)};
    known->second = addObject(list_.addDictionary(keys, values));
  }
  return references_[known->second];
}

}  // namespace ks
