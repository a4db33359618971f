/// The proximity engine for programs in C++: owners, std::function and typed events over the C
/// interface, which states threads, lifetimes and errors. Header only, C++17; links libksbeacon.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ksbeacon/ksbeacon.h"

namespace ksbeacon {

/// What a call of the C interface refused.
class Error : public std::runtime_error {
 public:
  Error(ks_status status, const std::string& text) : std::runtime_error(text), status_(status) {}
  ks_status status() const { return status_; }

 private:
  ks_status status_;
};

inline void check(ks_status status) {
  if (status != KS_OK) throw Error(status, ks_last_error());
}

/// One event, kept: its texts are its own.
struct Event {
  explicit Event(const ks_event& event)
      : kind(event.kind),
        at(event.at),
        date(event.date),
        text(event.text),
        json(event.json),
        content(textOf(event.content)),
        zone(textOf(event.zone)),
        detail(textOf(event.detail)),
        message(textOf(event.message)),
        title(textOf(event.title)),
        body(textOf(event.body)),
        page(textOf(event.page)),
        video(textOf(event.video)),
        media(textOf(event.media)),
        icon(textOf(event.icon)),
        entering(event.entering == 1),
        met(event.met == 1) {}

  ks_event_kind kind;
  /// Seconds since the device was created, or the scenario began.
  double at;
  /// Milliseconds since 1970, UTC.
  std::int64_t date;
  std::string text;
  std::string json;
  /// Empty where the event has none.
  std::string content;
  std::string zone;
  std::string detail;
  std::string message;
  /// What a content shows; the last four are URLs.
  std::string title;
  std::string body;
  std::string page;
  std::string video;
  std::string media;
  std::string icon;
  bool entering;
  bool met;

 private:
  static std::string textOf(const char* text) { return text == nullptr ? "" : text; }
};

/// Who uses the library, and how; the members of `ks_application`.
struct Application {
  std::string portalURL;
  std::string username;
  std::string password;
  std::string bundleIdentifier;
  std::string name = {};
  std::string version = {};
  std::string language = {};
  std::string country = {};
  std::string refinements = {};
  std::string certificateAuthorities = {};
  /// Classes of data neither to send nor to keep: "positions,tags".
  std::string without = {};
  /// A file that takes down what enters the device, for `replay`.
  std::string record = {};
  bool recordPrivate = false;
  bool announceOnly = false;
  bool log = false;
};

/// What a device tells; each may be empty. Called on the device's thread. An exception ends the
/// call of `Device` that runs it, and comes out there.
struct Handlers {
  std::function<void(const Event&)> onEvent = {};
  /// A content fired.
  std::function<void(const Event&)> onContent = {};
  /// An event did not fire its content; `detail` names the rule.
  std::function<void(const Event&)> onRefused = {};
  /// The user sees a notification.
  std::function<void(const Event&)> onShown = {};
  /// An attempt to start has ended; empty when the library runs.
  std::function<void(const std::string& problem)> onStarted = {};
  /// Embedded devices: what to listen for.
  std::function<void(const ks_demand&)> onDemand = {};
  /// What ails the library has changed; `json` as from `Device::health`.
  std::function<void(bool isAiling, const std::string& json)> onHealth = {};
};

/// The library on one device; a process has at most one. Belongs to the thread that made it.
class Device {
 public:
  /// A device that its host feeds; `folder` holds what outlives the process.
  static Device embedded(const Application& application, Handlers handlers,
                         const std::string& folder, const std::string& timeZone = "UTC") {
    return Device(std::move(handlers), application,
                  [&](const ks_application& who, const ks_callbacks& callbacks, ks_device** made) {
                    return ks_create_embedded(&who, &callbacks, folder.c_str(), timeZone.c_str(),
                                              made);
                  });
  }
  /// This Linux machine.
  static Device linuxMachine(const Application& application, Handlers handlers) {
    return Device(std::move(handlers), application,
                  [](const ks_application& who, const ks_callbacks& callbacks, ks_device** made) {
                    return ks_create_linux(&who, &callbacks, made);
                  });
  }

  void start() { call(ks_start(handle())); }
  /// False when nothing was due within the time; below 0: waits for as long as it takes.
  bool runOnce(std::int32_t timeoutMilliseconds) {
    std::int32_t ran = 0;
    call(ks_run_once(handle(), timeoutMilliseconds, &ran));
    return ran != 0;
  }
  /// Readable while `runOnce` has something to do.
  int descriptor() const {
    std::int32_t descriptor = -1;
    check(ks_descriptor(handle(), &descriptor));
    return descriptor;
  }

  void setActive(bool active) { call(ks_set_active(handle(), active ? 1 : 0)); }
  void fetch() { call(ks_fetch(handle())); }
  void reset() { call(ks_reset(handle())); }
  void setTag(const std::string& name, const std::string& value) {
    call(ks_set_tag(handle(), name.c_str(), value.c_str()));
  }
  void deleteTag(const std::string& name) { call(ks_delete_tag(handle(), name.c_str())); }
  void clearTags() { call(ks_delete_tag(handle(), nullptr)); }
  void enableCategory(const std::string& identifier, bool enabled) {
    call(ks_enable_category(handle(), identifier.c_str(), enabled ? 1 : 0));
  }
  void openContent(const std::string& content) { call(ks_open_content(handle(), content.c_str())); }
  void showContent(const std::string& content) { call(ks_show_content(handle(), content.c_str())); }

  struct Category {
    std::string identifier;
    std::string name;
    bool isEnabled;
  };
  std::vector<Category> categories() {
    std::vector<Category> found;
    const auto add = [](void* list, const char* identifier, const char* name, std::int32_t on) {
      static_cast<std::vector<Category>*>(list)->push_back({identifier, name, on != 0});
    };
    call(ks_categories(handle(), add, &found));
    return found;
  }

  /// The state of the library as one JSON object; see `ks_health`.
  std::string health() {
    std::string text;
    const auto keep = [](void* to, const char* json) { *static_cast<std::string*>(to) = json; };
    call(ks_health(handle(), keep, &text));
    return text;
  }
  /// Classes of data neither to send nor to keep from now on; "" for none.
  void setConsent(const std::string& without) { call(ks_set_consent(handle(), without.c_str())); }
  /// Ends the library for good and removes everything that it holds on this device.
  void purge() { call(ks_purge(handle())); }

  /// What an embedded device hears.
  void advertisement(const std::string& address, const std::vector<std::uint8_t>& elements,
                     double rssi) {
    call(ks_advertisement(handle(), address.c_str(), elements.data(), elements.size(), rssi));
  }
  void manufacturerData(const std::string& address, std::uint16_t company,
                        const std::vector<std::uint8_t>& bytes, double rssi) {
    call(
        ks_manufacturer_data(handle(), address.c_str(), company, bytes.data(), bytes.size(), rssi));
  }
  void position(double latitude, double longitude, double accuracy) {
    call(ks_position(handle(), latitude, longitude, accuracy));
  }
  void positionLost() { call(ks_position_lost(handle())); }
  void setBluetooth(bool powered) { call(ks_set_bluetooth(handle(), powered ? 1 : 0)); }

 private:
  /// Where the library's callbacks find the handlers, however the device is moved.
  struct State {
    Handlers handlers;
    std::exception_ptr raised;
  };
  struct Destroy {
    void operator()(ks_device* device) const { ks_destroy(device); }
  };

  template <class Create>
  Device(Handlers handlers, const Application& application, Create create)
      : state_(std::make_unique<State>()) {
    state_->handlers = std::move(handlers);
    const auto optional = [](const std::string& text) {
      return text.empty() ? nullptr : text.c_str();
    };
    ks_application who{};
    who.size = sizeof(who);
    who.portal_url = application.portalURL.c_str();
    who.username = application.username.c_str();
    who.password = application.password.c_str();
    who.bundle_identifier = application.bundleIdentifier.c_str();
    who.name = optional(application.name);
    who.version = optional(application.version);
    who.language = optional(application.language);
    who.country = optional(application.country);
    who.refinements = optional(application.refinements);
    who.certificate_authorities = optional(application.certificateAuthorities);
    who.without = optional(application.without);
    who.record = optional(application.record);
    who.record_private = application.recordPrivate ? 1 : 0;
    who.announce_only = application.announceOnly ? 1 : 0;
    who.log = application.log ? 1 : 0;
    ks_callbacks callbacks{};
    callbacks.size = sizeof(callbacks);
    callbacks.user_data = state_.get();
    callbacks.event = [](void* state, const ks_event* event) {
      protect(state, [&](Handlers& to) { tell(to, Event(*event)); });
    };
    callbacks.started = [](void* state, const char* problem) {
      protect(state, [&](Handlers& to) {
        if (to.onStarted) to.onStarted(problem == nullptr ? "" : problem);
      });
    };
    callbacks.demand = [](void* state, const ks_demand* demand) {
      protect(state, [&](Handlers& to) {
        if (to.onDemand) to.onDemand(*demand);
      });
    };
    callbacks.health = [](void* state, std::int32_t ailing, const char* json) {
      protect(state, [&](Handlers& to) {
        if (to.onHealth) to.onHealth(ailing != 0, json);
      });
    };
    ks_device* made = nullptr;
    check(create(who, callbacks, &made));
    device_.reset(made);
  }

  ks_device* handle() const { return device_.get(); }

  static void tell(const Handlers& to, const Event& event) {
    if (to.onEvent) to.onEvent(event);
    if (event.kind == KS_EVENT_TRIGGER && to.onContent) to.onContent(event);
    if (event.kind == KS_EVENT_REFUSAL && to.onRefused) to.onRefused(event);
    const bool isShown = event.kind == KS_EVENT_NOTIFICATION && event.detail == "shown";
    if (isShown && to.onShown) to.onShown(event);
  }

  /// Nothing may be thrown through the library: what is comes out of `call`.
  template <class Body>
  static void protect(void* pointer, Body body) {
    auto& state = *static_cast<State*>(pointer);
    try {
      body(state.handlers);
    } catch (...) {
      if (!state.raised) state.raised = std::current_exception();
    }
  }

  void call(ks_status status) {
    if (const auto raised = std::exchange(state_->raised, nullptr)) std::rethrow_exception(raised);
    check(status);
  }

  std::unique_ptr<State> state_;
  std::unique_ptr<ks_device, Destroy> device_;
};

namespace detail {

/// A run's listener, and what it threw.
struct Run {
  const std::function<void(const Event&)>& onEvent;
  std::exception_ptr raised;

  static std::int32_t happened(void* pointer, const ks_event* event) {
    auto& to = *static_cast<Run*>(pointer);
    try {
      if (to.onEvent) to.onEvent(Event(*event));
      return 0;
    } catch (...) {
      to.raised = std::current_exception();
      return 1;
    }
  }
  void finish(ks_status status) const {
    if (raised) std::rethrow_exception(raised);
    check(status);
  }
};

}  // namespace detail

/// Lives through a scenario; see `ks_run_scenario`. `onEvent` may be empty.
inline ks_scenario_result runScenario(const std::string& path,
                                      const std::function<void(const Event&)>& onEvent = {}) {
  detail::Run run{onEvent, nullptr};
  ks_scenario_result result{};
  result.size = sizeof(result);
  run.finish(ks_run_scenario(path.c_str(), nullptr, detail::Run::happened, &run, &result));
  return result;
}

/// Lives through a recording again; throws where it departs from it. `onEvent` may be empty.
inline void replay(const std::string& path, const std::function<void(const Event&)>& onEvent = {}) {
  detail::Run run{onEvent, nullptr};
  run.finish(ks_replay(path.c_str(), nullptr, detail::Run::happened, &run));
}

/// Why a content fired or did not in a scenario or a recording, as one JSON object; see `ks_why`.
inline std::string why(const std::string& path, const std::string& name, double at = -1) {
  std::string text;
  const auto keep = [](void* to, const char* json) { *static_cast<std::string*>(to) = json; };
  check(ks_why(path.c_str(), name.c_str(), at, nullptr, keep, &text));
  return text;
}

}  // namespace ksbeacon
