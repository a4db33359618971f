#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Storage/NewFile.h"

namespace ks {

/// A reply as the document store keeps it: one file with a head of text lines under a checksum,
/// then the body, whose length and checksum stand in the head.
class StoredDocument {
 public:
  NSHTTPURLResponse response;
  /// On the device's clock.
  Date receivedAt{};
  /// The request's fields that chose this reply, with their values.
  HTTPHeaders selectingFields;
  /// Set when the document is looked up.
  bool isFresh = false;

  /// Opens a document and reads its head; null when the file is missing or damaged. The file's
  /// content stays readable through the object when the file is replaced or removed.
  static std::shared_ptr<StoredDocument> open(const std::filesystem::path& path);
  /// Appends the whole document, head and the content of `body`, to `target`; false when something
  /// cannot be read or written.
  [[nodiscard]] bool write(NewFile& target, const std::filesystem::path& body) const;
  /// Appends the body to `target`, once only; false when it is damaged or cannot be copied.
  [[nodiscard]] bool copyBody(NewFile& target);
  std::uint64_t bodySize() const { return bodySize_; }

 private:
  bool readHead(const std::string& head);
  std::string headText(std::uint64_t bodySize, const std::string& checksum) const;

  std::ifstream file_;
  std::uint64_t bodySize_ = 0;
  std::string checksum_;
};

}  // namespace ks
