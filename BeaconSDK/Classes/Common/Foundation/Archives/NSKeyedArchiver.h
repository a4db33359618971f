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
/// plain values by content. Records may refer to each other in circles. Work and memory grow
/// linearly with the graph. One archiver makes one archive. Any thread, one at a time.
class NSKeyedArchiver final : public NSEncoder {
 public:
  /// The archive of `root`; empty when it cannot be archived (nested too deeply).
  static Data archivedDataWithRootObject(const Value& root);
  /// Archives `root` and replaces the file at `path` as a whole; false when either fails.
  static bool archiveRootObject(const Value& root, const std::filesystem::path& path);

  NSKeyedArchiver();
  NSKeyedArchiver(const NSKeyedArchiver&) = delete;
  NSKeyedArchiver& operator=(const NSKeyedArchiver&) = delete;

  /// Sets the format; binary by default. Call before `encodedData`.
  void setOutputFormat(NSPropertyListFormat format) { format_ = format; }
  /// Adds `value` under `key` to the top of the archive or, while a record is being encoded, to
  /// that record; each key once. An absent value leaves no entry.
  void encodeObject(const Value& value, std::string_view key) override;
  /// Encodes a container or record now that is a part of what will be encoded later: a large graph
  /// piece by piece.
  void prepareObject(const Value& value) { reference(value); }
  /// Makes room for `factor` times what was encoded so far, so that the archive grows without
  /// being moved on the way.
  void reserveTimes(std::size_t factor);
  /// Ends the archive; empty when there was an error.
  Data encodedData();
  /// What kept a value from being archived.
  const std::optional<Error>& error() const { return error_; }

 private:
  using NodeId = PropertyList::NodeId;
  using ObjectIndex = std::uint32_t;
  /// What the records of one class share: the nodes of their keys in the order in which they are
  /// encoded, so that a key's text is looked up once for all records, and the class itself.
  struct RecordForm {
    std::vector<std::optional<NodeId>> keys;
    std::optional<NodeId> classReference;
  };
  /// The entries of the record, or of the top, that is being written.
  struct Scope {
    std::vector<NodeId> keys;
    std::vector<NodeId> values;
    /// Null at the top.
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
  /// Entries stay where they are.
  std::unordered_map<const Class*, RecordForm> forms_;
  /// Keeps what `sharedObjects_` names alive, so that no address is met twice.
  std::vector<Value> retained_;
  Scope top_;
  Scope* scope_ = &top_;
};

}  // namespace ks
