/// What every device does: running, and the application's dealings with the library.
#include <algorithm>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "bindings/c/source/Application.h"
#include "bindings/c/source/Device.h"

using ks::capi::Failure;
using ks::capi::guarded;
using ks::capi::required;

namespace {

template <class Body>
ks_status onDevice(ks_device* device, Body&& body) noexcept {
  return guarded([&] {
    if (device == nullptr) throw Failure(KS_ERROR_ARGUMENT, "device is null");
    device->checkThread();
    body(*device);
  });
}

}  // namespace

ks_status ks_destroy(ks_device* device) {
  if (device == nullptr) return KS_OK;
  return onDevice(device, [](ks_device& target) {
    target.checkOutside();
    delete &target;
  });
}

ks_status ks_start(ks_device* device) {
  return onDevice(device, [](ks_device& target) { target.start(); });
}

ks_status ks_run_once(ks_device* device, int32_t timeout_ms, int32_t* ran) {
  return onDevice(device, [&](ks_device& target) {
    const bool didRun = target.runOnce(ks::Seconds{timeout_ms / 1000.0});
    if (ran != nullptr) *ran = didRun ? 1 : 0;
  });
}

ks_status ks_descriptor(ks_device* device, int32_t* descriptor) {
  return onDevice(device, [&](ks_device& target) {
    if (descriptor == nullptr) throw Failure(KS_ERROR_ARGUMENT, "descriptor is null");
    *descriptor = target.descriptor();
  });
}

ks_status ks_set_active(ks_device* device, int32_t active) {
  return onDevice(device, [&](ks_device& target) { target.setActive(active != 0); });
}

ks_status ks_fetch(ks_device* device) {
  return onDevice(device, [](ks_device& target) { target.call("fetch"); });
}

ks_status ks_reset(ks_device* device) {
  return onDevice(device, [](ks_device& target) { target.call("reset"); });
}

ks_status ks_set_tag(ks_device* device, const char* name, const char* value) {
  return onDevice(device, [&](ks_device& target) {
    target.call("setTag", {{"name", required(name, "name")}, {"value", ks::capi::optional(value)}});
  });
}

ks_status ks_delete_tag(ks_device* device, const char* name) {
  return onDevice(device, [&](ks_device& target) {
    name == nullptr ? target.call("clearTags") : target.call("deleteTag", {{"name", name}});
  });
}

ks_status ks_categories(ks_device* device, void (*each)(void*, const char*, const char*, int32_t),
                        void* user_data) {
  return onDevice(device, [&](ks_device& target) {
    if (each == nullptr) throw Failure(KS_ERROR_ARGUMENT, "each is null");
    KSSettingsManager& settings = target.manager().settingsManager();
    for (const auto& category : settings.contentCategories()) {
      each(user_data, category->identifier.value_or("").c_str(),
           category->name.value_or("").c_str(), settings.contentCategoryEnabled(*category) ? 1 : 0);
    }
  });
}

ks_status ks_enable_category(ks_device* device, const char* identifier, int32_t enabled) {
  return onDevice(device, [&](ks_device& target) {
    const std::string wanted = required(identifier, "identifier");
    const auto categories = target.manager().settingsManager().contentCategories();
    const bool isKnown = std::ranges::any_of(
        categories, [&](const auto& category) { return category->identifier == wanted; });
    if (!isKnown) throw Failure(KS_ERROR_ARGUMENT, "there is no category '" + wanted + "'");
    target.call("switchCategory", {{"name", wanted}, {"on", enabled != 0}});
  });
}

ks_status ks_open_content(ks_device* device, const char* content) {
  return onDevice(device, [&](ks_device& target) {
    target.call("open", {{"name", required(content, "content")}});
  });
}

ks_status ks_show_content(ks_device* device, const char* content) {
  return onDevice(device, [&](ks_device& target) {
    target.call("show", {{"name", required(content, "content")}});
  });
}

ks_status ks_health(ks_device* device, void (*told)(void*, const char*), void* user_data) {
  return onDevice(device, [&](ks_device& target) {
    if (told == nullptr) throw Failure(KS_ERROR_ARGUMENT, "told is null");
    told(user_data, target.healthText().c_str());
  });
}

ks_status ks_set_consent(ks_device* device, const char* without) {
  return onDevice(device, [&](ks_device& target) {
    target.call("setConsent",
                {{"without", ks::tool::withoutList(ks::capi::consentWithout(without))}});
  });
}

ks_status ks_purge(ks_device* device) {
  return onDevice(device, [](ks_device& target) { target.call("purge"); });
}
