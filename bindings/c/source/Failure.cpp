#include "bindings/c/source/Failure.h"

#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "BeaconSDK/Platform/Api/Version.h"

namespace ks::capi {

namespace {

/// Longer texts are cut: keeping an error must not fail itself.
constexpr std::size_t kLongestText = 1024;
thread_local char lastError[kLongestText] = "";

}  // namespace

ks_status fail(ks_status status, const char* text) noexcept {
  std::strncpy(lastError, text, kLongestText - 1);
  return status;
}

ks_status failWithCurrentException() noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return fail(failure.status(), failure.text().c_str());
  } catch (const std::bad_alloc&) {
    return fail(KS_ERROR_MEMORY, "out of memory");
  } catch (const std::invalid_argument& error) {
    return fail(KS_ERROR_ARGUMENT, error.what());
  } catch (const std::runtime_error& error) {
    // Of the platforms: folders in use, no descriptor left, files that cannot be made.
    return fail(KS_ERROR_SYSTEM, error.what());
  } catch (const std::exception& error) {
    return fail(KS_ERROR_INTERNAL, error.what());
  } catch (...) {
    return fail(KS_ERROR_INTERNAL, "an unknown exception");
  }
}

}  // namespace ks::capi

const char* ks_last_error(void) { return ks::capi::lastError; }

const char* ks_version(void) { return ks::kVersion; }

const char* ks_status_text(ks_status status) {
  switch (status) {
    case KS_OK:
      return "no error";
    case KS_ERROR_ARGUMENT:
      return "an argument is not allowed";
    case KS_ERROR_THREAD:
      return "the device belongs to another thread";
    case KS_ERROR_STATE:
      return "not possible now";
    case KS_ERROR_UNAVAILABLE:
      return "this build or device has no such part";
    case KS_ERROR_INPUT:
      return "a scenario or document has a mistake";
    case KS_ERROR_SYSTEM:
      return "the system refused a folder, file or descriptor";
    case KS_ERROR_MEMORY:
      return "out of memory";
    case KS_ERROR_INTERNAL:
      return "a fault of the library";
    default:
      return "an unknown status";
  }
}
