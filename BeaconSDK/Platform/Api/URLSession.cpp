#include "BeaconSDK/Platform/Api/URLSession.h"

#include <algorithm>

#include "BeaconSDK/Platform/Api/Ascii.h"

namespace ks {

namespace {

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLowerCase(x) == asciiLowerCase(y); });
}

}  // namespace

void HTTPHeaders::set(std::string_view name, std::string value) {
  for (auto& field : fields_) {
    if (sameName(field.first, name)) {
      field.second = std::move(value);
      return;
    }
  }
  fields_.emplace_back(std::string(name), std::move(value));
}

const std::string* HTTPHeaders::find(std::string_view name) const {
  for (const auto& field : fields_) {
    if (sameName(field.first, name)) return &field.second;
  }
  return nullptr;
}

void HTTPHeaders::remove(std::string_view name) {
  std::erase_if(fields_, [&](const Field& field) { return sameName(field.first, name); });
}

}  // namespace ks
