#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

/// A screen without a monitor, the display of this process and of those it starts.
class VirtualScreen {
 public:
  /// Why there is none here; empty when there is.
  static std::string reasonNotTo();

  VirtualScreen();
  bool isRunning() const { return !display_.empty(); }
  /// How many pixels have that colour (0xRRGGBB) now.
  std::size_t count(std::uint32_t colour) const;
  /// Keeps a picture (NAME.xwd) in the folder that KS_SCREENSHOTS names, for a person to look at.
  void keep(const std::string& name) const;

 private:
  TemporaryFolder folder_;
  std::string display_;
  ChildProcess server_;
};

/// A picture of one colour, 64 by 64, as a file's content.
std::string plainPicture(std::uint32_t colour);

}  // namespace ks::test
