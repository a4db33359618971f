#include "BeaconSDK/Classes/Stats/KSStatsOutbox.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>
#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"

namespace {

constexpr const char* kLedgerFile = "ledger.dat";

/// Of a later attempt the portal may think otherwise: a password is mended, a load passes.
bool refusesForGood(int status) {
  if (status / 100 != 4) return false;
  return status != 401 && status != 408 && status != 425 && status != 429;
}

/// The number in an event file's name; 0 for any other file.
std::int64_t numberIn(const std::filesystem::path& file) {
  if (file.extension() != ".event") return 0;
  const std::string stem = file.stem().string();
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(stem.data(), stem.data() + stem.size(), number);
  return error == std::errc() && end == stem.data() + stem.size() ? number : 0;
}

ks::Dictionary dictionaryOf(const ks::StatsLedger& ledger) {
  ks::Dictionary dropped;
  for (const auto& [reason, times] : ledger.dropped) dropped.set(reason, times);
  return {{"sent", ledger.sent}, {"refused", ledger.refused}, {"dropped", std::move(dropped)}};
}

}  // namespace

KSStatsOutbox::KSStatsOutbox(std::filesystem::path folder, std::string rootURL, std::string origin,
                             Sender sender, ks::DispatchQueue& mainQueue)
    : folder_(std::move(folder)),
      rootURL_(std::move(rootURL)),
      origin_(std::move(origin)),
      sender_(std::move(sender)),
      alarm_(mainQueue) {
  load();
}

void KSStatsOutbox::loadLedger() {
  const ks::Value stored = ks::loadCacheFile(folder_ / kLedgerFile);
  const ks::Dictionary* const counts = stored.dictionary();
  if (counts == nullptr) return;
  const auto count = [](const ks::Value& value) {
    return std::max<std::int64_t>(0, value.integerValue());
  };
  ledger_.sent = count((*counts)["sent"]);
  ledger_.refused = count((*counts)["refused"]);
  const ks::Dictionary* const dropped = (*counts)["dropped"].dictionary();
  if (dropped == nullptr) return;
  for (const auto& [reason, times] : *dropped) ledger_.dropped[reason] = count(times);
  droppedBefore_ = ledger_.droppedCount();
}

void KSStatsOutbox::load() {
  std::error_code ignored;
  std::filesystem::create_directories(folder_, ignored);
  loadLedger();
  std::set<std::int64_t> numbers;
  for (const auto& entry : std::filesystem::directory_iterator(folder_, ignored)) {
    const std::int64_t number = numberIn(entry.path());
    if (number > ledger_.settled()) {
      numbers.insert(number);
    } else if (number > 0) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
  if (!numbers.empty()) {
    const std::int64_t missing = *numbers.begin() - firstWaiting();
    if (missing > 0) ledger_.dropped["lost"] += missing;
    // A stray name far ahead of the others would make as many events wait.
    const auto end = numbers.upper_bound(*numbers.begin() + 2 * kMostWaiting);
    ledger_.waiting = *std::prev(end) - ledger_.settled();
  }
  ledger_.made = ledger_.settled() + ledger_.waiting;
}

void KSStatsOutbox::add(std::string url, ks::Data body, ks::Date now) {
  const std::int64_t number = ++ledger_.made;
  ++ledger_.waiting;
  const auto milliseconds = static_cast<std::int64_t>(ks::secondsSince1970(now) * 1000);
  Event event{std::move(url), std::move(body),
              fmt::format("{}-{:x}-{}", origin_, milliseconds, number)};
  write(number, std::move(event));
  makeRoom();
  sendNext();
}

void KSStatsOutbox::write(std::int64_t number, Event event) {
  const ks::Dictionary archived{
      {"url", event.url}, {"body", event.body}, {"key", event.idempotencyKey}};
  if (!ks::NSKeyedArchiver::archiveRootObject(archived, fileOf(number))) {
    unwritten_.insert_or_assign(number, std::move(event));
  }
}

void KSStatsOutbox::forgetOrigin() {
  const std::string earlier = std::exchange(origin_, kNoOrigin);
  for (std::int64_t number = firstWaiting(); number <= ledger_.made; ++number) {
    auto event = read(number);
    if (!event || !event->idempotencyKey.starts_with(earlier)) continue;
    event->idempotencyKey.replace(0, earlier.size(), kNoOrigin);
    write(number, std::move(*event));
  }
}

void KSStatsOutbox::makeRoom() {
  // What is under way may arrive: it is not dropped meanwhile.
  while (!isSending_ && ledger_.waiting > kMostWaiting) settle(ledger_.dropped["outboxFull"]);
}

void KSStatsOutbox::sendNext() {
  while (!isSending_ && !isStopped_ && !alarm_.isScheduled() && ledger_.waiting > 0) {
    const auto event = read(firstWaiting());
    if (!event) {
      settle(ledger_.dropped["lost"]);
    } else if (!event->url.starts_with(rootURL_)) {
      settle(ledger_.dropped["otherPortal"]);
    } else {
      isSending_ = true;
      sender_(*event, [weak = weak_from_this(), attempt = ++attempt_](std::optional<int> status) {
        if (const auto self = weak.lock()) self->replied(attempt, status);
      });
    }
  }
}

void KSStatsOutbox::replied(std::uint64_t attempt, std::optional<int> status) {
  if (!isSending_ || attempt != attempt_) return;
  isSending_ = false;
  if (status && (*status / 100 == 2 || refusesForGood(*status))) {
    settle(*status / 100 == 2 ? ledger_.sent : ledger_.refused);
    pause_ = kFirstPause;
  } else if (!isStopped_) {
    alarm_.schedule(pause_, [this] { sendNext(); });
    pause_ = std::min(pause_ * 2, kLongestPause);
  }
  makeRoom();
  sendNext();
}

void KSStatsOutbox::settle(std::int64_t& counter) {
  const std::int64_t number = firstWaiting();
  ++counter;
  --ledger_.waiting;
  // A failed write is mended by the next; until then a restart sends the event once more.
  if (ks::NSKeyedArchiver::archiveRootObject(dictionaryOf(ledger_), folder_ / kLedgerFile)) {
    std::error_code ignored;
    std::filesystem::remove(fileOf(number), ignored);
  }
  unwritten_.erase(number);
}

void KSStatsOutbox::stop() {
  isStopped_ = true;
  alarm_.invalidate();
}

void KSStatsOutbox::purge() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
  std::filesystem::create_directories(folder_, ignored);
  unwritten_.clear();
  ledger_ = {};
  droppedBefore_ = 0;
  // A reply to the current attempt belongs to no event any more.
  isSending_ = false;
  ++attempt_;
  alarm_.invalidate();
  pause_ = kFirstPause;
}

std::filesystem::path KSStatsOutbox::fileOf(std::int64_t number) const {
  return folder_ / fmt::format("{:010}.event", number);
}

std::optional<KSStatsOutbox::Event> KSStatsOutbox::read(std::int64_t number) const {
  const auto unwritten = unwritten_.find(number);
  if (unwritten != unwritten_.end()) return unwritten->second;
  const ks::Value stored = ks::loadCacheFile(fileOf(number));
  const ks::Dictionary* const members = stored.dictionary();
  if (members == nullptr) return std::nullopt;
  const std::string* const url = (*members)["url"].string();
  const ks::Data* const body = (*members)["body"].data();
  const std::string* const key = (*members)["key"].string();
  if (url == nullptr || body == nullptr || key == nullptr) return std::nullopt;
  return Event{*url, *body, *key};
}
