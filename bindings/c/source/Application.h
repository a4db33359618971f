#pragma once

#include "BeaconSDK/Classes/Settings/Consent.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "ksbeacon/ksbeacon.h"
#include "tools/ksbeacon/host/LibraryHost.h"

namespace ks::capi {

/// What the caller says of its application, with all that must be there. Throws `Failure`.
ks_application checkedApplication(const ks_application* given);

/// The library's part of it.
tool::LibraryHost::Options libraryOptions(const ks_application& application);

/// "exactStays,keptStatistics", "all" or "none"; null means none. Throws `Failure` for other names.
Refinements refinementsFrom(const char* names);

/// What is left of it without "positions,tags"; null means all. Throws `Failure` for other names.
Consent consentWithout(const char* names);

/// The named language and region, or what `otherwise` says.
NSLocale localeOf(const ks_application& application, NSLocale otherwise);

}  // namespace ks::capi
