#include "BeaconSDK/Platform/Linux/Machine/SecretStore.h"

#include <gio/gio.h>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"

namespace ks::SecretStore {

namespace {

constexpr const char* kSecretsName = "org.freedesktop.secrets";
constexpr const char* kPath = "/org/freedesktop/secrets";
constexpr const char* kService = "org.freedesktop.Secret.Service";
constexpr const char* kPrompt = "org.freedesktop.Secret.Prompt";
constexpr BusOptions kOptions{MessageBus::session, true};

std::string problemOf(BusPresence presence) {
  return presence == BusPresence::noBus ? "there is no session bus"
                                        : "no secret store is installed";
}

/// One question: opens a session, finds the item, has it unlocked if need be, and reads it.
class LookUp {
 public:
  LookUp(const std::vector<std::pair<std::string, std::string>>& attributes, Seconds limit)
      : attributes_(attributes), limit_(limit) {
    // The signal may come before the call that it answers has returned.
    store_.onSignals({"", kPrompt, "Completed", "", "(bv)"},
                     [this](std::string_view path, GVariant* parameters) {
                       if (path == prompt_) prompted(parameters);
                     });
  }

  Answer run() {
    loop_.runFor(limit_);
    if (!ended_) answer_.problem = "the secret store did not answer in time";
    return answer_;
  }

 private:
  void presenceChanged(bool present) {
    if (ended_ || begun_) return;
    if (!present && store_.presence() != BusPresence::startable) {
      return fail(problemOf(store_.presence()));
    }
    begun_ = true;
    call(kPath, kService, "OpenSession", g_variant_new("(sv)", "plain", g_variant_new_string("")),
         "(vo)", [this](GVariant* reply) {
           session_ = pathIn(reply, 1);
           search();
         });
  }

  void search() {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [name, value] : attributes_) {
      g_variant_builder_add(&builder, "{ss}", name.c_str(), value.c_str());
    }
    call(kPath, kService, "SearchItems", g_variant_new("(a{ss})", &builder), "(aoao)",
         [this](GVariant* reply) {
           if (const auto item = firstIn(reply, 0)) return read(*item);
           if (const auto item = firstIn(reply, 1)) return unlock(*item);
           fail("the secret store holds no such secret");
         });
  }

  void unlock(const std::string& item) {
    item_ = item;
    const char* const path = item.c_str();
    call(kPath, kService, "Unlock", g_variant_new("(@ao)", g_variant_new_objv(&path, 1)), "(aoo)",
         [this](GVariant* reply) {
           if (const auto unlocked = firstIn(reply, 0)) return read(*unlocked);
           prompt_ = pathIn(reply, 1);
           if (prompt_ == "/") return fail("the secret store stays locked");
           call(prompt_, kPrompt, "Prompt", g_variant_new("(s)", ""), "()", [](GVariant*) {});
         });
  }

  void prompted(GVariant* parameters) {
    gboolean dismissed = FALSE;
    g_variant_get_child(parameters, 0, "b", &dismissed);
    if (dismissed != FALSE) return fail("the secret store was not unlocked");
    read(item_);
  }

  void read(const std::string& item) {
    const char* const path = item.c_str();
    call(kPath, kService, "GetSecrets",
         g_variant_new("(@aoo)", g_variant_new_objv(&path, 1), session_.c_str()), "(a{o(oayays)})",
         [this](GVariant* reply) {
           GVariant* const secrets = g_variant_get_child_value(reply, 0);
           GVariantIter iterator;
           g_variant_iter_init(&iterator, secrets);
           GVariant* bytes = nullptr;
           if (g_variant_iter_next(&iterator, "{o(o@ay@ays)}", nullptr, nullptr, nullptr, &bytes,
                                   nullptr) != FALSE) {
             gsize size = 0;
             const auto* const data =
                 static_cast<const char*>(g_variant_get_fixed_array(bytes, &size, 1));
             answer_.secret = std::string(data, size);
             g_variant_unref(bytes);
           }
           g_variant_unref(secrets);
           if (!answer_.secret) return fail("the secret store did not give the secret");
           end();
         });
  }

  void call(const std::string& path, const char* interface, const char* method,
            GVariant* parameters, const char* replyType, std::function<void(GVariant*)> done) {
    store_.call({path, interface, method, parameters, replyType, limit_},
                [this, done = std::move(done)](GVariant* reply, GUnixFDList*, const GError* error) {
                  if (ended_) return;
                  if (reply != nullptr) return done(reply);
                  fail(std::string("the secret store failed: ") + error->message);
                });
  }

  static std::string pathIn(GVariant* reply, gsize index) {
    const gchar* path = nullptr;
    g_variant_get_child(reply, index, "&o", &path);
    return path;
  }
  static std::optional<std::string> firstIn(GVariant* reply, gsize index) {
    GVariant* const paths = g_variant_get_child_value(reply, index);
    std::optional<std::string> first;
    if (g_variant_n_children(paths) > 0) first = pathIn(paths, 0);
    g_variant_unref(paths);
    return first;
  }

  void fail(std::string problem) {
    answer_.problem = std::move(problem);
    end();
  }
  void end() {
    ended_ = true;
    loop_.quit();
  }

  const std::vector<std::pair<std::string, std::string>>& attributes_;
  Seconds limit_;
  Answer answer_;
  bool begun_ = false;
  bool ended_ = false;
  std::string session_;
  std::string item_;
  std::string prompt_;
  MainLoop loop_;
  MainQueue queue_;
  BusService store_{kSecretsName, queue_, [this](bool present) { presenceChanged(present); },
                    kOptions};
};

}  // namespace

Answer lookUp(const std::vector<std::pair<std::string, std::string>>& attributes, Seconds limit) {
  return LookUp(attributes, limit).run();
}

ServiceState state() {
  constexpr Seconds kPatience{0.5};
  MainLoop loop;
  MainQueue queue;
  bool known = false;
  const BusService store(
      kSecretsName, queue,
      [&](bool) {
        known = true;
        loop.quit();
      },
      kOptions);
  loop.runFor(kPatience);
  const BusPresence presence = known ? store.presence() : BusPresence::noBus;
  if (presence == BusPresence::present || presence == BusPresence::startable) {
    return {"Secret store", true, "a password may lie there", ""};
  }
  return {"Secret store", false,
          problemOf(presence) + "; a password may lie in a file or a service credential",
          presence == BusPresence::noBus ? "apt install dbus-user-session"
                                         : "apt install gnome-keyring"};
}

}  // namespace ks::SecretStore
