#include "tools/ksbeacon/replay/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace ks::tool {

namespace {

constexpr double kSecondsPerHour = 3600;

std::string times(std::size_t count) {
  if (count == 0) return "never";
  return count == 1 ? "once" : fmt::format("{} times", count);
}

}  // namespace

void Comparison::note(Run run, const TimelineEvent& event) {
  if (event.kind != TimelineKind::trigger) return;
  auto& [before, after] = fired_[event.details["content"].stringValue().value_or("")];
  (run == Run::before ? before : after).push_back(event.at);
}

std::vector<Comparison::Difference> Comparison::differences() const {
  std::vector<Difference> differences;
  for (const auto& [content, moments] : fired_) {
    const auto& [before, after] = moments;
    if (before == after) continue;
    Difference difference{content, before.size(), after.size(), Seconds{0}};
    const auto other = std::ranges::mismatch(before, after);
    if (other.in1 != before.end() && other.in2 != after.end()) {
      difference.shift = *other.in2 - *other.in1;
    }
    differences.push_back(difference);
  }
  return differences;
}

std::map<int, std::pair<std::size_t, std::size_t>> Comparison::hours() const {
  std::map<int, std::pair<std::size_t, std::size_t>> hours;
  const auto hourOf = [](Seconds at) {
    return static_cast<int>(std::floor(at.count() / kSecondsPerHour));
  };
  for (const auto& [content, moments] : fired_) {
    for (const Seconds at : moments.first) ++hours[hourOf(at)].first;
    for (const Seconds at : moments.second) ++hours[hourOf(at)].second;
  }
  std::erase_if(hours, [](const auto& hour) { return hour.second.first == hour.second.second; });
  return hours;
}

std::string inWords(const Comparison::Difference& difference) {
  std::string text = fmt::format("content {}: fires {} instead of {}", difference.content,
                                 times(difference.after), times(difference.before));
  if (difference.before == difference.after) {
    text = fmt::format("content {}: fires {}", difference.content, times(difference.after));
  }
  const double shift = difference.shift.count();
  if (shift != 0) {
    text += fmt::format(", {:.0f} s {}", std::abs(shift), shift > 0 ? "later" : "earlier");
  }
  return text;
}

}  // namespace ks::tool
