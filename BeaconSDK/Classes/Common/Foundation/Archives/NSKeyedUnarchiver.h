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
#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {

/// Reads keyed archives, binary or XML, from `NSKeyedArchiver` or any other writer of the form.
///
/// Accepts the variations of other writers: whole numbers as times, URLs and ordered sets (read as
/// texts and arrays), numbers as keys, and references that a property-list converter turned into
/// dictionaries.
///
/// Each object is created once and shared by all references to it. A record is allocated before its
/// properties are set, so records may form cycles; a collection that contains itself and an unknown
/// class are errors. Safe for untrusted bytes: damage is an error, and time and memory are linear
/// in the input. Any thread, one at a time.
///
/// Throws `AutocodingException` for a property that holds a value of the wrong class.
class NSKeyedUnarchiver : public NSDecoder {
 public:
  static Result<Value> unarchiveObjectWithData(std::span<const std::uint8_t> bytes);
  static Result<Value> unarchiveObjectWithFile(const std::filesystem::path& path);

  /// Opens an archive; sets `error` if the bytes are not one.
  explicit NSKeyedUnarchiver(std::span<const std::uint8_t> bytes);
  explicit NSKeyedUnarchiver(PropertyList list);
  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  NSKeyedUnarchiver& operator=(const NSKeyedUnarchiver&) = delete;

  /// Returns the value under `key` of the record that is restored, otherwise of the top level.
  /// Absent when missing or after an error.
  Value decodeObjectForKey(std::string_view key) override;
  Value decodeProperty(const Property& property, std::size_t place) override;
  /// The first error; decoding stops there.
  const std::optional<Error>& error() const { return error_; }

  /// Skips records that are damaged or hold values of the wrong class, instead of stopping:
  /// references to them are dropped, and `report` is called with the reason.
  void leaveOutBadRecords(std::function<void(const std::string& reason)> report) {
    leftOut_ = std::move(report);
  }

  /// True when `list` has the form of a keyed archive.
  static bool isArchive(const PropertyList& list);

 private:
  using NodeId = PropertyList::NodeId;
  using Kind = PropertyList::Kind;
  /// The keys of one class's properties; no node when no entry has the key.
  using PropertyKeys = std::vector<std::optional<NodeId>>;
  /// The dictionary that is read and the entry where the next search starts: keys are nearly always
  /// read in the order in which they were written.
  struct Scope {
    NodeId dictionary = 0;
    std::size_t next = 0;
    /// Null at the top level.
    const PropertyKeys* keys = nullptr;
  };
  /// A class entry of the archive; `recordClass` is null for the platform's own classes.
  struct ClassEntry {
    std::string name;
    const Class* recordClass = nullptr;
  };

  void open();
  std::optional<NodeId> keyNode(std::string_view key) const;
  /// Looks each key up once for all records of the class.
  const PropertyKeys& keysOf(const Class& recordClass);
  Value decodeEntryWithKey(std::optional<NodeId> key);
  /// Decodes the target of a reference, or a plain value in its place.
  Value decodeEntry(NodeId entry);
  Value decodeReference(std::uint64_t index);
  Value decodeObject(NodeId object);
  /// Returns a text or data value, created once.
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
  /// Counts a text copied by a record or key against the limit.
  bool takeText(const std::string* text);
  const ClassEntry* classOf(NodeId object);
  /// The index in a reference, also in the form of a dictionary with the key "CF$UID".
  std::optional<std::uint64_t> referenceIn(NodeId node) const;
  /// The field of an instance, with a reference resolved.
  std::optional<NodeId> member(NodeId object, std::string_view key) const;
  /// As `member`, but fails if the field is missing or of another kind.
  std::optional<NodeId> field(NodeId object, std::string_view key, Kind kind);
  Value fail(std::string reason);

  PropertyList list_;
  std::optional<Error> error_;
  Nesting nesting_;
  Scope top_;
  Scope* scope_ = &top_;
  NodeId objects_ = 0;
  /// By node: the decoded object and its nesting height; 0 when not decoded, `kUnderWay` while
  /// being decoded.
  static constexpr std::uint32_t kUnderWay = UINT32_MAX;
  std::vector<std::uint32_t> heights_;
  std::vector<Value> values_;
  PropertyList::KeyNodes keys_;
  /// Both node-based, so pointers to their entries stay valid.
  std::unordered_map<const Class*, PropertyKeys> propertyKeys_;
  std::unordered_map<NodeId, ClassEntry> classes_;
  std::function<void(const std::string& reason)> leftOut_;
  std::size_t textLeft_ = 0;
  /// Remaining items of all collections: a file in which several collections share one list of
  /// items could otherwise grow without bound.
  std::size_t itemsLeft_ = 0;
};

/// Content of a cache file.
struct CacheContent {
  /// Absent when the file is missing or damaged.
  Value value;
  /// The file exists but cannot be read now. It must not be overwritten before a read has
  /// succeeded.
  bool isUnreadable = false;
};

/// Reads the value under `key` of a cache file. Sets a damaged file aside and skips bad records,
/// each with a line in the system log. Any thread.
CacheContent readCacheFile(const std::filesystem::path& path,
                           std::string_view key = NSKeyedArchiveRootObjectKey);
/// As `readCacheFile`, but returns only the value.
Value loadCacheFile(const std::filesystem::path& path,
                    std::string_view key = NSKeyedArchiveRootObjectKey);

}  // namespace ks
