#include "tools/ksbeacon/device/EventOutputs.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <utility>

#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

namespace {

bool isProgram(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::is_regular_file(file, error) && access(file.c_str(), X_OK) == 0;
}

/// The content of this event is to be seen now.
bool isToBeSeen(const TimelineEvent& event) {
  const std::string action = event.details["action"].stringValue().value_or("");
  return action == "announced" || action == "opened";
}

}  // namespace

EventOutputs::EventOutputs(Options options, DispatchQueue& mainQueue, Date start,
                           std::function<void(const std::string&)> complain)
    : options_(std::move(options)),
      mainQueue_(mainQueue),
      start_(start),
      complain_(std::move(complain)) {
  if (options_.program.empty()) return;
  programs_ = std::make_unique<HelperPrograms>(options_.program, mainQueue_, complain_);
}

void EventOutputs::take(const TimelineEvent& event) {
  const Dictionary* const shows = event.details["shows"].dictionary();
  if (shows == nullptr) return;
  if (programs_) {
    later([this, line = timelineJson(event, start_) + "\n"] { programs_->run(line); });
  }
  if (!options_.opensPages || !isToBeSeen(event)) return;
  auto url = (*shows)["page"].stringValue();
  if (!url) url = (*shows)["video"].stringValue();
  if (url) later([this, page = *url] { openPage(page, complain_); });
}

void EventOutputs::later(Task task) {
  mainQueue_.async([lives = std::weak_ptr(lives_), task = std::move(task)] {
    if (!lives.expired()) task();
  });
}

std::string checkProgram(const std::string& program) {
  if (program.find('/') != std::string::npos) {
    return isProgram(program) ? "" : "there is no program " + program;
  }
  const char* const variable = std::getenv("PATH");
  std::istringstream folders(variable == nullptr ? "/usr/bin:/bin" : variable);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (isProgram(std::filesystem::path(folder) / program)) return "";
  }
  return "there is no program " + program + " in PATH";
}

}  // namespace ks::tool
