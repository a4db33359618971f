#pragma once

#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Machine/HelperPrograms.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// What the service does with contents besides showing them: runs a program for each event that
/// carries one, and opens pages and videos. Never within an event: a slow output holds nobody back.
/// Main queue only.
class EventOutputs {
 public:
  struct Options {
    /// Empty: none. Each event that carries a content is one JSON object on its standard input.
    std::string program;
    /// When a content is announced, and when the user opens one.
    bool opensPages = false;
  };

  /// `start` is the moment from which events count; `complain` is told what went wrong.
  EventOutputs(Options options, DispatchQueue& mainQueue, Date start,
               std::function<void(const std::string&)> complain);
  EventOutputs(const EventOutputs&) = delete;
  EventOutputs& operator=(const EventOutputs&) = delete;

  void take(const TimelineEvent& event);

 private:
  void later(Task task);

  Options options_;
  DispatchQueue& mainQueue_;
  Date start_;
  std::function<void(const std::string&)> complain_;
  std::unique_ptr<HelperPrograms> programs_;
  /// Gone with the object; tasks that wait then do nothing.
  std::shared_ptr<bool> lives_ = std::make_shared<bool>(true);
};

/// Returns what is wrong with a program that somebody named, or an empty string.
std::string checkProgram(const std::string& program);

}  // namespace ks::tool
