#include "tools/ksbeacon/simulate/Interruption.h"

#include <csignal>
#include <initializer_list>

namespace ks::tool {

namespace {

volatile std::sig_atomic_t received = 0;

void note(int number) {
  received = number;
  std::signal(number, SIG_DFL);
}

}  // namespace

Interruption::Interruption() {
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    if (std::signal(number, note) == SIG_IGN) std::signal(number, SIG_IGN);
  }
}

bool Interruption::came() { return received != 0; }

int Interruption::exitCode() { return 128 + received; }

}  // namespace ks::tool
