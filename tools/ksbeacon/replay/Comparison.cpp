#include "tools/ksbeacon/replay/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace ks::tool {

namespace {

constexpr double kSecondsPerHour = 3600;

std::string times(std::size_t count) {
  if (count == 0) return "never";
  return count == 1 ? "once" : fmt::format("{} times", count);
}

}  // namespace

void Comparison::note(Run run, const std::string& day, const TimelineEvent& event) {
  const bool isAnnounced = event.kind == TimelineKind::notification &&
                           event.details["action"].stringValue() == "announced";
  if (event.kind != TimelineKind::trigger && !isAnnounced) return;
  const auto count = [run](Counts& counts) {
    ++(run == Run::before ? counts.before : counts.after);
  };
  Hour& hour = hours_[static_cast<int>(std::floor(event.at.count() / kSecondsPerHour))];
  count(isAnnounced ? hour.notified : hour.fired);
  if (isAnnounced) return count(notified_[day]);
  auto& [before, after] = fired_[event.details["content"].stringValue().value_or("")];
  (run == Run::before ? before : after).emplace_back(day, event.at);
}

std::vector<Comparison::Difference> Comparison::differences() const {
  std::vector<Difference> differences;
  for (const auto& [content, moments] : fired_) {
    const auto& [before, after] = moments;
    if (before == after) continue;
    Difference difference{content, {before.size(), after.size()}, Seconds{0}};
    const auto [was, is] = std::ranges::mismatch(before, after);
    if (was != before.end() && is != after.end() && was->first == is->first) {
      difference.shift = is->second - was->second;
    }
    differences.push_back(difference);
  }
  return differences;
}

std::map<int, Comparison::Hour> Comparison::hours() const {
  std::map<int, Hour> hours = hours_;
  std::erase_if(hours, [](const auto& hour) {
    return !hour.second.fired.differ() && !hour.second.notified.differ();
  });
  return hours;
}

std::vector<std::pair<std::string, Comparison::Counts>> Comparison::days() const {
  std::vector<std::pair<std::string, Counts>> days(notified_.begin(), notified_.end());
  std::erase_if(days, [](const auto& day) { return !day.second.differ(); });
  std::ranges::stable_sort(days, std::ranges::greater{}, [](const auto& day) {
    return static_cast<std::ptrdiff_t>(day.second.after) -
           static_cast<std::ptrdiff_t>(day.second.before);
  });
  return days;
}

std::string inWords(const Comparison::Difference& difference) {
  std::string text = fmt::format("content {}: fires {} instead of {}", difference.content,
                                 times(difference.fired.after), times(difference.fired.before));
  if (!difference.fired.differ()) {
    text = fmt::format("content {}: fires {}", difference.content, times(difference.fired.after));
  }
  const double shift = difference.shift.count();
  if (shift != 0) {
    text += fmt::format(", {:.0f} s {}", std::abs(shift), shift > 0 ? "later" : "earlier");
  }
  return text;
}

std::string inWords(int hour, const Comparison::Hour& counts) {
  return fmt::format("hour {}: {} contents fire instead of {}, {} notifications instead of {}",
                     hour, counts.fired.after, counts.fired.before, counts.notified.after,
                     counts.notified.before);
}

}  // namespace ks::tool
