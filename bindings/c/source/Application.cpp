#include "bindings/c/source/Application.h"

#include <algorithm>
#include <sstream>

#include "bindings/c/source/Failure.h"

namespace ks::capi {

ks_application checkedApplication(const ks_application* given) {
  const ks_application application = taken(given, "application");
  const std::string url = required(application.portal_url, "portal_url");
  if (!url.starts_with("http://") && !url.starts_with("https://")) {
    throw Failure(KS_ERROR_ARGUMENT, "portal_url: expected http:// or https://, not " + url);
  }
  required(application.bundle_identifier, "bundle_identifier");
  return application;
}

tool::LibraryHost::Options libraryOptions(const ks_application& application) {
  tool::LibraryHost::Options options;
  options.username = optional(application.username);
  options.password = optional(application.password);
  options.portalURL = application.portal_url;
  while (options.portalURL.ends_with('/')) options.portalURL.pop_back();
  options.refinements = refinementsFrom(application.refinements);
  options.consent = consentWithout(application.without);
  options.showsNotifications = application.announce_only == 0;
  options.waitsForPictures = false;
  options.log = application.log != 0;
  return options;
}

Refinements refinementsFrom(const char* names) {
  Refinements refinements;
  std::istringstream list(optional(names, "none"));
  for (std::string name; std::getline(list, name, ',');) {
    if (name == "none") continue;
    if (name == "all") {
      refinements = Refinements::all();
      continue;
    }
    const auto known = std::ranges::find(Refinements::named(), name, &Refinements::Named::name);
    if (known == Refinements::named().end()) {
      throw Failure(KS_ERROR_ARGUMENT, "there is no refinement '" + name + "'");
    }
    refinements.*known->member = true;
  }
  return refinements;
}

Consent consentWithout(const char* names) {
  Consent consent;
  std::istringstream list(optional(names));
  for (std::string name; std::getline(list, name, ',');) {
    const auto known = std::ranges::find(Consent::named(), name, &Consent::Named::name);
    if (known == Consent::named().end()) {
      throw Failure(KS_ERROR_ARGUMENT, "there is no class of data '" + name + "'");
    }
    consent.*known->member = false;
  }
  return consent;
}

NSLocale localeOf(const ks_application& application, NSLocale otherwise) {
  if (application.language == nullptr) return otherwise;
  NSLocale locale{application.language, std::nullopt};
  if (application.country != nullptr) locale.countryCode = application.country;
  return locale;
}

}  // namespace ks::capi
