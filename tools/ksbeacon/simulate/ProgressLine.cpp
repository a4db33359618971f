#include "tools/ksbeacon/simulate/ProgressLine.h"

#include <fmt/format.h>

#include <iostream>

#include "tools/ksbeacon/output/Terminal.h"

namespace ks::tool {

namespace {

constexpr std::chrono::seconds kSilence{1};
constexpr std::chrono::milliseconds kBetweenLines{500};

}  // namespace

ProgressLine::ProgressLine() : wanted_(errorIsTerminal() && !outputIsTerminal()) {}

ProgressLine::~ProgressLine() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
}

void ProgressLine::show(double share) {
  const auto now = Clock::now();
  if (!wanted_ || share <= 0 || now - begin_ < kSilence || now - last_ < kBetweenLines) return;
  const double spent = std::chrono::duration<double>(now - begin_).count();
  std::cerr << fmt::format("\r{:3.0f}% simulated, about {:.0f} s left\033[K", share * 100,
                           spent / share - spent)
            << std::flush;
  last_ = now;
  shown_ = true;
}

}  // namespace ks::tool
