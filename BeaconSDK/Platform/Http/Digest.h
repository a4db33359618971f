#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace ks {

/// A SHA-256 checksum of bytes that come in pieces.
class Sha256 {
 public:
  Sha256();
  void add(std::span<const char> bytes);
  /// The checksum as 64 lower-case hexadecimal digits. Once only.
  std::string hex();

 private:
  struct Deleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Deleter> context_;
};

std::string sha256Hex(std::string_view text);

/// HMAC-SHA-256 of `text` as 64 lower-case hexadecimal digits.
std::string hmacSha256Hex(std::string_view key, std::string_view text);

/// `count` bytes from the system's random generator; empty when it has none.
std::string randomBytes(std::size_t count);

}  // namespace ks
