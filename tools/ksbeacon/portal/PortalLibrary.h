#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::portal {

/// The documents as they are served: the last good state of each file of a folder.
class PortalLibrary {
 public:
  explicit PortalLibrary(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Reads every document; an error says what the first wrong one has, and the library must not be
  /// used then.
  Result<bool> load();
  /// Reads the files that changed. A broken one changes nothing, nor does a folder that is gone;
  /// what is wrong, or that it is good again, is told to `message`, once for each change.
  void refresh(const std::function<void(const std::string&)>& message);

  const boost::json::array& items(DocumentKind kind) const { return state(kind).items; }

 private:
  /// What tells one state of a file from another.
  struct Stamp {
    bool exists = false;
    std::filesystem::file_time_type modified;
    std::uintmax_t size = 0;
    friend bool operator==(const Stamp&, const Stamp&) = default;
  };
  struct State {
    Stamp stamp;
    boost::json::array items;
  };

  const State& state(DocumentKind kind) const { return states_[static_cast<std::size_t>(kind)]; }
  Stamp stampOf(DocumentKind kind) const;

  std::filesystem::path folder_;
  bool isFolderThere_ = true;
  std::array<State, kDocumentKinds.size()> states_;
};

}  // namespace ks::portal
