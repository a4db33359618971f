#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSCoder.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/Nesting.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/UniqueNodes.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

class Class;

/// The key under which a root-object archive holds its object.
inline constexpr std::string_view NSKeyedArchiveRootObjectKey = "root";

/// Writes a graph of values and records in the platform's keyed-archive form.
///
/// Every object is stored once however often it is referenced: containers and records by identity,
/// plain values by content. Records may form cycles. Time and memory are linear in the graph. Use
/// one archiver per archive. Any thread, one at a time.
class NSKeyedArchiver final : public NSEncoder {
 public:
  /// Returns the archive of `root`; empty if it is nested too deeply.
  static Data archivedDataWithRootObject(const Value& root);
  /// Archives `root` and atomically replaces the file at `path`; false on failure.
  static bool archiveRootObject(const Value& root, const std::filesystem::path& path);

  NSKeyedArchiver();
  NSKeyedArchiver(const NSKeyedArchiver&) = delete;
  NSKeyedArchiver& operator=(const NSKeyedArchiver&) = delete;

  /// Sets the format; binary by default. Call before `encodedData`.
  void setOutputFormat(NSPropertyListFormat format) { format_ = format; }
  /// Adds `value` under `key` to the top of the archive or, while a record is being encoded, to
  /// that record; each key once. An absent value leaves no entry.
  void encodeObject(const Value& value, std::string_view key) override;
  /// Encodes a container or record ahead of the value that contains it, so that a large graph can
  /// be archived piece by piece.
  void prepareObject(const Value& value) { reference(value); }
  /// Reserves memory for `factor` times the content so far, to avoid reallocation.
  void reserveTimes(std::size_t factor);
  /// Finishes and returns the archive; empty after an error.
  Data encodedData();
  /// Why a value could not be archived; absent when all could.
  const std::optional<Error>& error() const { return error_; }

 private:
  using NodeId = PropertyList::NodeId;
  using ObjectIndex = std::uint32_t;
  /// Shared by the records of one class: the class entry, and the nodes of the keys in encoding
  /// order, so that each key's text is looked up once for all records.
  struct RecordForm {
    std::vector<std::optional<NodeId>> keys;
    std::optional<NodeId> classReference;
  };
  /// The entries of the record, or of the top level, that is being written.
  struct Scope {
    std::vector<NodeId> keys;
    std::vector<NodeId> values;
    /// Null at the top level.
    RecordForm* form = nullptr;
    std::size_t next = 0;
  };

  ObjectIndex objectIndex(const Value& value);
  ObjectIndex plainObject(const Value& value, NodeId node);
  ObjectIndex dateObject(Date date);
  ObjectIndex uuidObject(const UUID& uuid);
  ObjectIndex nullObject();
  ObjectIndex sharedObject(const Value& value);
  ObjectIndex tooDeep();
  NodeId contentOf(const Value& value);
  NodeId listInstance(std::string_view className, const std::vector<Value>& items);
  NodeId dictionaryInstance(std::string_view className, const Dictionary& dictionary);
  NodeId recordInstance(const Object& record);
  /// An instance of a platform class, with at most one field.
  NodeId instance(std::string_view className, std::string_view key = {}, NodeId content = 0);

  NodeId reference(const Value& value) { return references_[objectIndex(value)]; }
  NodeId keyNode(std::string_view key, std::optional<NodeId>& known);
  NodeId platformClass(std::string_view name);
  NodeId classReference(const std::vector<std::string>& chain);
  ObjectIndex addObject(NodeId node);

  PropertyList list_;
  UniqueNodes unique_{list_};
  Nesting nesting_;
  NSPropertyListFormat format_ = NSPropertyListFormat::binary;
  std::optional<Error> error_;
  /// By object: its node, the node of the reference to it, and how deeply it nests (0 for plain
  /// objects and for those that are being written).
  std::vector<NodeId> objects_;
  std::vector<NodeId> references_;
  std::vector<std::uint32_t> heights_;
  boost::unordered_flat_map<NodeId, ObjectIndex> plainObjects_;
  boost::unordered_flat_map<std::uint64_t, ObjectIndex> dates_;
  boost::unordered_flat_map<UUID, ObjectIndex, std::hash<UUID>> uuids_;
  ObjectIndex null_ = 0;
  boost::unordered_flat_map<const void*, ObjectIndex> sharedObjects_;
  boost::unordered_flat_map<std::string, ObjectIndex> classes_;
  /// Node-based, so pointers to its entries stay valid.
  std::unordered_map<const Class*, RecordForm> forms_;
  /// Keeps the objects in `sharedObjects_` alive, so that no address is reused.
  std::vector<Value> retained_;
  Scope top_;
  Scope* scope_ = &top_;
};

}  // namespace ks
