/* A gateway in C: hears one beacon and says what fires. With a scenario's file it runs that
 * instead.
 *
 *   cc main.c $(pkg-config --cflags --libs ksbeacon) -o gateway
 *   ./gateway http://127.0.0.1:8080/app /var/lib/gateway      or      ./gateway demo.json */
#include <ksbeacon/ksbeacon.h>
#include <stdio.h>
#include <string.h>

static void said(void* user_data, const ks_event* event) {
  (void)user_data;
  if (event->kind == KS_EVENT_TRIGGER || event->kind == KS_EVENT_REFUSAL) puts(event->text);
}

static int32_t happened(void* user_data, const ks_event* event) {
  said(user_data, event);
  return 0;
}

static void started(void* user_data, const char* problem) {
  *(int*)user_data = problem == NULL ? 1 : -1;
  printf("%s\n", problem == NULL ? "running" : problem);
}

static int complain(const char* what) {
  fprintf(stderr, "%s: %s\n", what, ks_last_error());
  return 1;
}

static int run_gateway(const char* portal, const char* folder) {
  static const uint8_t beacon[] = {0x02, 0x15, 0x4B, 0x8E, 0x1A, 0x60, 0x5D, 0x0C,
                                   0x4F, 0x3B, 0x9E, 0x57, 0x0C, 0x1D, 0x2E, 0x3F,
                                   0x4A, 0x5B, 0x00, 0x01, 0x00, 0x01, 0xC5};
  int state = 0;
  ks_application application = {.size = sizeof(application),
                                .portal_url = portal,
                                .username = "demo",
                                .password = "demo",
                                .bundle_identifier = "org.ksbeacon.examples.gateway"};
  ks_callbacks callbacks = {
      .size = sizeof(callbacks), .user_data = &state, .event = said, .started = started};
  ks_device* device = NULL;
  if (ks_create_embedded(&application, &callbacks, folder, NULL, &device) != KS_OK)
    return complain("cannot begin");
  if (ks_start(device) != KS_OK) return complain("cannot start");
  for (int turn = 0; turn < 200 && state >= 0; ++turn) {
    ks_position(device, 45.07, 7.686, 5);
    ks_manufacturer_data(device, "AA:BB:CC:DD:EE:FF", 0x004C, beacon, sizeof(beacon), -60);
    ks_run_once(device, 100, NULL);
  }
  ks_destroy(device);
  return state > 0 ? 0 : 1;
}

int main(int argc, char** argv) {
  if (argc == 3) return run_gateway(argv[1], argv[2]);
  if (argc != 2) return fputs("usage: gateway PORTAL FOLDER | gateway SCENARIO\n", stderr), 2;
  ks_scenario_result result = {.size = sizeof(result)};
  if (ks_run_scenario(argv[1], NULL, happened, NULL, &result) != KS_OK) return complain(argv[1]);
  printf("%u of %u expectations met\n", result.met, result.expectations);
  return result.met == result.expectations ? 0 : 1;
}
