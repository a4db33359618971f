#include "BeaconSDK/Platform/Http/Digest.h"

#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <array>

namespace ks {

namespace {

std::string hexOf(std::span<const unsigned char> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

const unsigned char* unsignedBytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
}

void Sha256::add(std::span<const char> bytes) {
  EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size());
}

std::string Sha256::hex() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned size = 0;
  EVP_DigestFinal_ex(context_.get(), bytes.data(), &size);
  return hexOf({bytes.data(), size});
}

std::string sha256Hex(std::string_view text) {
  Sha256 sum;
  sum.add(text);
  return sum.hex();
}

std::string hmacSha256Hex(std::string_view key, std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned size = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), unsignedBytes(text), text.size(),
       bytes.data(), &size);
  return hexOf({bytes.data(), size});
}

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  const int made =
      RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count));
  return made == 1 ? bytes : "";
}

}  // namespace ks
