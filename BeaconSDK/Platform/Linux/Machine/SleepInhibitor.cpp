#include "BeaconSDK/Platform/Linux/Machine/SleepInhibitor.h"

#include <unistd.h>

#include <string_view>
#include <utility>

namespace ks {

namespace {

constexpr const char* kBlock = "block";
constexpr const char* kDelay = "delay";

}  // namespace

SleepInhibitor::SleepInhibitor(BusService& login, std::string applicationName,
                               std::function<void(const std::string&)> refused)
    : login_(login), applicationName_(std::move(applicationName)), refused_(std::move(refused)) {}

void SleepInhibitor::setWanted(bool wanted) {
  wanted_ = wanted;
  if (wanted) {
    take(kBlock);
  } else {
    release();
  }
}

void SleepInhibitor::servicePresenceChanged() {
  release();
  if (wanted_) take(kBlock);
}

void SleepInhibitor::take(const char* mode) {
  if (isHeld() || asking_ || !login_.isPresent()) return;
  asking_ = true;
  login_.call({.path = "/org/freedesktop/login1",
               .interface = "org.freedesktop.login1.Manager",
               .method = "Inhibit",
               .parameters = g_variant_new("(ssss)", "sleep", applicationName_.c_str(),
                                           "Background work is under way", mode),
               .replyType = "(h)"},
              [this, mode](GVariant*, GUnixFDList* descriptors, const GError* error) {
                taken(mode, descriptors, error);
              });
}

void SleepInhibitor::taken(const char* mode, GUnixFDList* descriptors, const GError* error) {
  asking_ = false;
  const bool granted =
      error == nullptr && descriptors != nullptr && g_unix_fd_list_get_length(descriptors) == 1;
  if (granted) {
    toldOfRefusal_ = false;
    // What came too late goes with the list.
    if (wanted_) lock_ = g_unix_fd_list_get(descriptors, 0, nullptr);
    return;
  }
  if (!wanted_) return;
  if (std::string_view(mode) == kBlock) {
    take(kDelay);
  } else if (!std::exchange(toldOfRefusal_, true)) {
    refused_(error != nullptr ? error->message : "the login service gave no lock");
  }
}

void SleepInhibitor::release() {
  if (isHeld()) ::close(std::exchange(lock_, -1));
}

}  // namespace ks
