// A shared library around the engine, with the header for C++.
#include <ksbeacon/ksbeacon.hpp>

extern "C" int firedIn(const char* scenario) {
  int fired = 0;
  const auto result = ksbeacon::runScenario(scenario, [&](const ksbeacon::Event& event) {
    if (event.kind == KS_EVENT_TRIGGER) ++fired;
  });
  return result.met == result.expectations ? fired : -1;
}
