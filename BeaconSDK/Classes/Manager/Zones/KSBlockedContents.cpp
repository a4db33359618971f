#include "BeaconSDK/Classes/Manager/Zones/KSBlockedContents.h"

#include <utility>

KSBlockedContents::KSBlockedContents(ks::Platform& platform, const KSObserverSlot& observer,
                                     const ks::Clock& clock)
    : clock_(clock),
      file_(
          "blockedContents.dat", KSCacheFile::Haste::nextTurn, platform, observer,
          [this] { return withoutExpired(); },
          [this](const ks::Value& stored) { restore(stored); }) {}

ks::Value KSBlockedContents::withoutExpired() {
  // Called for each write, so the file holds running blocks only.
  const ks::Date now = clock_.now();
  ks::Dictionary left;
  for (const auto& [identifier, until] : blockedContents_) {
    if (*until.date() > now) left.set(identifier, until);
  }
  blockedContents_ = std::move(left);
  return blockedContents_;
}

void KSBlockedContents::restore(const ks::Value& stored) {
  const ks::Dictionary* const entries = stored.dictionary();
  if (entries == nullptr) return;
  const ks::Date now = clock_.now();
  for (const auto& [identifier, value] : *entries) {
    const ks::Date* const until = value.date();
    // A block since the start of the process is newer than the one in the file.
    const bool isNew = !blockedContents_.contains(identifier);
    if (isNew && until != nullptr && *until > now) blockedContents_.set(identifier, *until);
  }
  saveBlockedContents();
}

void KSBlockedContents::block(const KSProximityZoneContent& content) {
  if (!content.identifier || !content.blockedUntilDate) return;
  blockedContents_.set(*content.identifier, *content.blockedUntilDate);
  saveBlockedContents();
}

void KSBlockedContents::applyTo(KSProximityZoneContent* content) {
  if (content == nullptr || !content->identifier) return;
  // A file that could not be read at the start is read now, so that no block is missed.
  file_.restored();
  const ks::Value* const until = blockedContents_.find(*content->identifier);
  if (until != nullptr) content->blockedUntilDate = *until->date();
}
