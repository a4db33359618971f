#include "bindings/c/source/Occupation.h"

#include <atomic>

namespace ks::capi {

namespace {

std::atomic_flag occupied;

}  // namespace

Occupation::Occupation() {
  if (occupied.test_and_set()) {
    throw Failure(KS_ERROR_STATE, "the process has a device already, or runs a scenario");
  }
}

Occupation::~Occupation() { occupied.clear(); }

}  // namespace ks::capi
