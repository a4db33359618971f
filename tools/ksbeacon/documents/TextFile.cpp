#include "tools/ksbeacon/documents/TextFile.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

/// Why `path` is no file to read; empty when it is one.
std::string objectionTo(const fs::path& path) {
  std::error_code ec;
  switch (fs::status(path, ec).type()) {
    case fs::file_type::regular:
      return "";
    case fs::file_type::not_found:
      return "there is none of this name";
    case fs::file_type::directory:
      return "this is a folder";
    case fs::file_type::none:
      return ec.message();
    default:
      return "this is a pipe, a socket or a device";
  }
}

}  // namespace

std::variant<std::string, InputError> readTextFile(const std::string& path, std::size_t maximum) {
  const std::string objection = objectionTo(path);
  if (!objection.empty()) return InputError{path, 0, "", "expected a file; " + objection};
  std::error_code ec;
  if (fs::file_size(path, ec) > maximum) {
    return InputError{path, 0, "", fmt::format("expected at most {} MiB", maximum >> 20)};
  }
  std::ifstream stream(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(stream)), {});
  if (!stream) return InputError{path, 0, "", "expected a file that can be read"};
  return text;
}

}  // namespace ks::tool
