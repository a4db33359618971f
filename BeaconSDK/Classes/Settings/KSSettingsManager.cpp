#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"

namespace {

constexpr std::string_view kTagsFile = "KSProximityManager/KSAppTags.dat";
constexpr std::string_view kCategoriesFile = "KSProximityManager/KSAppCategories.dat";
constexpr std::string_view kSettingsFile = "KSProximityManager/KSAppSettings.dat";

constexpr const char* kLocalCategoryName = "new";

std::filesystem::path file(std::string_view relativePath) {
  return ks::NSFileManagerHelpers::cacheFilePath(relativePath);
}

KSSettingsManager::Categories readCategories() {
  KSSettingsManager::Categories categories;
  const ks::Value archived = ks::loadCacheFile(file(kCategoriesFile));
  if (const ks::Array* list = archived.array()) {
    for (const auto& item : list->items) {
      auto category = item.objectOf<KSProximityZoneContentCategory>();
      if (category) categories.push_back(std::move(category));
    }
  }
  return categories;
}

}  // namespace

KSSettingsManager::KSSettingsManager(Key, std::shared_ptr<KSNetwork> network,
                                     const ks::Refinements& refinements,
                                     ks::DispatchQueue& mainQueue)
    : network_(std::move(network)), refinements_(refinements), mainQueue_(mainQueue) {}

std::shared_ptr<KSSettingsManager> KSSettingsManager::initWithNetwork(
    std::shared_ptr<KSNetwork> network, ks::DispatchQueue& mainQueue,
    const ks::Refinements& refinements) {
  auto manager =
      std::make_shared<KSSettingsManager>(Key{}, std::move(network), refinements, mainQueue);
  manager->loadTags();
  manager->contentCategories_ = readCategories();
  manager->load();
  return manager;
}

void KSSettingsManager::refresh(CompletionBlock completion) {
  {
    const std::lock_guard lock(completionMutex_);
    // By default a later refresh replaces the completion of an earlier one.
    if (!refinements_.startAlwaysAnswers) contentLoadedCompletionBlocks_.clear();
    contentLoadedCompletionBlocks_.push_back(std::move(completion));
  }
  network_->loadProximityZoneContentCategories();
}

void KSSettingsManager::newContentLoadedWithType(KSContentDownloadType type,
                                                 const std::optional<ks::Records>& content) {
  if (type != KSContentDownloadType::contentCategories) return;
  const auto loaded =
      ks::recordsOf<KSProximityZoneContentCategory>(content.value_or(ks::Records{}));
  if (!loaded.empty()) storeCategories(loaded);
  enableAllOnFirstList();
  finishRefresh(std::nullopt);
}

void KSSettingsManager::newContentLoadErrorWithType(KSContentDownloadType type,
                                                    const ks::Error& error) {
  if (type == KSContentDownloadType::contentCategories) finishRefresh(error);
}

void KSSettingsManager::storeCategories(const Categories& loaded) {
  auto local = std::make_shared<KSProximityZoneContentCategory>();
  local->identifier = KSProximityZoneContentCategory::kLocalIdentifier;
  local->name = kLocalCategoryName;
  Categories categories{std::move(local)};
  categories.insert(categories.end(), loaded.begin(), loaded.end());

  ks::Array archived;
  for (const auto& category : categories) archived.items.emplace_back(category);
  const std::lock_guard lock(categoriesMutex_);
  contentCategories_ = std::move(categories);
  ks::NSKeyedArchiver::archiveRootObject(std::move(archived), file(kCategoriesFile));
}

void KSSettingsManager::enableAllOnFirstList() {
  const auto categories = contentCategories();
  const std::lock_guard lock(enabledMutex_);
  if (isEnabledUnread_) load();
  // Only once; an unread file may hold the user's choice.
  if (enabledContentIdentifiers_ || isEnabledUnread_) return;
  if (categories.empty() && refinements_.categoriesFromFirstList) return;
  enabledContentIdentifiers_.emplace();
  for (const auto& category : categories) {
    if (category->identifier) enabledContentIdentifiers_->push_back(*category->identifier);
  }
  save();
}

void KSSettingsManager::finishRefresh(std::optional<ks::Error> error) {
  mainQueue_.async([weak = weak_from_this(), error = std::move(error)] {
    const auto self = weak.lock();
    if (!self) return;
    std::vector<CompletionBlock> completions;
    {
      const std::lock_guard lock(self->completionMutex_);
      // Taken out before the calls, because a completion may refresh again.
      completions = std::exchange(self->contentLoadedCompletionBlocks_, {});
    }
    for (const CompletionBlock& completion : completions) {
      if (completion) completion(error);
    }
  });
}

void KSSettingsManager::save() const {
  const std::lock_guard lock(enabledMutex_);
  // Would overwrite a choice that was not read yet.
  if (isEnabledUnread_) return;
  ks::NSKeyedArchiver archiver;
  if (enabledContentIdentifiers_) {
    const auto& identifiers = *enabledContentIdentifiers_;
    ks::Array list({identifiers.begin(), identifiers.end()}, true);
    archiver.encodeObject(std::move(list), kEnabledKey);
  }
  ks::writeFileAtomically(file(kSettingsFile), archiver.encodedData());
}

void KSSettingsManager::load() {
  const std::lock_guard lock(enabledMutex_);
  const ks::CacheContent archived = ks::readCacheFile(file(kSettingsFile), kEnabledKey);
  isEnabledUnread_ = archived.isUnreadable;
  const ks::Array* list = archived.value.array();
  if (!list) return;
  std::vector<std::string> identifiers;
  for (const auto& item : list->items) {
    if (const std::string* identifier = item.string()) identifiers.push_back(*identifier);
  }
  enabledContentIdentifiers_ = std::move(identifiers);
}

void KSSettingsManager::loadTags() {
  const std::lock_guard lock(tagsMutex_);
  const ks::CacheContent archived = ks::readCacheFile(file(kTagsFile));
  areTagsUnread_ = archived.isUnreadable;
  const ks::Dictionary* const stored = archived.value.dictionary();
  if (!stored) return;
  if (!aTags_) aTags_.emplace().isMutable = true;
  for (const auto& [key, value] : *stored) {
    // Tags set since the start are newer than those of the file.
    if (value.string() && !aTags_->contains(key)) aTags_->set(key, value);
  }
}

bool KSSettingsManager::wantsCategory(const std::optional<std::string>& identifier) const {
  if (identifier) return contentCategoryEnabledForIdentifier(*identifier);
  return refinements_.categoriesFromFirstList &&
         contentCategoryEnabledForIdentifier(KSProximityZoneContentCategory::kLocalIdentifier);
}

bool KSSettingsManager::contentCategoryEnabledForIdentifier(const std::string& identifier) const {
  const std::lock_guard lock(enabledMutex_);
  if (!enabledContentIdentifiers_) return false;
  return std::find(enabledContentIdentifiers_->begin(), enabledContentIdentifiers_->end(),
                   identifier) != enabledContentIdentifiers_->end();
}

bool KSSettingsManager::contentCategoryEnabled(
    const KSProximityZoneContentCategory& category) const {
  return category.identifier && contentCategoryEnabledForIdentifier(*category.identifier);
}

void KSSettingsManager::enableContentCategory(const KSProximityZoneContentCategory& category,
                                              bool enabled) {
  if (!category.identifier) return;
  const std::lock_guard lock(enabledMutex_);
  if (isEnabledUnread_) load();
  if (enabledContentIdentifiers_) {
    if (enabled) {
      // Entries may repeat; disabling removes all of them.
      enabledContentIdentifiers_->push_back(*category.identifier);
    } else {
      std::erase(*enabledContentIdentifiers_, *category.identifier);
    }
  }
  save();
}

KSSettingsManager::Categories KSSettingsManager::disabledCategories() const {
  const std::lock_guard lock(categoriesMutex_);
  Categories disabled = contentCategories_;
  std::erase_if(disabled, [&](const auto& category) { return contentCategoryEnabled(*category); });
  return disabled;
}

KSSettingsManager::Categories KSSettingsManager::contentCategories() const {
  const std::lock_guard lock(categoriesMutex_);
  return contentCategories_;
}

ks::Dictionary KSSettingsManager::tags() const {
  const std::lock_guard lock(tagsMutex_);
  ks::Dictionary snapshot = aTags_.value_or(ks::Dictionary{});
  snapshot.isMutable = false;
  return snapshot;
}

void KSSettingsManager::setTag(const std::string& key, const std::string& value) {
  const std::lock_guard lock(tagsMutex_);
  if (!keepsTags_) return;
  if (areTagsUnread_) loadTags();
  if (!aTags_) aTags_.emplace().isMutable = true;
  aTags_->set(key, value);
  saveTags();
}

void KSSettingsManager::deleteTag(const std::string& key) {
  const std::lock_guard lock(tagsMutex_);
  if (areTagsUnread_) loadTags();
  if (aTags_) aTags_->erase(key);
  saveTags();
}

void KSSettingsManager::clearTags() {
  const std::lock_guard lock(tagsMutex_);
  // An unread file may be overwritten: all its tags are cleared too.
  areTagsUnread_ = false;
  if (aTags_) aTags_->clear();
  saveTags();
}

void KSSettingsManager::setKeepsTags(bool keeps) {
  const std::lock_guard lock(tagsMutex_);
  keepsTags_ = keeps;
  if (keeps) return;
  areTagsUnread_ = false;
  aTags_.reset();
  std::error_code ignored;
  std::filesystem::remove(file(kTagsFile), ignored);
}

void KSSettingsManager::saveTags() const {
  const std::lock_guard lock(tagsMutex_);
  if (areTagsUnread_ || !keepsTags_) return;
  ks::NSKeyedArchiver::archiveRootObject(aTags_.value_or(ks::Dictionary{}), file(kTagsFile));
}
