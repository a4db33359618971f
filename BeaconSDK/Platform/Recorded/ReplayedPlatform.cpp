#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace ks {

namespace {

namespace fs = std::filesystem;

TemporaryFolder freshFolder() {
  auto made = TemporaryFolder::makeInMemory("ksreplay");
  if (!made) throw std::runtime_error(made.error().localizedDescription());
  return std::move(made.value());
}

/// Names in a recording stay inside the folder of the replay.
bool isInside(const fs::path& name) {
  return name.is_relative() &&
         std::ranges::none_of(name, [](const fs::path& part) { return part == ".."; });
}

void writeFile(const fs::path& path, const Data& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) throw std::runtime_error("cannot write '" + path.string() + "'");
}

const Dictionary& dictionaryIn(const Dictionary& details, const char* name) {
  static const Dictionary kNone;
  const Dictionary* const found = details[name].dictionary();
  return found != nullptr ? *found : kNone;
}

EnclosedPlatform::Beginning beginningIn(const RecordedEvent& begin, const fs::path& folder) {
  EnclosedPlatform::Beginning beginning;
  if (const Date* const start = begin.details["start"].date()) beginning.start = *start;
  beginning.settings = settingsFrom(dictionaryIn(begin.details, "settings"));
  beginning.directories = {folder / "caches", folder / "documents", folder / "temporary"};
  beginning.state = folder / "state";
  return beginning;
}

/// The answers of a device on which nothing goes wrong.
Value usualAnswer(std::string_view question) {
  if (question == "flags") return kSCNetworkReachabilityFlagsReachable;
  if (question == "watch" || question == "schedule" || question == "background task") return true;
  return {};
}

}  // namespace

Result<RecordingReader> RecordingReader::open(const fs::path& path) {
  auto file = RecordingFileReader::open(path);
  if (!file) return file.error();
  return RecordingReader(std::move(file.value()));
}

bool RecordingReader::next(RecordedEvent& event) {
  while (!decoder_.next(event)) {
    if (!decoder_.isSound()) return false;
    auto block = file_.next();
    if (!block) return false;
    decoder_.setBlock(std::move(*block));
  }
  return true;
}

ReplayedPlatform::Place::Place(const RecordedEvent& begin) : folder(freshFolder()) {
  for (const char* const name : {"caches", "documents", "temporary", "state"}) {
    fs::create_directories(folder.path() / name);
  }
  for (const auto& [name, content] : dictionaryIn(begin.details, "files")) {
    if (content.data() != nullptr && isInside(name)) {
      writeFile(folder.path() / name, *content.data());
    }
  }
}

ReplayedPlatform::ReplayedPlatform(const RecordedEvent& begin)
    : ReplayedPlatform(begin, std::make_unique<Place>(begin)) {}

ReplayedPlatform::ReplayedPlatform(const RecordedEvent& begin, std::unique_ptr<Place> place)
    : EnclosedPlatform(*this, place->console, beginningIn(begin, place->folder.path())),
      place_(std::move(place)),
      host_(dictionaryIn(begin.details, "host")),
      isPrivate_(begin.details["private"].boolValue()),
      isIndependent_(isPrivate_) {}

ReplayedPlatform::~ReplayedPlatform() { isEnding_ = true; }

void ReplayedPlatform::replay(const RecordedEvent& event) {
  passTime(event.microseconds);
  if (departure_.empty()) deliver(event);
}

Value ReplayedPlatform::answer(std::string_view question, const std::function<Value()>&) {
  if (isEnding_ || isIndependent_) return usualAnswer(question);
  if (answers_.empty()) {
    departed("asks the device for \"" + std::string(question) + "\", which it did not");
    return usualAnswer(question);
  }
  const Dictionary next = std::move(answers_.front());
  answers_.pop_front();
  const std::string asked = next["question"].stringValue().value_or("");
  if (asked != question) {
    departed("asks the device for \"" + std::string(question) + "\" instead of \"" + asked + "\"");
  }
  return next["answer"];
}

void ReplayedPlatform::departed(const std::string& how) {
  if (departure_.empty() && !isIndependent_) departure_ = how;
}

}  // namespace ks
