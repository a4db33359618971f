#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiveForm.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"
#include "BeaconSDK/Platform/Api/Class.h"

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
  if (error_) return {};
  const auto entry = list_.find(scope_->dictionary,
                                key.starts_with('$') ? "$" + std::string(key) : key, scope_->next);
  return entry ? decodeEntry(*entry) : Value();
}

Value NSKeyedUnarchiver::decodeEntry(NodeId entry) {
  if (error_) return {};
  if (list_.kind(entry) == Kind::uid) return decodeReference(list_.uid(entry));
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
  if (kind == Kind::string) return copyOf(object);
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

Value NSKeyedUnarchiver::copyOf(NodeId object) {
  const std::size_t size = list_.node(object).count;
  if (size > textLeft_) return fail("The archive repeats its texts too often");
  textLeft_ -= size;
  return plainValue(list_, object);
}

Value NSKeyedUnarchiver::decodeInstance(NodeId object) {
  const ClassEntry* entry = classOf(object);
  if (!entry) return {};
  // The map may move its entries while the object's content is read.
  const ClassEntry known = *entry;
  return known.recordClass ? decodeRecord(object, *known.recordClass)
                           : decodePlatformObject(object, known.name);
}

const NSKeyedUnarchiver::ClassEntry* NSKeyedUnarchiver::classOf(NodeId object) {
  // Writers put the class last.
  const std::size_t size = list_.items(object).size();
  std::size_t start = size == 0 ? 0 : size - 1;
  const auto reference = list_.find(object, kClassKey, start);
  const auto objects = list_.items(objects_);
  if (!reference || list_.kind(*reference) != Kind::uid ||
      list_.uid(*reference) >= objects.size() ||
      list_.kind(objects[list_.uid(*reference)]) != Kind::dictionary) {
    fail("An object of the archive has no class");
    return nullptr;
  }
  const NodeId description = objects[list_.uid(*reference)];
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
  values_[object] = record;
  Scope scope{object, 0};
  Scope* const outer = std::exchange(scope_, &scope);
  try {
    NSObjectAutoCoding::setWithCoder(*record, *this);
  } catch (...) {
    scope_ = outer;
    fail("A record of the class " + recordClass.name() + " could not be filled");
    throw;
  }
  scope_ = outer;
  return record;
}

Value NSKeyedUnarchiver::decodePlatformObject(NodeId object, const std::string& className) {
  constexpr std::string_view kMutable = "NSMutable";
  const bool isMutable = className.starts_with(kMutable);
  const std::string kind = isMutable ? "NS" + className.substr(kMutable.size()) : className;
  if (kind == "NSArray") return Array(decodeItems(object, kItemsKey), isMutable);
  if (kind == "NSSet") return Set{decodeItems(object, kItemsKey), isMutable};
  if (kind == "NSDictionary") return decodeDictionary(object, isMutable);
  if (kind == "NSNull") return Null{};
  if (kind == "NSString") {
    const auto text = field(object, kStringKey, Kind::string);
    return text ? copyOf(*text) : Value();
  }
  if (kind == "NSData") {
    const auto data = field(object, kDataKey, Kind::data);
    return data ? copyOf(*data) : Value();
  }
  if (kind == "NSDate") {
    const auto time = field(object, kTimeKey, Kind::real);
    return time ? dateFromSecondsSince1970(list_.real(*time) + kReferenceDate) : Value();
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
  return fail("The class " + className + " of the archive is unknown");
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

Value NSKeyedUnarchiver::decodeDictionary(NodeId object, bool isMutable) {
  const std::vector<Value> keys = decodeItems(object, kKeysKey);
  const std::vector<Value> values = decodeItems(object, kItemsKey);
  if (error_) return {};
  if (keys.size() != values.size()) return fail("A dictionary of the archive is damaged");
  Dictionary dictionary;
  dictionary.isMutable = isMutable;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto* key = keys[i].string();
    if (!key) return fail("A dictionary of the archive has a key that is no text");
    dictionary.set(*key, values[i]);
  }
  return dictionary;
}

std::optional<NSKeyedUnarchiver::NodeId> NSKeyedUnarchiver::field(NodeId object,
                                                                  std::string_view key, Kind kind) {
  auto node = list_.find(object, key);
  if (node && list_.kind(*node) == Kind::uid) {
    const auto objects = list_.items(objects_);
    const auto index = list_.uid(*node);
    node = index < objects.size() ? std::optional(objects[index]) : std::nullopt;
  }
  if (node && list_.kind(*node) == kind) return node;
  fail("The field " + std::string(key) + " is missing or damaged");
  return std::nullopt;
}

Value loadCacheFile(const std::filesystem::path& path, std::string_view key) {
  const auto bytes = readFile(path);
  if (!bytes) return {};
  try {
    NSKeyedUnarchiver unarchiver(*bytes);
    Value value = unarchiver.decodeObjectForKey(key);
    return unarchiver.error() ? Value() : value;
  } catch (const AutocodingException&) {
    return {};
  }
}

}  // namespace ks
