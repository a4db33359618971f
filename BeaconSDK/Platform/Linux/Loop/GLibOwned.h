#pragma once

#include <gio/gio.h>

#include <memory>

namespace ks {

/// Frees what GLib hands out, each kind by its own function.
struct GLibDeleter {
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(GUri* uri) const { g_uri_unref(uri); }
  void operator()(gchar* text) const { g_free(text); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
template <class T>
using GLibOwned = std::unique_ptr<T, GLibDeleter>;

struct GObjectDeleter {
  void operator()(gpointer object) const { g_object_unref(object); }
};
/// One reference to a GObject.
template <class T>
using GObjectOwned = std::unique_ptr<T, GObjectDeleter>;

/// Takes a further reference.
template <class T>
GObjectOwned<T> shareObject(T* object) {
  return GObjectOwned<T>(static_cast<T*>(g_object_ref(object)));
}

}  // namespace ks
