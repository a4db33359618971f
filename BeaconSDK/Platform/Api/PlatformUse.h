#pragma once

namespace ks {

/// Keeps the current platform in place: while any of these exists, `Platform::install` refuses to
/// replace or remove it. Held by what could not work without the platform it was made on. Any
/// thread.
class PlatformUse {
 public:
  PlatformUse();
  PlatformUse(const PlatformUse&) = delete;
  PlatformUse& operator=(const PlatformUse&) = delete;
  ~PlatformUse();

  static bool isAny();
};

}  // namespace ks
