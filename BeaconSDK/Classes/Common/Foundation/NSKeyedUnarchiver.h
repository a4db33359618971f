#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/AutocodingException.h"
#include "BeaconSDK/Classes/Common/Foundation/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyList.h"
#include "BeaconSDK/Platform/Api/Result.h"

namespace ks {

/// Reads what `NSKeyedArchiver`, or any other writer of the form, has written, binary or XML.
///
/// Each object is made once and shared wherever it is referenced. A record is allocated before its
/// properties are filled, so records may refer to each other in circles; a collection that contains
/// itself is an error, as is a class that is not known. The bytes may come from anywhere: damage is
/// an error, and work and memory grow linearly with their number. Any thread, one at a time.
///
/// A property that holds a value of the wrong class raises `AutocodingException`.
class NSKeyedUnarchiver {
 public:
  static Result<Value> unarchiveObjectWithData(std::span<const std::uint8_t> bytes);
  static Result<Value> unarchiveObjectWithFile(const std::filesystem::path& path);

  /// Opens an archive; `error` tells when the bytes are none.
  explicit NSKeyedUnarchiver(std::span<const std::uint8_t> bytes);
  explicit NSKeyedUnarchiver(PropertyList list);
  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  NSKeyedUnarchiver& operator=(const NSKeyedUnarchiver&) = delete;

  /// The value under `key` at the top of the archive or, while a record is being filled, in that
  /// record. Absent when there is none or after an error.
  Value decodeObjectForKey(std::string_view key);
  /// The first fault that was found; it ends all decoding.
  const std::optional<Error>& error() const { return error_; }

 private:
  using NodeId = PropertyList::NodeId;
  enum class State : std::uint8_t { untouched, underWay, done };
  /// The dictionary whose entries are being asked for, and where the last one was found: keys are
  /// nearly always asked for in the order in which they were written.
  struct Scope {
    NodeId dictionary;
    std::size_t next = 0;
    std::uint32_t height = 0;
  };

  void open();
  Value decodeNode(NodeId node);
  Value decodeReference(NodeId node);
  Value decodeInstance(NodeId node);
  Value decodeRecord(NodeId node, const std::string& className);
  Value decodePlatformObject(NodeId node, std::string_view className);
  std::vector<Value> decodeItems(NodeId node, std::string_view key);
  Value decodeDictionary(NodeId node, bool isMutable);
  const std::string* classNameOf(NodeId instance);
  std::optional<NodeId> field(NodeId instance, std::string_view key, PropertyList::Kind kind);
  Value fail(std::string reason);

  PropertyList list_;
  std::optional<Error> error_;
  std::span<const NodeId> objects_;
  Scope top_{};
  Scope* scope_ = &top_;
  /// By node.
  std::vector<State> states_;
  std::vector<std::uint32_t> heights_;
  std::vector<Value> values_;
  std::uint32_t depth_ = 0;
};

/// The object that a cache file holds under `key`; absent when the file is missing, damaged, or
/// holds values that do not fit their properties. Any thread.
Value loadCacheFile(const std::filesystem::path& path,
                    std::string_view key = NSKeyedArchiveRootObjectKey);

}  // namespace ks
