#include "tools/ksbeacon/replay/RecordedDocuments.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <string_view>
#include <utility>

#include "tools/ksbeacon/output/OutputPlace.h"

namespace ks::tool {

namespace {

namespace json = boost::json;

constexpr std::pair<std::string_view, const char*> kFiles[] = {
    {"/contents/categories", "categories.json"},
    {"/locations", "locations.json"},
    {"/beacons", "beacons.json"},
    {"/geofences", "geofences.json"}};

const char* fileFor(std::string_view target) {
  const std::string_view path = target.substr(0, target.find('?'));
  for (const auto& [known, file] : kFiles) {
    if (path == known) return file;
  }
  return nullptr;
}

}  // namespace

void RecordedDocuments::note(const RecordedEvent& download, const std::string& portalURL) {
  if (download.kind != RecordedEvent::Kind::download) return;
  const std::string url = download.details["target"].stringValue().value_or("");
  const Data* const body = download.details["body"].data();
  if (body == nullptr || !url.starts_with(portalURL)) return;
  const char* const file = fileFor(std::string_view(url).substr(portalURL.size()));
  if (file == nullptr) return;
  boost::system::error_code error;
  const std::string_view text(reinterpret_cast<const char*>(body->data()), body->size());
  const json::value reply = json::parse(text, error);
  if (error || !reply.is_array()) return;
  for (const json::value& item : reply.get_array()) {
    const json::object* const object = item.if_object();
    const json::value* const name = object != nullptr ? object->if_contains("id") : nullptr;
    if (name != nullptr) items_[file][json::serialize(*name)] = *object;
  }
}

bool RecordedDocuments::write(const std::filesystem::path& folder) const {
  for (const auto& [path, file] : kFiles) {
    std::string text;
    const auto found = items_.find(file);
    if (found != items_.end()) {
      for (const auto& [name, item] : found->second) {
        text += (text.empty() ? "" : ",\n") + json::serialize(item);
      }
    }
    if (!writeText(folder / file, "[\n" + text + "\n]\n")) return false;
  }
  return true;
}

}  // namespace ks::tool
