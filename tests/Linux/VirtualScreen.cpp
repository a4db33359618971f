#include "tests/Linux/VirtualScreen.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace ks::test {

namespace {

constexpr std::uint32_t kColour = 0xFFFFFF;

/// Words of 32 bits: most significant byte first in the head of a dump, least in its pixels.
std::uint32_t word(const std::string& bytes, std::size_t at, bool isBigEndian) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | static_cast<std::uint8_t>(bytes.at(at + (isBigEndian ? i : 3 - i)));
  }
  return value;
}

std::string littleEndian(std::uint32_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i, value >>= 8) bytes += static_cast<char>(value & 0xFF);
  return bytes;
}

}  // namespace

std::string VirtualScreen::reasonNotTo() {
  return run({"sh", "-c", "command -v Xvfb"}) ? "" : "no Xvfb here";
}

VirtualScreen::VirtualScreen() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return;
  server_ =
      ChildProcess({"Xvfb", "-displayfd", std::to_string(ends[1]), "-fbdir",
                    folder_.path().string(), "-screen", "0", "800x400x24", "-nolisten", "tcp"});
  close(ends[1]);
  // The number comes before its line break, which tells that the server is ready.
  pollfd ready{ends[0], POLLIN, 0};
  constexpr int kLimitMilliseconds = 10000;
  std::string number;
  char byte = 0;
  while (poll(&ready, 1, kLimitMilliseconds) == 1 && read(ends[0], &byte, 1) == 1) {
    if (byte == '\n') {
      display_ = ":" + number;
      break;
    }
    number += byte;
  }
  close(ends[0]);
  setenv("DISPLAY", display_.c_str(), 1);
}

std::size_t VirtualScreen::count(std::uint32_t colour) const {
  constexpr std::size_t kColours = 19 * 4;
  constexpr std::size_t kColourSize = 12;
  const std::string dump = readText(folder_.path() / "Xvfb_screen0");
  std::size_t found = 0;
  const std::size_t start = word(dump, 0, true) + word(dump, kColours, true) * kColourSize;
  for (std::size_t at = start; at + 4 <= dump.size(); at += 4) {
    if ((word(dump, at, false) & kColour) == colour) ++found;
  }
  return found;
}

void VirtualScreen::keep(const std::string& name) const {
  const char* const folder = std::getenv("KS_SCREENSHOTS");
  if (folder == nullptr) return;
  writeText(std::filesystem::path(folder) / (name + ".xwd"),
            readText(folder_.path() / "Xvfb_screen0"));
}

std::string plainPicture(std::uint32_t colour) {
  constexpr std::uint32_t kSide = 64;
  constexpr std::uint32_t kHead = 54;
  constexpr std::uint32_t kBits = 24;
  std::string bitmap = "BM" + littleEndian(kHead + kSide * kSide * 3, 4) + littleEndian(0, 4) +
                       littleEndian(kHead, 4) + littleEndian(kHead - 14, 4) +
                       littleEndian(kSide, 4) + littleEndian(kSide, 4) + littleEndian(1, 2) +
                       littleEndian(kBits, 2) + littleEndian(0, 24);
  for (std::uint32_t i = 0; i < kSide * kSide; ++i) bitmap += littleEndian(colour, 3);
  return bitmap;
}

}  // namespace ks::test
