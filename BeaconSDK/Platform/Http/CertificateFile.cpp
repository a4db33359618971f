#include "BeaconSDK/Platform/Http/CertificateFile.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>
#include <system_error>

namespace ks {

namespace {

/// Far more than the bundles of all public authorities.
constexpr std::uintmax_t kMaximumSize = 16ULL * 1024 * 1024;
constexpr std::string_view kBeginning = "-----BEGIN CERTIFICATE-----";

std::size_t announcedCertificates(std::string_view text) {
  std::size_t count = 0;
  for (auto at = text.find(kBeginning); at != text.npos; at = text.find(kBeginning, at + 1)) {
    ++count;
  }
  return count;
}

std::size_t readableCertificates(const std::string& text) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> source(
      BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
  std::size_t count = 0;
  while (X509* certificate = PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr)) {
    X509_free(certificate);
    ++count;
  }
  // The end of the text is reported as an error, too.
  ERR_clear_error();
  return count;
}

}  // namespace

std::string readCertificates(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) return "";
  if (std::filesystem::file_size(file, error) > kMaximumSize || error) return "";
  std::ifstream in(file, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(in), {});
  const std::size_t announced = announcedCertificates(text);
  return announced > 0 && readableCertificates(text) == announced ? text : "";
}

bool holdsCertificates(const std::filesystem::path& file) {
  return !readCertificates(file).empty();
}

}  // namespace ks
