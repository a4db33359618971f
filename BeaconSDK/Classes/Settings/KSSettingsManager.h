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

/// The application's settings for its user: tags, and the enabled content categories.
///
/// Every change is written immediately to a file of the cache folder "KSProximityManager"; a failed
/// write leaves the change in memory. Missing and damaged files count as not set. Any thread: each
/// collection has its own recursive lock, held while its file is written.
class KSSettingsManager : public std::enable_shared_from_this<KSSettingsManager> {
 public:
  using Categories = std::vector<std::shared_ptr<KSProximityZoneContentCategory>>;
  using CompletionBlock = std::function<void(const std::optional<ks::Error>& error)>;

  /// Reads the three files.
  static std::shared_ptr<KSSettingsManager> initWithNetwork(
      std::shared_ptr<KSNetwork> network, ks::DispatchQueue& mainQueue,
      const ks::Refinements& refinements = {});

  /// Requests the category list. Calls `completion` once, on the main queue, when the list or an
  /// error has arrived, unless another `refresh` replaces it first; with the refinement
  /// `startAlwaysAnswers` none is replaced.
  void refresh(CompletionBlock completion);

  /// Stores the category list (kind 0; other kinds are ignored) behind the local category "-100",
  /// "new". The very first list enables every category. An empty list keeps the stored one; as the
  /// very first it leaves later categories disabled, unless the refinement
  /// `categoriesFromFirstList` is on.
  void newContentLoadedWithType(KSContentDownloadType type,
                                const std::optional<ks::Records>& content);
  /// Passes the error of a category download to the pending completion.
  void newContentLoadErrorWithType(KSContentDownloadType type, const ks::Error& error);

  /// Write and read the file of the enabled categories.
  void save() const;
  void load();

  /// True when contents of this category are wanted. A content without category is unwanted or,
  /// with `categoriesFromFirstList`, follows the local category.
  bool wantsCategory(const std::optional<std::string>& identifier) const;
  bool contentCategoryEnabledForIdentifier(const std::string& identifier) const;
  bool contentCategoryEnabled(const KSProximityZoneContentCategory& category) const;
  /// Enables or disables a category that has an identifier, and saves. Changes nothing until a
  /// first category list or settings file was read.
  void enableContentCategory(const KSProximityZoneContentCategory& category, bool enabled);
  /// Returns the disabled categories, in list order.
  Categories disabledCategories() const;
  /// Returns the list as last loaded, the local category first; empty before the first load.
  Categories contentCategories() const;

  /// Returns a snapshot; empty when none were ever set.
  ks::Dictionary tags() const;
  void setTag(const std::string& key, const std::string& value);
  void deleteTag(const std::string& key);
  void clearTags();
  void saveTags() const;
  /// False removes the tags and their file, and ignores new ones. Default: true.
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
  /// Reads the file, keeping text values only; tags set since take precedence.
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
  /// The file exists but could not be read: it is read before the next change, and not overwritten
  /// until then.
  bool isEnabledUnread_ = false;

  mutable std::recursive_mutex tagsMutex_;
  std::optional<ks::Dictionary> aTags_;
  /// As `isEnabledUnread_`.
  bool areTagsUnread_ = false;
  bool keepsTags_ = true;

  std::mutex completionMutex_;
  std::vector<CompletionBlock> contentLoadedCompletionBlocks_;
};
