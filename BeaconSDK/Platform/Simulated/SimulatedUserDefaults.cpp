#include "BeaconSDK/Platform/Simulated/SimulatedUserDefaults.h"

#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Simulated/ValueText.h"

namespace ks {

SimulatedUserDefaults::SimulatedUserDefaults(std::filesystem::path file) : file_(std::move(file)) {
  std::ifstream in(file_, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  const auto value = valueFromText(text);
  if (value && value->dictionary() != nullptr) values_ = *value->dictionary();
}

Value SimulatedUserDefaults::objectForKey(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  return values_[key];
}

void SimulatedUserDefaults::setObject(std::string_view key, Value value) {
  const std::lock_guard lock(mutex_);
  if (value.isAbsent()) {
    values_.erase(key);
  } else {
    values_.set(std::string(key), std::move(value));
  }
}

bool SimulatedUserDefaults::synchronize() {
  const std::lock_guard lock(mutex_);
  const auto text = valueToText(Value(values_));
  if (!text) return false;
  std::error_code error;
  std::filesystem::create_directories(file_.parent_path(), error);
  // Written beside and moved into place: a reader never sees half a file.
  auto draft = file_;
  draft += ".new";
  std::ofstream out(draft, std::ios::binary | std::ios::trunc);
  out << *text;
  out.close();
  if (!out) return false;
  std::filesystem::rename(draft, file_, error);
  return !error;
}

}  // namespace ks
