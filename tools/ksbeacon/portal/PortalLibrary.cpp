#include "tools/ksbeacon/portal/PortalLibrary.h"

#include <system_error>
#include <utility>

namespace ks::portal {

namespace {

std::string inWords(const PortalDocument& document) {
  std::string text = document.problems.front().description();
  if (document.problems.size() > 1) {
    text += " (and " + std::to_string(document.problems.size() - 1) + " more)";
  }
  return text;
}

}  // namespace

Result<bool> PortalLibrary::load() {
  std::error_code error;
  if (!std::filesystem::is_directory(folder_, error)) {
    return Error("Portal", 1, folder_.string() + ": not a folder");
  }
  for (const DocumentKind kind : kDocumentKinds) {
    State& state = states_[static_cast<std::size_t>(kind)];
    state.stamp = stampOf(kind);
    PortalDocument document = readDocument(kind, folder_);
    if (!document.problems.empty()) return Error("Portal", 1, inWords(document));
    state.items = std::move(document.items);
  }
  return true;
}

void PortalLibrary::refresh(const std::function<void(const std::string&)>& message) {
  std::error_code error;
  const bool isThere = std::filesystem::is_directory(folder_, error);
  if (std::exchange(isFolderThere_, isThere) != isThere && message) {
    message(folder_.string() +
            (isThere ? ": there again" : ": not a folder; the last good state is served on"));
  }
  if (!isThere) return;
  for (const DocumentKind kind : kDocumentKinds) {
    State& state = states_[static_cast<std::size_t>(kind)];
    const Stamp stamp = stampOf(kind);
    if (stamp == state.stamp) continue;
    state.stamp = stamp;
    PortalDocument document = readDocument(kind, folder_);
    const std::string name = documentFileName(kind);
    if (!document.problems.empty()) {
      if (message) message(inWords(document) + "; the last good state is served on");
      continue;
    }
    state.items = std::move(document.items);
    if (message) message(name + ": read anew, " + std::to_string(state.items.size()) + " entries");
  }
}

PortalLibrary::Stamp PortalLibrary::stampOf(DocumentKind kind) const {
  const auto file = folder_ / documentFileName(kind);
  std::error_code error;
  Stamp stamp;
  stamp.modified = std::filesystem::last_write_time(file, error);
  stamp.exists = !error;
  if (error) stamp.modified = {};
  stamp.size = stamp.exists ? std::filesystem::file_size(file, error) : 0;
  return stamp;
}

}  // namespace ks::portal
