#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

/// Converts the portal's replies to records and reports them to the completion block.
///
/// Replies are read on the session's delegate queue, in the order of their arrival; the two blocks
/// may be set on any thread.
class PortalReplies {
 public:
  explicit PortalReplies(ContentCompletionBlock completionBlock);

  ContentCompletionBlock completionBlock() const;
  void setCompletionBlock(ContentCompletionBlock block);
  /// Called when the portal refuses the credentials of a download, which is then not reported
  /// otherwise. Set before the first download.
  void setRefusalHandler(std::function<void(KSContentDownloadType)> handler) {
    refusalHandler_ = std::move(handler);
  }

  /// Reads the document in `file`, the reply with `statusCode` to `request`, and reports its
  /// records. Returns true if the document could be parsed.
  bool read(const NSURLRequest& request, int statusCode, const std::filesystem::path& file);

  /// Reports a success; does nothing without a result.
  void notifyNewContentAvailableForType(KSContentDownloadType type,
                                        const std::optional<Records>& content) const;
  /// Reports a success, also without a result.
  void notifyNewContentAvailableForType(KSContentDownloadType type,
                                        const std::optional<Records>& content,
                                        const Dictionary& metaData) const;
  void notifyContentDownloadErrorForType(KSContentDownloadType type, const Error& error) const;

 private:
  void route(KSContentDownloadType type, const NSURLRequest& request,
             const std::filesystem::path& file);
  /// Parses the document in `file`. One that cannot be opened counts as an empty list; one that
  /// cannot be read as JSON is reported to the completion block and yields nothing. The report
  /// names the status where that is no success.
  template <class Converter>
  std::optional<KSResponseParser::Records<Converter>> processJSONAtLocation(
      const std::filesystem::path& file, const Converter& itemConverter,
      KSContentDownloadType type);
  void contentCategoriesDownloadedToURL(const std::filesystem::path& file);
  void locationsDownloadedToURL(const std::filesystem::path& file);
  void proximityZonesForLocation(const std::optional<std::string>& locationIdentifier,
                                 const std::filesystem::path& file);
  void proximityZonesForBeaconIdentifiers(const std::vector<std::string>& beaconIdentifiers,
                                          const std::filesystem::path& file);
  void contentGeofencesDownloadedForLocation(const std::optional<std::string>& locationIdentifier,
                                             const std::filesystem::path& file);

  /// Used on the delegate queue, as are the next two.
  const KSResponseParser parser_;
  /// Of the reply that arrived last.
  int statusCode_ = 0;
  /// Whether the document that arrived last could be parsed.
  bool documentIsParsed_ = false;
  std::function<void(KSContentDownloadType)> refusalHandler_;
  /// Guards the block, which the main queue sets and the delegate queue calls.
  mutable std::mutex blockMutex_;
  ContentCompletionBlock completionBlock_;
};

}  // namespace ks
