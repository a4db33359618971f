#include "BeaconSDK/Platform/Http/CertificateFile.h"

#include <gio/gio.h>

namespace ks {

bool holdsCertificates(const std::filesystem::path& file) {
  GList* const certificates = g_tls_certificate_list_new_from_file(file.c_str(), nullptr);
  const bool hasSome = certificates != nullptr;
  g_list_free_full(certificates, g_object_unref);
  return hasSome;
}

}  // namespace ks
