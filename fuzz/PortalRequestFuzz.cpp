#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

#include "tools/ksbeacon/portal/FaultOption.h"
#include "tools/ksbeacon/portal/PortalSite.h"

namespace {

using ks::portal::SiteRequest;

std::unique_ptr<ks::portal::PortalSite> openSite() {
  ks::portal::PortalOptions options;
  options.documents = "examples/portal";
  options.reload = false;
  auto site = ks::portal::PortalSite::make(options);
  if (!site) __builtin_trap();
  return std::move(site.value());
}

/// A fault that a console line describes reads back as the same text.
void readFault(const std::string& line) {
  const auto fault = ks::tool::faultFromOption(line);
  const auto* const read = std::get_if<ks::portal::Fault>(&fault);
  if (read == nullptr) return;
  const std::string text = ks::tool::faultText(*read);
  const auto again = ks::tool::faultFromOption(text);
  if (!std::holds_alternative<ks::portal::Fault>(again)) __builtin_trap();
  if (ks::tool::faultText(std::get<ks::portal::Fault>(again)) != text) __builtin_trap();
}

}  // namespace

/// Requests of any method, path, query and body, one a line, get one status; so do console lines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto site = openSite();
  std::array<std::string, 5> parts;
  std::size_t part = 0;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n' && part + 1 < parts.size()) {
      ++part;
    } else {
      parts[part] += static_cast<char>(data[i]);
    }
  }
  const auto reply =
      site->answer(SiteRequest{parts[0], "/" + parts[1], parts[2], "", parts[3], parts[4]});
  if (reply.status < 200 || reply.status > 499) __builtin_trap();
  readFault(parts[2]);
  return 0;
}
