#include "BeaconSDK/Classes/Manager/Zones/KSBlockedContents.h"

namespace {

constexpr std::string_view kFileName = "blockedContents.dat";

}  // namespace

void KSBlockedContents::loadBlockedContents() {
  blockedContents_.clear();
  const ks::Value stored = folder_.load(kFileName);
  const ks::Dictionary* const entries = stored.dictionary();
  if (entries == nullptr) return;
  const ks::Date now = clock_.now();
  for (const auto& [identifier, value] : *entries) {
    const ks::Date* const until = value.date();
    if (until != nullptr && *until > now) blockedContents_.set(identifier, *until);
  }
  saveBlockedContents();
}

void KSBlockedContents::saveBlockedContents() const { folder_.save(kFileName, blockedContents_); }

void KSBlockedContents::block(const KSProximityZoneContent& content) {
  if (!content.identifier || !content.blockedUntilDate) return;
  blockedContents_.set(*content.identifier, *content.blockedUntilDate);
  saveBlockedContents();
}

void KSBlockedContents::applyTo(KSProximityZoneContent* content) const {
  if (content == nullptr || !content->identifier) return;
  const ks::Value* const until = blockedContents_.find(*content->identifier);
  if (until != nullptr) content->blockedUntilDate = *until->date();
}
