#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// One method call. `parameters` may be floating and is consumed; a reply of another type than
/// `replyType` counts as an error.
struct BusCall {
  std::string path;
  std::string interface;
  std::string method;
  GVariant* parameters = nullptr;
  const char* replyType = nullptr;
  Seconds timeout{5};
};

/// Which of the service's signals are meant. Empty texts match all.
struct BusSignals {
  std::string path;
  std::string interface;
  std::string member;
  /// The signal's first argument, where that is a text.
  std::string argument0;
  /// Signals whose parameters have another type are left out.
  const char* type = "()";
};

/// One interface of an object that the service may call; calls of anybody else are refused.
struct BusObject {
  std::string path;
  /// The interface in the bus's introspection form, within a <node>.
  std::string description;
  /// Returns the reply's parameters, null for none. The parameters have the described type.
  std::function<GVariant*(std::string_view method, GVariant* parameters)> call;
  /// Only described properties are asked for. May be null when there are none.
  std::function<GVariant*(std::string_view property)> property;
};

enum class MessageBus { system, session };

struct BusOptions {
  MessageBus bus = MessageBus::system;
  /// Lets calls start the service where the bus knows how.
  bool mayStart = false;
};

/// How a service stands on its bus.
enum class BusPresence {
  /// The bus has not answered yet.
  unknown,
  noBus,
  absent,
  /// Absent, but a call would start it.
  startable,
  present,
};

/// A service on a message bus, followed by its name: told when it comes and goes, also when the bus
/// itself does.
///
/// Main thread only; nothing blocks. No callback comes from within a call, nor after the service
/// object is gone.
class BusService {
 public:
  /// `reply` is null on failure, `error` on success. `descriptors` may be null.
  using Reply = std::function<void(GVariant* reply, GUnixFDList* descriptors, const GError* error)>;
  using Signal = std::function<void(GVariant* parameters)>;
  using PathSignal = std::function<void(std::string_view path, GVariant* parameters)>;

  /// `presence` is told once whether the service is there, and then of every change; also, with
  /// false, when an absent service becomes startable.
  BusService(std::string name, DispatchQueue& queue, std::function<void(bool present)> presence,
             BusOptions options = {});
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;
  ~BusService();

  BusPresence presence() const;
  bool isPresent() const { return presence() == BusPresence::present; }
  /// Fails at once, in a task of its own, while the service is neither present nor startable.
  void call(const BusCall& call, Reply reply);
  /// Subscribes for as long as the service object lives, over restarts of the service and the bus.
  /// Signals whose parameters have another type are left out.
  void onSignal(std::string path, std::string interface, std::string member, const char* type,
                Signal handler);
  /// The same for signals of any path, in one subscription; returns its number.
  std::uint64_t onSignals(const BusSignals& signals, PathSignal handler);
  /// Ends all subscriptions to `path`.
  void forgetSignals(const std::string& path);
  /// Ends one subscription.
  void forgetSignals(std::uint64_t subscription);
  /// Offers an object for as long as the service object lives, over restarts of the bus.
  void exportObject(BusObject object);
  /// Takes the objects at `path` back; none of their functions is called any more.
  void withdrawObjects(const std::string& path);

 private:
  class Core;
  std::shared_ptr<Core> core_;
};

/// Returns what the service said of its error, fit for one line: without the bus's prefix and
/// control characters, at most 200 characters.
std::string busErrorText(const GError& error);

}  // namespace ks
