#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiveForm.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSLog.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"
#include "BeaconSDK/Platform/Api/Class.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

using namespace keyed_archive;

Result<Value> NSKeyedUnarchiver::unarchiveObjectWithData(std::span<const std::uint8_t> bytes) {
  NSKeyedUnarchiver unarchiver(bytes);
  Value root = unarchiver.decodeObjectForKey(NSKeyedArchiveRootObjectKey);
  if (unarchiver.error()) return *unarchiver.error();
  return root;
}

Result<Value> NSKeyedUnarchiver::unarchiveObjectWithFile(const std::filesystem::path& path) {
  const auto bytes = readFile(path);
  if (bytes) return unarchiveObjectWithData(*bytes);
  return cocoaError(NSCocoaError::fileReadUnknown, "Cannot read " + path.string());
}

NSKeyedUnarchiver::NSKeyedUnarchiver(std::span<const std::uint8_t> bytes) {
  auto list = NSPropertyListSerialization::parse(bytes);
  if (!list) {
    error_ = list.error();
    return;
  }
  list_ = std::move(list.value());
  open();
}

NSKeyedUnarchiver::NSKeyedUnarchiver(PropertyList list) : list_(std::move(list)) { open(); }

bool NSKeyedUnarchiver::isArchive(const PropertyList& list) {
  return list.size() > 0 && list.kind(list.root()) == Kind::dictionary &&
         list.find(list.root(), kArchiverKey).has_value();
}

void NSKeyedUnarchiver::open() {
  if (!isArchive(list_)) {
    fail("The property list is no keyed archive");
    return;
  }
  const auto entry = [&](std::string_view key, Kind kind) {
    const auto node = list_.find(list_.root(), key);
    return node && list_.kind(*node) == kind ? node : std::nullopt;
  };
  const auto archiver = entry(kArchiverKey, Kind::string);
  const auto version = entry(kVersionKey, Kind::integer);
  const auto top = entry(kTopKey, Kind::dictionary);
  const auto objects = entry(kObjectsKey, Kind::array);
  if (!archiver || !version || !top || !objects) {
    fail("A part of the archive is missing or damaged");
    return;
  }
  if (list_.text(*archiver) != kArchiver || list_.integer(*version) != kVersion) {
    fail("The archive is of an unknown version");
    return;
  }
  keys_ = list_.shareKeys();
  top_.dictionary = *top;
  objects_ = *objects;
  heights_.resize(list_.size());
  values_.resize(list_.size());
  textLeft_ = list_.textLimit();
  itemsLeft_ = list_.referenceCount();
}

Value NSKeyedUnarchiver::fail(std::string reason) {
  if (!error_) error_ = cocoaError(NSCocoaError::coderReadCorrupt, std::move(reason));
  return {};
}

Value NSKeyedUnarchiver::decodeObjectForKey(std::string_view key) {
  return decodeEntryWithKey(keyNode(key));
}

Value NSKeyedUnarchiver::decodeProperty(const Property& property, std::size_t place) {
  return scope_->keys == nullptr ? decodeObjectForKey(property.name)
                                 : decodeEntryWithKey((*scope_->keys)[place]);
}

Value NSKeyedUnarchiver::decodeEntryWithKey(std::optional<NodeId> key) {
  if (error_ || !key) return {};
  const auto entry = list_.find(scope_->dictionary, *key, scope_->next);
  if (!entry) return {};
  Value value = decodeEntry(*entry);
  const bool isCopied = scope_ != &top_;
  if (isCopied && !takeText(value.string())) return {};
  return value;
}

std::optional<PropertyList::NodeId> NSKeyedUnarchiver::keyNode(std::string_view key) const {
  const auto known = keys_.find(key.starts_with('$') ? "$" + std::string(key) : key);
  return known == keys_.end() ? std::nullopt : std::optional(known->second);
}

const NSKeyedUnarchiver::PropertyKeys& NSKeyedUnarchiver::keysOf(const Class& recordClass) {
  const auto [known, isNew] = propertyKeys_.try_emplace(&recordClass);
  if (isNew) {
    for (const Property& property : recordClass.codableProperties()) {
      known->second.push_back(keyNode(property.name));
    }
  }
  return known->second;
}

Value NSKeyedUnarchiver::decodeEntry(NodeId entry) {
  if (error_) return {};
  if (const auto index = referenceIn(entry)) return decodeReference(*index);
  if (list_.isContainer(entry)) return fail("A value stands where a reference should");
  return decodeObject(entry);
}

Value NSKeyedUnarchiver::decodeReference(std::uint64_t index) {
  const auto objects = list_.items(objects_);
  if (index >= objects.size()) return fail("A reference leads nowhere");
  const NodeId object = objects[index];
  const bool isNothing =
      index == 0 && list_.kind(object) == Kind::string && list_.text(object) == kNothing;
  return isNothing ? Value() : decodeObject(object);
}

Value NSKeyedUnarchiver::decodeObject(NodeId object) {
  const Kind kind = list_.kind(object);
  if (kind == Kind::string) return sharedLeaf(object);
  if (kind == Kind::array || kind == Kind::set || kind == Kind::uid || kind == Kind::null) {
    return fail("An object of the archive has no class");
  }
  if (kind != Kind::dictionary && kind != Kind::data) return plainValue(list_, object);
  if (heights_[object] == kUnderWay) {
    if (values_[object].isAbsent()) return fail("A collection of the archive contains itself");
    return values_[object];
  }
  const bool isNew = heights_[object] == 0;
  if (!(isNew ? nesting_.enter() : nesting_.meet(heights_[object]))) {
    return fail("The archive nests too deep");
  }
  if (isNew) {
    heights_[object] = kUnderWay;
    values_[object] = kind == Kind::data ? plainValue(list_, object) : decodeInstance(object);
    heights_[object] = nesting_.leave();
  }
  return values_[object];
}

Value NSKeyedUnarchiver::sharedLeaf(NodeId node) {
  if (values_[node].isAbsent()) values_[node] = plainValue(list_, node);
  return values_[node];
}

bool NSKeyedUnarchiver::takeText(const std::string* text) {
  if (text == nullptr) return true;
  if (text->size() > textLeft_) {
    fail("The archive repeats its texts too often");
    return false;
  }
  textLeft_ -= text->size();
  return true;
}

Value NSKeyedUnarchiver::decodeInstance(NodeId object) {
  const ClassEntry* entry = classOf(object);
  if (!entry) return {};
  return entry->recordClass ? decodeRecord(object, *entry->recordClass)
                            : decodePlatformObject(object, entry->name);
}

const NSKeyedUnarchiver::ClassEntry* NSKeyedUnarchiver::classOf(NodeId object) {
  // Writers put the class last.
  const std::size_t size = list_.items(object).size();
  std::size_t start = size == 0 ? 0 : size - 1;
  const auto reference = list_.find(object, kClassKey, start);
  const auto objects = list_.items(objects_);
  const auto index = reference ? referenceIn(*reference) : std::nullopt;
  if (!index || *index >= objects.size() || list_.kind(objects[*index]) != Kind::dictionary) {
    fail("An object of the archive has no class");
    return nullptr;
  }
  const NodeId description = objects[*index];
  const auto [known, isNew] = classes_.try_emplace(description);
  if (!isNew) return &known->second;
  const auto name = field(description, kClassNameKey, Kind::string);
  if (!name) return nullptr;
  known->second.name = list_.text(*name);
  known->second.recordClass = Class::named(known->second.name);
  return &known->second;
}

Value NSKeyedUnarchiver::decodeRecord(NodeId object, const Class& recordClass) {
  if (!recordClass.factory()) {
    return fail("There are no instances of the class " + recordClass.name());
  }
  const std::shared_ptr<Object> record = recordClass.factory()();
  // What the initialiser of a new record sets is no part of a stored one.
  for (const auto& property : recordClass.codableProperties()) property.set(*record, Value());
  values_[object] = record;
  try {
    fillRecord(object, *record);
  } catch (const AutocodingException& mismatch) {
    fail("A record of the class " + recordClass.name() + " is damaged: " + mismatch.reason());
    if (!leftOut_) throw;
  }
  if (!error_ || !leftOut_) return record;
  leftOut_(std::exchange(error_, std::nullopt)->localizedDescription());
  return {};
}

void NSKeyedUnarchiver::fillRecord(NodeId object, Object& record) {
  Scope scope{object, 0, &keysOf(record.objectClass())};
  Scope* const outer = std::exchange(scope_, &scope);
  try {
    NSObjectAutoCoding::setWithCoder(record, *this);
  } catch (...) {
    scope_ = outer;
    throw;
  }
  scope_ = outer;
}

Value NSKeyedUnarchiver::decodePlatformObject(NodeId object, const std::string& className) {
  constexpr std::string_view kMutable = "NSMutable";
  const bool isMutable = className.starts_with(kMutable);
  const std::string kind = isMutable ? "NS" + className.substr(kMutable.size()) : className;
  if (kind == "NSArray") return Array(decodeItems(object, kItemsKey), isMutable);
  if (kind == "NSSet") return Set{decodeItems(object, kItemsKey), isMutable};
  if (kind == "NSOrderedSet") return Array(decodeNumberedItems(object), isMutable);
  if (kind == "NSURL") return decodeURL(object);
  if (kind == "NSDictionary") return decodeDictionary(object, isMutable);
  if (kind == "NSNull") return Null{};
  if (kind == "NSString") {
    const auto text = field(object, kStringKey, Kind::string);
    return text ? sharedLeaf(*text) : Value();
  }
  if (kind == "NSData") {
    const auto data = field(object, kDataKey, Kind::data);
    return data ? sharedLeaf(*data) : Value();
  }
  if (kind == "NSDate") {
    const auto time = member(object, kTimeKey);
    const bool isWhole = time && list_.kind(*time) == Kind::integer;
    if (!isWhole && !field(object, kTimeKey, Kind::real)) return {};
    const double seconds = isWhole ? static_cast<double>(list_.integer(*time)) : list_.real(*time);
    return dateFromSecondsSinceReference(seconds);
  }
  if (kind == "NSUUID") {
    const auto bytes = field(object, kUuidKey, Kind::data);
    UUID uuid;
    if (!bytes || list_.data(*bytes).size() != uuid.bytes.size()) {
      return fail("A UUID of the archive is damaged");
    }
    std::ranges::copy(list_.data(*bytes), uuid.bytes.begin());
    return uuid;
  }
  const std::string reason = "The class " + className + " of the archive is unknown";
  if (!leftOut_) return fail(reason);
  leftOut_(reason);
  return {};
}

std::vector<Value> NSKeyedUnarchiver::decodeItems(NodeId object, std::string_view key) {
  std::vector<Value> values;
  const auto list = field(object, key, Kind::array);
  if (!list) return values;
  const auto entries = list_.items(*list);
  if (entries.size() > itemsLeft_) {
    fail("Collections of the archive share their items");
    return values;
  }
  itemsLeft_ -= entries.size();
  values.reserve(entries.size());
  for (const NodeId entry : entries) {
    values.push_back(decodeEntry(entry));
    if (error_) break;
  }
  return values;
}

std::vector<Value> NSKeyedUnarchiver::decodeNumberedItems(NodeId object) {
  std::vector<Value> values;
  std::size_t next = 0;
  while (!error_) {
    const std::string key = "NS.object." + std::to_string(values.size());
    const auto entry = list_.find(object, key, next);
    if (!entry) break;
    values.push_back(decodeEntry(*entry));
  }
  return values;
}

Value NSKeyedUnarchiver::decodeURL(NodeId object) {
  const auto relative = field(object, "NS.relative", Kind::string);
  const auto base = list_.find(object, "NS.base");
  if (!relative) return {};
  const Value parent = base ? decodeEntry(*base) : Value();
  const std::string text(list_.text(*relative));
  const std::string* const root = parent.string();
  if (root == nullptr || text.find("://") != std::string::npos) return sharedLeaf(*relative);
  return root->substr(0, root->rfind('/') + 1) + text;
}

Value NSKeyedUnarchiver::decodeDictionary(NodeId object, bool isMutable) {
  const std::vector<Value> keys = decodeItems(object, kKeysKey);
  const std::vector<Value> values = decodeItems(object, kItemsKey);
  if (error_) return {};
  if (keys.size() != values.size()) return fail("A dictionary of the archive is damaged");
  Dictionary dictionary;
  dictionary.isMutable = isMutable;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool isNumber = keys[i].isNumber();
    if (!isNumber && !keys[i].string()) {
      return fail("A dictionary of the archive has a key that is no text");
    }
    if (!takeText(keys[i].string())) return {};
    if (values[i].isAbsent()) continue;
    dictionary.set(keys[i].description(), values[i]);
  }
  return dictionary;
}

std::optional<std::uint64_t> NSKeyedUnarchiver::referenceIn(NodeId node) const {
  if (list_.kind(node) == Kind::uid) return list_.uid(node);
  if (list_.kind(node) != Kind::dictionary || list_.items(node).size() != 1) return std::nullopt;
  const auto number = list_.find(node, kReferenceKey);
  const bool isIndex =
      number && list_.kind(*number) == Kind::integer && list_.integer(*number) >= 0;
  return isIndex ? std::optional<std::uint64_t>(list_.integer(*number)) : std::nullopt;
}

std::optional<NSKeyedUnarchiver::NodeId> NSKeyedUnarchiver::member(NodeId object,
                                                                   std::string_view key) const {
  const auto node = list_.find(object, key);
  const auto index = node ? referenceIn(*node) : std::nullopt;
  if (!index) return node;
  const auto objects = list_.items(objects_);
  return *index < objects.size() ? std::optional(objects[*index]) : std::nullopt;
}

std::optional<NSKeyedUnarchiver::NodeId> NSKeyedUnarchiver::field(NodeId object,
                                                                  std::string_view key, Kind kind) {
  const auto node = member(object, key);
  if (node && list_.kind(*node) == kind) return node;
  fail("The field " + std::string(key) + " is missing or damaged");
  return std::nullopt;
}

CacheContent readCacheFile(const std::filesystem::path& path, std::string_view key) {
  FileStore& files = Platform::current().files();
  FileContent content = files.read(path);
  using State = FileContent::State;
  if (content.state == State::unreadable) {
    NSLog("Not there yet: %@", content.problem);
    return {{}, true};
  }
  Value value;
  if (content.state == State::whole) {
    NSKeyedUnarchiver unarchiver(content.bytes);
    unarchiver.leaveOutBadRecords([&](const std::string& reason) {
      NSLog("'%@': a record was left out: %@", path.string(), reason);
    });
    value = unarchiver.decodeObjectForKey(key);
    if (unarchiver.error()) content.problem = unarchiver.error()->localizedDescription();
  }
  if (content.problem.empty()) return {std::move(value)};
  NSLog("'%@' counts as empty: %@; %@", path.string(), content.problem, files.setAside(path));
  return {};
}

Value loadCacheFile(const std::filesystem::path& path, std::string_view key) {
  return readCacheFile(path, key).value;
}

}  // namespace ks
