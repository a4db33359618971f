#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "BeaconSDK/Platform/Linux/Notifications/DesktopNotificationCenter.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

/// A notification centre on a private bus.
class NotificationFixture : public testing::Test {
 protected:
  static constexpr const char* kName = "org.freedesktop.Notifications";
  static constexpr const char* kMock = "org.freedesktop.DBus.Mock";

  struct MovedClock : SystemClock {
    Seconds uptime() const override { return SystemClock::uptime() + moved; }
    Seconds moved{0};
  };
  struct Nobody : LocationDemandListener {
    void locationDemandChanged(const LocationDemand& /*demand*/) override {}
  };

  static ChildProcess standIn(const std::string& parameters) {
    return ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--session", "--template",
                         script("notifications.py").string(), "-p", parameters});
  }
  void makeCenter() { center_ = std::make_unique<DesktopNotificationCenter>(context_); }
  bool becomes(const std::string& detail) {
    return runLoopUntil([&] { return center_->state().detail.find(detail) != std::string::npos; });
  }
  /// Starts the stand-in, in place of an earlier one, and waits until the centre has found it.
  void start(const std::string& parameters, const std::string& detail = "shown by Stand-in 1.0") {
    if (!center_) makeCenter();
    if (service_.isRunning()) {
      service_.end();
      ASSERT_TRUE(becomes("no notification service"));
    }
    service_ = standIn(parameters);
    ASSERT_TRUE(becomes(detail)) << center_->state().detail;
  }

  static UNNotificationRequest request(const std::string& identifier, const std::string& body) {
    UNNotificationRequest made;
    made.identifier = identifier;
    made.content.body = body;
    made.content.userInfo = {{"beaconIdentifier", identifier}};
    made.trigger.timeInterval = Seconds{0.01};
    return made;
  }
  /// Waits for the centre's answer: 0, or the error's code.
  std::int64_t add(UNNotificationRequest request) {
    std::optional<std::int64_t> code;
    center_->addNotificationRequest(std::move(request), [&](const std::optional<Error>& error) {
      code = error ? error->code() : 0;
    });
    runLoopUntil([&] { return code.has_value(); });
    return code.value_or(-1);
  }
  std::vector<std::string> shown() const {
    std::vector<std::string> bodies;
    for (const auto& each : center_->deliveredNotifications()) bodies.push_back(each.content.body);
    return bodies;
  }
  bool waitForShown(const std::vector<std::string>& bodies) {
    return runLoopUntil([&] { return shown() == bodies; });
  }

  /// Calls the stand-in; null when it refuses.
  GLibOwned<GVariant> ask(const std::string& interface, const std::string& method,
                          GVariant* parameters) {
    GLibOwned<GVariant> answer;
    bool isDone = false;
    const GLibOwned<GVariant> kept(g_variant_ref_sink(parameters));
    runLoopUntil([&] { return control_.isPresent(); });
    control_.call({"/org/freedesktop/Notifications", interface, method, kept.get()},
                  [&](GVariant* reply, GUnixFDList*, const GError*) {
                    if (reply != nullptr) answer.reset(g_variant_ref(reply));
                    isDone = true;
                  });
    runLoopUntil([&] { return isDone; });
    return answer;
  }
  void emit(const char* member, const char* type, GVariant* arguments) {
    ASSERT_TRUE(ask(kMock, "EmitSignal", g_variant_new("(sss@av)", "", member, type, arguments)));
  }
  void emitAction(std::uint32_t number, const char* action) {
    emit("ActionInvoked", "us", g_variant_new_parsed("[<%u>, <%s>]", number, action));
  }
  /// The arguments of every call of `method` so far, with "~1" for the first picture's file.
  std::vector<std::string> calls(const char* method) {
    std::vector<std::string> texts;
    std::map<std::string, std::size_t> pictures;
    const auto reply = ask(kMock, "GetMethodCalls", g_variant_new("(s)", method));
    if (!reply) return texts;
    GVariantIter* iterator = nullptr;
    g_variant_get(reply.get(), "(a(tav))", &iterator);
    GVariant* each = nullptr;
    while (g_variant_iter_next(iterator, "(t@av)", nullptr, &each) != FALSE) {
      const GLibOwned<gchar> text(g_variant_print(each, FALSE));
      std::string line = text.get();
      const std::string folder = "file://" + folder_.path().string() + "/notifications/";
      for (auto at = line.find(folder); at != std::string::npos; at = line.find(folder)) {
        const auto size = line.find('\'', at) - at;
        const auto number = pictures.try_emplace(line.substr(at, size), pictures.size() + 1);
        line.replace(at, size, "~" + std::to_string(number.first->second));
      }
      texts.push_back(line);
      g_variant_unref(each);
    }
    g_variant_iter_free(iterator);
    return texts;
  }
  std::filesystem::path file(const std::string& name, const std::string& content) {
    writeText(folder_.path() / name, content);
    return folder_.path() / name;
  }
  /// The content of each picture's file.
  std::vector<std::string> keptPictures() const {
    std::error_code ignored;
    std::vector<std::string> texts;
    for (const auto& each :
         std::filesystem::directory_iterator(folder_.path() / "notifications", ignored)) {
      texts.push_back(readText(each.path()));
    }
    return texts;
  }

  PrivateBus bus_;
  TemporaryFolder folder_;
  MovedClock clock_;
  MainQueue queue_;
  NSNotificationCenter notifications_;
  RecordingConsole console_;
  FileLocationStateStore store_{folder_.path() / "regions", console_};
  Nobody nobody_;
  LocationEngine location_{clock_, queue_, store_, nobody_};
  const Directories directories_{folder_.path(), folder_.path(), folder_.path()};
  const std::string name_ = "kiosk";
  const std::string bundle_ = "com.acme.kiosk";
  const LinuxServiceContext context_{clock_,    queue_,       console_, notifications_,
                                     location_, directories_, name_,    bundle_};
  ChildProcess service_;
  BusService control_{kName, queue_, [](bool) {}, {MessageBus::session, false}};
  std::unique_ptr<DesktopNotificationCenter> center_;
};

}  // namespace ks::test
