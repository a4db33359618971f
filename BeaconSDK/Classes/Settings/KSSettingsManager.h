#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/Value.h"

class KSNetwork;
class KSProximityZoneContentCategory;

/// What the application says about its user: tags, and the content categories switched on and off.
///
/// Every change is written to a file of the cache folder "KSProximityManager" at once; a failed
/// write leaves the change in memory. Missing and damaged files count as not set. Any thread: each
/// collection has a recursive lock of its own, held while its file is written.
class KSSettingsManager : public std::enable_shared_from_this<KSSettingsManager> {
 public:
  using Categories = std::vector<std::shared_ptr<KSProximityZoneContentCategory>>;
  using CompletionBlock = std::function<void(const std::optional<ks::Error>& error)>;

  /// Reads the three files.
  static std::shared_ptr<KSSettingsManager> initWithNetwork(
      std::shared_ptr<KSNetwork> network, ks::DispatchQueue& mainQueue,
      const ks::Refinements& refinements = {});

  /// Asks the portal for the category list. `completion` is called once, on the main queue, when it
  /// or an error has arrived, unless another `refresh` replaces it first; with `startAlwaysAnswers`
  /// none is replaced.
  void refresh(CompletionBlock completion);

  /// Takes over the category list (kind 0; other kinds are ignored): puts the local category
  /// "-100", "new", before it, and on the very first list switches every category on. An empty list
  /// leaves the stored one; as the very first it leaves later categories switched off, unless
  /// `categoriesFromFirstList` waits for a list that has some.
  void newContentLoadedWithType(KSContentDownloadType type,
                                const std::optional<ks::Records>& content);
  /// Passes a failed category download on to the pending completion.
  void newContentLoadErrorWithType(KSContentDownloadType type, const ks::Error& error);

  /// Writes and reads the enabled categories' file.
  void save() const;
  void load();

  /// Whether the user wants contents of this category. A content without one is unwanted, or with
  /// `categoriesFromFirstList` follows the local category.
  bool wantsCategory(const std::optional<std::string>& identifier) const;
  bool contentCategoryEnabledForIdentifier(const std::string& identifier) const;
  bool contentCategoryEnabled(const KSProximityZoneContentCategory& category) const;
  /// Switches a category with an identifier and saves. Has no other effect until a first category
  /// list or settings file was read.
  void enableContentCategory(const KSProximityZoneContentCategory& category, bool enabled);
  /// The categories that are switched off, in list order.
  Categories disabledCategories() const;
  /// The list as last loaded, the local category first; empty before the first load.
  Categories contentCategories() const;

  /// A snapshot; empty when none were ever set.
  ks::Dictionary tags() const;
  void setTag(const std::string& key, const std::string& value);
  void deleteTag(const std::string& key);
  void clearTags();
  void saveTags() const;
  /// False removes the tags and their file, and takes no other. True at first.
  void setKeepsTags(bool keeps);

  /// Key of the enabled categories in their file.
  static constexpr std::string_view kEnabledKey = "enabledContentIdentifiers";

 private:
  struct Key {};

 public:
  /// For `initWithNetwork` alone.
  KSSettingsManager(Key, std::shared_ptr<KSNetwork> network, const ks::Refinements& refinements,
                    ks::DispatchQueue& mainQueue);

 private:
  /// Keeps texts only, and what was set since.
  void loadTags();
  void storeCategories(const Categories& loaded);
  void enableAllOnFirstList();
  void finishRefresh(std::optional<ks::Error> error);

  const std::shared_ptr<KSNetwork> network_;
  const ks::Refinements refinements_;
  ks::DispatchQueue& mainQueue_;

  mutable std::recursive_mutex categoriesMutex_;
  Categories contentCategories_;

  mutable std::recursive_mutex enabledMutex_;
  /// Absent until a first category list or settings file was read.
  std::optional<std::vector<std::string>> enabledContentIdentifiers_;
  /// The file is there but could not be read yet: it is read before the next change, and not
  /// written over until then.
  bool isEnabledUnread_ = false;

  mutable std::recursive_mutex tagsMutex_;
  std::optional<ks::Dictionary> aTags_;
  /// As `isEnabledUnread_`.
  bool areTagsUnread_ = false;
  bool keepsTags_ = true;

  std::mutex completionMutex_;
  std::vector<CompletionBlock> contentLoadedCompletionBlocks_;
};
