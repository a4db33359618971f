#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/AutocodingException.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/Nesting.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Result.h"

namespace ks {

/// Reads what `NSKeyedArchiver`, or any other writer of the form, has written, binary or XML.
///
/// Takes what other writers do differently: whole numbers as times, URLs and ordered sets (read as
/// texts and arrays), numbers as keys, and references that a converter of property lists turned
/// into dictionaries.
///
/// Each object is made once and shared wherever it is referenced. A record is allocated before its
/// properties are filled, so records may refer to each other in circles; a collection that contains
/// itself is an error, as is a class that is not known. The bytes may come from anywhere: damage is
/// an error, and work and memory grow linearly with their number. Any thread, one at a time.
///
/// A property that holds a value of the wrong class raises `AutocodingException`.
class NSKeyedUnarchiver : public NSDecoder {
 public:
  static Result<Value> unarchiveObjectWithData(std::span<const std::uint8_t> bytes);
  static Result<Value> unarchiveObjectWithFile(const std::filesystem::path& path);

  /// Opens an archive; `error` is set when the bytes are none.
  explicit NSKeyedUnarchiver(std::span<const std::uint8_t> bytes);
  explicit NSKeyedUnarchiver(PropertyList list);
  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  NSKeyedUnarchiver& operator=(const NSKeyedUnarchiver&) = delete;

  /// The value under `key` at the top of the archive or, while a record is being filled, in that
  /// record. Absent when there is none or after an error.
  Value decodeObjectForKey(std::string_view key) override;
  /// The first fault that was found; it ends all decoding.
  const std::optional<Error>& error() const { return error_; }

  /// From now on a record that is damaged or holds values of the wrong class is left out, and is
  /// missing where it was referred to, instead of ending all decoding; `report` is told why.
  void leaveOutBadRecords(std::function<void(const std::string& reason)> report) {
    leftOut_ = std::move(report);
  }

  /// Is the list an archive at all?
  static bool isArchive(const PropertyList& list);

 private:
  using NodeId = PropertyList::NodeId;
  using Kind = PropertyList::Kind;
  /// A key that records of one class ask for, and its node; no node when no entry has it.
  struct KeySlot {
    std::string name;
    std::optional<NodeId> node;
  };
  /// The dictionary whose entries are being asked for, and where to look for the next one: keys are
  /// nearly always asked for in the order in which they were written.
  struct Scope {
    NodeId dictionary = 0;
    std::size_t next = 0;
    /// Those of the record's class, null at the top, and how many keys the record has asked for.
    std::vector<KeySlot>* slots = nullptr;
    std::size_t asked = 0;
  };
  /// What a class entry of the archive names; no class for the platform's own.
  struct ClassEntry {
    std::string name;
    const Class* recordClass = nullptr;
  };

  void open();
  std::optional<NodeId> keyNode(std::string_view key);
  std::optional<NodeId> lookUpKey(std::string_view key) const;
  /// Follows a reference, or takes a plain value that stands in its place.
  Value decodeEntry(NodeId entry);
  Value decodeReference(std::uint64_t index);
  Value decodeObject(NodeId object);
  /// A text or data, made once.
  Value sharedLeaf(NodeId node);
  Value decodeInstance(NodeId object);
  Value decodeRecord(NodeId object, const Class& recordClass);
  void fillRecord(NodeId object, Object& record);
  Value decodePlatformObject(NodeId object, const std::string& className);
  Value decodeDictionary(NodeId object, bool isMutable);
  Value decodeURL(NodeId object);
  /// The fields "NS.object.0", "NS.object.1", ...
  std::vector<Value> decodeNumberedItems(NodeId object);
  std::vector<Value> decodeItems(NodeId object, std::string_view key);
  /// Counts a text that a record or key copies against the limit.
  bool takeText(const std::string* text);
  const ClassEntry* classOf(NodeId object);
  /// The object that a reference names, also in the form of a dictionary with the key "CF$UID".
  std::optional<std::uint64_t> referenceIn(NodeId node) const;
  /// The field of an instance, or what it refers to.
  std::optional<NodeId> member(NodeId object, std::string_view key) const;
  /// The same; a fault when it is missing or of another kind.
  std::optional<NodeId> field(NodeId object, std::string_view key, Kind kind);
  Value fail(std::string reason);

  PropertyList list_;
  std::optional<Error> error_;
  Nesting nesting_;
  Scope top_;
  Scope* scope_ = &top_;
  NodeId objects_ = 0;
  /// By node: the object that was made of it and how deeply that nests; 0 for none yet, and
  /// `kUnderWay` while it is being made.
  static constexpr std::uint32_t kUnderWay = UINT32_MAX;
  std::vector<std::uint32_t> heights_;
  std::vector<Value> values_;
  PropertyList::KeyNodes keys_;
  /// In the order in which each class asks, so that a key is looked up once for all its records.
  std::unordered_map<const Class*, std::vector<KeySlot>> slots_;
  /// Entries stay where they are.
  std::unordered_map<NodeId, ClassEntry> classes_;
  std::function<void(const std::string& reason)> leftOut_;
  std::size_t textLeft_ = 0;
  /// Each list of items belongs to one collection; a file that lets several collections name the
  /// same list could make them grow without bound.
  std::size_t itemsLeft_ = 0;
};

/// What a cache file holds.
struct CacheContent {
  /// Absent when the file is missing or damaged.
  Value value;
  /// The file is there but cannot be read now: it must not be overwritten before it was read.
  bool isUnreadable = false;
};

/// Reads what a cache file holds under `key`. A damaged file is set aside, a bad record left out,
/// each with a line to the system log. Any thread.
CacheContent readCacheFile(const std::filesystem::path& path,
                           std::string_view key = NSKeyedArchiveRootObjectKey);
/// The value alone.
Value loadCacheFile(const std::filesystem::path& path,
                    std::string_view key = NSKeyedArchiveRootObjectKey);

}  // namespace ks
