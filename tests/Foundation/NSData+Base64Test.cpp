#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"

namespace ks::NSDataBase64 {
namespace {

std::string decoded(std::string_view text) {
  const Data data = dataFromBase64String(text);
  return {data.begin(), data.end()};
}

TEST(NSDataBase64Test, EncodesWithPaddingAndLines) {
  EXPECT_EQ(base64EncodedString(""), "");
  EXPECT_EQ(base64EncodedString("M"), "TQ==");
  EXPECT_EQ(base64EncodedString("Ma"), "TWE=");
  EXPECT_EQ(base64EncodedString(Data{0xFB, 0xEF, 0xFF}), "++//");
  const std::string line(64, 'A');
  EXPECT_EQ(base64EncodedString(std::string(48, '\0')), line);
  EXPECT_EQ(base64EncodedString(std::string(49, '\0')), line + "\r\nAA==");
  EXPECT_EQ(base64EncodedString(std::string(96, '\0')), line + "\r\n" + line);
}

TEST(NSDataBase64Test, DecodesByGroupsOfFour) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"TWFu", "Man"},
      {"TWE=", "Ma"},
      {"T W E =", "Ma"},
      {"TQ", "M"},
      {"T", ""},
      {"TWFuT", "Man"},
      {"TWFu\n", "Ma"},
      {"TWFu====", "Ma"},
      {"\r\n", ""},
      {"", ""},
      {"=", ""},
      {"TWFu\xC3\xA9TQ", "ManM"},
      {"TWFu\r\nTWFu", "ManMan"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(decoded(text), expected) << text;
}

TEST(NSDataBase64Test, PlainFunctionsRoundTrip) {
  std::size_t length = 0;
  const std::string bytes(100, 'x');
  const std::unique_ptr<char, decltype(&std::free)> text(
      NewBase64Encode(bytes.data(), bytes.size(), false, &length), &std::free);
  EXPECT_EQ(length, 136U);
  EXPECT_EQ(text.get()[length], '\0');
  EXPECT_EQ(std::string(text.get()).find('\r'), std::string::npos);
  EXPECT_EQ(decoded(text.get()), bytes);
  const std::unique_ptr<void, decltype(&std::free)> back(
      NewBase64Decode(text.get(), SIZE_MAX - 1, &length), &std::free);
  EXPECT_EQ(std::string_view(static_cast<const char*>(back.get()), length), bytes);
}

}  // namespace
}  // namespace ks::NSDataBase64
