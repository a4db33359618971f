/* The proximity engine for programs in C and for other languages' bindings.
 *
 * A device is the library on one machine, from `ks_create_...` to `ks_destroy`; a process has at
 * most one at a time. A scenario is a whole simulated day, run by one call.
 *
 * Threads: a device belongs to the thread that created it. Every call that takes a device, and
 * every callback, happens on that thread; from any other, a call changes nothing and returns
 * KS_ERROR_THREAD. Functions without a device may be called on any thread.
 *
 * Structures begin with their own size, `sizeof(struct)` as the caller was compiled: later versions
 * add members at the end, and what a caller does not know counts as 0. Texts are UTF-8 and end with
 * a zero byte. Texts handed to a callback live until it returns. A null text counts as absent where
 * its member says so.
 *
 * Errors are codes; `ks_last_error` says more about the last call of the thread that failed. No C++
 * exception leaves the library, and callbacks must not throw into it. */
#ifndef KSBEACON_H
#define KSBEACON_H

#include <stddef.h>
#include <stdint.h>

#define KS_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Errors ---- */

typedef int32_t ks_status;
enum {
  KS_OK = 0,
  /* A null pointer, a structure without a size, a text or number that is not allowed. */
  KS_ERROR_ARGUMENT = 1,
  /* The device belongs to another thread. */
  KS_ERROR_THREAD = 2,
  /* Not now: the process has a device already, the library is not started, or the call came from a
   * callback that must not make it. */
  KS_ERROR_STATE = 3,
  /* This build or this device has no such part. */
  KS_ERROR_UNAVAILABLE = 4,
  /* A scenario or a document has a mistake; `ks_last_error` names file, line and member. */
  KS_ERROR_INPUT = 5,
  /* A folder, a file or a descriptor cannot be had; another process uses the folders. */
  KS_ERROR_SYSTEM = 6,
  KS_ERROR_MEMORY = 7,
  /* A fault of the library. */
  KS_ERROR_INTERNAL = 8
};

/* "the device belongs to another thread"; never null. */
KS_API const char* ks_status_text(ks_status status);
/* The message of the last failed call of this thread; "" when none has failed. Valid until the
 * thread's next failed call. */
KS_API const char* ks_last_error(void);
/* "1.0.0". */
KS_API const char* ks_version(void);

/* ---- Events ---- */

/* Kinds of events; docs/timeline.md describes each. */
typedef int32_t ks_event_kind;
enum {
  KS_EVENT_APPLICATION = 0,
  KS_EVENT_POSITION = 1,
  KS_EVENT_REGION = 2,
  KS_EVENT_RANGING = 3,
  KS_EVENT_REQUEST = 4,
  KS_EVENT_TRIGGER = 5,
  KS_EVENT_DWELLING = 6,
  KS_EVENT_REFUSAL = 7,
  KS_EVENT_NOTIFICATION = 8,
  KS_EVENT_STATISTIC = 9,
  KS_EVENT_HTTP = 10,
  KS_EVENT_CACHE = 11,
  KS_EVENT_LOG = 12,
  KS_EVENT_EXPECTATION = 13,
  KS_EVENT_PRESENCE = 14,
  /* A kind without a number in this version; its name is in `json`. */
  KS_EVENT_OTHER = 255
};

typedef struct ks_event {
  uint32_t size;
  ks_event_kind kind;
  /* Seconds since the device was created, or the scenario began. */
  double at;
  /* Milliseconds since 1970, UTC. */
  int64_t date;
  /* One line for a person. */
  const char* text;
  /* One line for a program: the object of docs/timeline.md. */
  const char* json;
  /* The content's and the zone's identifier; may be null. */
  const char* content;
  const char* zone;
  /* For triggers, waits, refusals and presences: 1 for an entry, 0 for an exit; else -1. */
  int32_t entering;
  /* A refusal's rule, a notification's action, a region's change, a statistic's event; else null.
   */
  const char* detail;
  /* For expectations: 1 met, 0 not met; else -1. */
  int32_t met;
  /* The text of a notification; else null. */
  const char* message;
  /* Triggers, notifications and contents that the user opens: what the content shows; null where it
   * has none. The last four are URLs. */
  const char* title;
  const char* body;
  const char* page;
  const char* video;
  const char* media;
  const char* icon;
} ks_event;

/* ---- A device ---- */

typedef struct ks_device ks_device;

/* The application, and how it uses the library. */
typedef struct ks_application {
  uint32_t size;
  /* Non-zero: the library writes its trace, as events of kind KS_EVENT_LOG. */
  uint32_t log;
  /* The portal's root, "https://portal.example.com/app", and the user there. Required. */
  const char* portal_url;
  const char* username;
  const char* password;
  /* "com.example.app"; names the application's folders on Linux. Required. */
  const char* bundle_identifier;
  /* Shown to people; null: the bundle identifier. */
  const char* name;
  /* Null: none. */
  const char* version;
  /* "it" and "IT"; null: the system's, or "en" and "US" on an embedded device. */
  const char* language;
  const char* country;
  /* Behaviour beyond the default: "exactStays,keptStatistics", "all"; null: none. */
  const char* refinements;
  /* A PEM file of certificates trusted in addition to the system's; may be null. */
  const char* certificate_authorities;
  /* Non-zero: contents are only announced; 0: each is also shown as a notification. */
  uint32_t announce_only;
  /* Non-zero: `record` holds no tags and only rough positions. */
  uint32_t record_private;
  /* Classes of data neither to send nor to store, as in `ks_set_consent`; null: none. */
  const char* without;
  /* A file in which the device's input is recorded, for `ks_replay`; null: none. It never holds the
   * password. */
  const char* record;
} ks_application;

typedef struct ks_demand {
  uint32_t size;
  /* 0: no advertisements are needed; 1: each beacon every few seconds; 2: every advertisement. */
  uint32_t advertisements;
  /* Required uncertainty of positions in metres; negative: none are needed. */
  double position_accuracy;
  /* Maximum time between two positions in seconds. */
  double position_interval;
} ks_demand;

/* Called from `ks_run_once` and `ks_start`; each may be null. */
typedef struct ks_callbacks {
  uint32_t size;
  uint32_t reserved;
  /* Passed to each callback. */
  void* user_data;
  void (*event)(void* user_data, const ks_event* event);
  /* An attempt to start has ended; `problem` is null when the library runs. */
  void (*started)(void* user_data, const char* problem);
  /* Embedded devices: called when the demand for input has changed. */
  void (*demand)(void* user_data, const ks_demand* demand);
  /* Called when the library's problems have changed, checked after each attempt to start and every
   * 15 s; `ailing` is 0 without problems, `json` as from `ks_health`. */
  void (*health)(void* user_data, int32_t ailing, const char* json);
} ks_callbacks;

/* A device whose host supplies the input. `folder` holds everything that outlives the process;
 * it is created when missing. `time_zone` is an Olson name, null for UTC. */
KS_API ks_status ks_create_embedded(const ks_application* application,
                                    const ks_callbacks* callbacks, const char* folder,
                                    const char* time_zone, ks_device** device);
/* This Linux machine: its Bluetooth, positions, desktop and folders. */
KS_API ks_status ks_create_linux(const ks_application* application, const ks_callbacks* callbacks,
                                 ks_device** device);
/* Ends the library and frees the device; null is allowed. Not from a callback. */
KS_API ks_status ks_destroy(ks_device* device);

/* Starts the library; `started` is called with the result. Does nothing while the library runs
 * or starts. */
KS_API ks_status ks_start(ks_device* device);
/* Waits at most `timeout_ms` until something is due and runs it; negative: without limit. `ran`
 * receives 1 when something was due, else 0; may be null. Not from a callback. */
KS_API ks_status ks_run_once(ks_device* device, int32_t timeout_ms, int32_t* ran);
/* A descriptor for poll(2) and select(2), readable while `ks_run_once` has something to do;
 * owned by the library. Linux devices have none: they use GLib's default main context. */
KS_API ks_status ks_descriptor(ks_device* device, int32_t* descriptor);

/* Call when the application came to the front, or went to the back; initially at the back. */
KS_API ks_status ks_set_active(ks_device* device, int32_t active);
/* Requests what is out of date from the portal, as a system's background fetch does. */
KS_API ks_status ks_fetch(ks_device* device);
/* Stops all monitoring, and drops zones and locations. */
KS_API ks_status ks_reset(ks_device* device);

/* Sets one of the user's tags, which are sent with requests and stored across restarts. */
KS_API ks_status ks_set_tag(ks_device* device, const char* name, const char* value);
/* A null name deletes all tags. */
KS_API ks_status ks_delete_tag(ks_device* device, const char* name);

/* Calls `each` for every category of the portal's list, in its order; none before the first list
 * arrived. */
KS_API ks_status ks_categories(ks_device* device,
                               void (*each)(void* user_data, const char* identifier,
                                            const char* name, int32_t enabled),
                               void* user_data);
/* KS_ERROR_ARGUMENT when the list has no such category. */
KS_API ks_status ks_enable_category(ks_device* device, const char* identifier, int32_t enabled);

/* Reports to the portal that the user opened an announced content. */
KS_API ks_status ks_open_content(ks_device* device, const char* content);
/* Shows an announced content as a notification. */
KS_API ks_status ks_show_content(ks_device* device, const char* content);

/* ---- Input of an embedded device; KS_ERROR_UNAVAILABLE on others ---- */

/* Processes one Bluetooth Low Energy advertisement, given as its length-type-value elements.
 * Malformed elements are ignored. `address` identifies the sender; `rssi` is in dBm. */
KS_API ks_status ks_advertisement(ks_device* device, const char* address, const uint8_t* elements,
                                  size_t count, double rssi);
/* As above, where the system has extracted the manufacturer data: `bytes` follow the company. */
KS_API ks_status ks_manufacturer_data(ks_device* device, const char* address, uint16_t company,
                                      const uint8_t* bytes, size_t count, double rssi);
/* Processes a position: degrees, and metres of uncertainty. */
KS_API ks_status ks_position(ks_device* device, double latitude, double longitude, double accuracy);
/* Call when no positions are available for now. */
KS_API ks_status ks_position_lost(ks_device* device);
/* Call when the radio was switched on or off; initially on. */
KS_API ks_status ks_set_bluetooth(ks_device* device, int32_t powered);
/* 0 not determined, 1 restricted, 2 denied, 3 always, 4 when in use; initially always. */
KS_API ks_status ks_set_permission(ks_device* device, int32_t permission);

/* ---- Health, and what the user permits ---- */

/* Calls `told` with the state of the library as one JSON object: its facts, and "ailments", each
 * with a stable "reason", a sentence and what to do. */
KS_API ks_status ks_health(ks_device* device, void (*told)(void* user_data, const char* json),
                           void* user_data);
/* Classes of data that are neither sent nor stored from now on:
 * "positions,statistics,tags,identifiers" or some of them; null or "": none. Stored data of
 * these classes is removed. The choice itself is not stored. */
KS_API ks_status ks_set_consent(ks_device* device, const char* without);
/* Ends the library permanently and removes everything that it stores on this device. */
KS_API ks_status ks_purge(ks_device* device);

/* ---- A scenario, a recording ---- */

typedef struct ks_scenario_options {
  uint32_t size;
  /* Non-zero: `seed` replaces the scenario's. */
  uint32_t has_seed;
  uint64_t seed;
  /* Ends after so many seconds; 0: where the scenario ends. */
  double until;
  /* Replaces the scenario's refinements: as in `ks_application`, or "none"; null: the
   * scenario's. */
  const char* refinements;
  /* Replaces the scenario's folder of portal documents; null: the scenario's. */
  const char* documents;
  /* Non-zero: every ranging result is an event, else only those that change something. */
  uint32_t every_ranging;
  /* Non-zero: the library's trace as events. */
  uint32_t log;
  /* Runs as this visitor of the scenario's population, from 1; 0: the scenario's own walk. Events
   * then count from the visitor's arrival. */
  uint64_t visitor;
  /* Non-zero: only triggers, refusals, notifications, statistics and presences are events. */
  uint32_t effects_only;
  uint32_t reserved;
} ks_scenario_options;

typedef struct ks_scenario_result {
  uint32_t size;
  uint32_t expectations;
  /* How many of them were met. */
  uint32_t met;
  uint32_t reserved;
} ks_scenario_result;

/* Runs a scenario file (docs/scenarios.md) in virtual time, without a network, calling `event`
 * for each event; equal files and options give equal events. `event` returns 0 to continue; any
 * other value ends the run, which then returns KS_ERROR_STATE. `options`, `event` and `result`
 * may be null. */
KS_API ks_status ks_run_scenario(const char* path, const ks_scenario_options* options,
                                 int32_t (*event)(void* user_data, const ks_event* event),
                                 void* user_data, ks_scenario_result* result);
/* Calls `told` with the population of a scenario as one JSON object: "visitors", "days", "places",
 * "zones" with what the portal's documents have there, and more. Of `options`
 * only `documents` applies. KS_ERROR_INPUT when the scenario has no population, or the
 * documents have a mistake. */
KS_API ks_status ks_population(const char* path, const ks_scenario_options* options,
                               void (*told)(void* user_data, const char* json), void* user_data);
/* Replays a recording and checks that everything happens as recorded; returns KS_ERROR_STATE,
 * with the first difference, where it does not. Of `options` only `until`, `refinements`,
 * `documents` and `every_ranging` apply; with other refinements or documents nothing is
 * compared. `event` as above. */
KS_API ks_status ks_replay(const char* path, const ks_scenario_options* options,
                           int32_t (*event)(void* user_data, const ks_event* event),
                           void* user_data);
/* Explains why a content, named by its own or its zone's identifier, fired or did not in a
 * scenario (".json") or a recording, `at` seconds after its start; negative: at its end.
 * `documents` is the folder of the portal's documents; null: the scenario's. Calls `told` with
 * one JSON object: "fired", "links" from the portal to the screen, and "conclusion". */
KS_API ks_status ks_why(const char* path, const char* name, double at, const char* documents,
                        void (*told)(void* user_data, const char* json), void* user_data);

#ifdef __cplusplus
}
#endif

#endif
