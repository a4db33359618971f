/// Stand-ins for the parts that this build leaves out: the symbols are always there.
#include "bindings/c/source/Failure.h"
#include "bindings/c/source/Recording.h"

#ifndef KS_HAS_LINUX
ks_status ks_create_linux(const ks_application*, const ks_callbacks*, ks_device**) {
  return ks::capi::fail(KS_ERROR_UNAVAILABLE, "this build has no Linux device");
}
#endif

#ifndef KS_HAS_SCENARIO
ks_status ks_run_scenario(const char*, const ks_scenario_options*,
                          int32_t (*)(void*, const ks_event*), void*, ks_scenario_result*) {
  return ks::capi::fail(KS_ERROR_UNAVAILABLE, "this build has no simulated device");
}

ks_status ks_population(const char*, const ks_scenario_options*, void (*)(void*, const char*),
                        void*) {
  return ks::capi::fail(KS_ERROR_UNAVAILABLE, "this build has no simulated device");
}

ks_status ks_replay(const char*, const ks_scenario_options*, int32_t (*)(void*, const ks_event*),
                    void*) {
  return ks::capi::fail(KS_ERROR_UNAVAILABLE, "this build has no recordings");
}

ks_status ks_why(const char*, const char*, double, const char*, void (*)(void*, const char*),
                 void*) {
  return ks::capi::fail(KS_ERROR_UNAVAILABLE, "this build has no simulated device");
}

namespace ks::capi {
std::unique_ptr<Recording> Recording::make(Plan) {
  throw Failure(KS_ERROR_UNAVAILABLE, "this build has no recordings");
}
}  // namespace ks::capi
#endif
