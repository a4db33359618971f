#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The names inside a keyed archive: a property list whose dictionary "$top" refers by number to
/// objects in the array "$objects", the first of which stands for nothing.
namespace ks::keyed_archive {

inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kArchiver = "NSKeyedArchiver";
inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::int64_t kVersion = 100000;
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kObjectsKey = "$objects";
inline constexpr std::string_view kNothing = "$null";
inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassChainKey = "$classes";

/// Fields of the platform's own classes.
inline constexpr const char* kTimeKey = "NS.time";
inline constexpr const char* kUuidKey = "NS.uuidbytes";
inline constexpr const char* kStringKey = "NS.string";
inline constexpr const char* kDataKey = "NS.data";
inline constexpr const char* kItemsKey = "NS.objects";
inline constexpr const char* kKeysKey = "NS.keys";

/// The one key of a dictionary that stands for a reference where a format has none.
inline constexpr std::string_view kReferenceKey = "CF$UID";

}  // namespace ks::keyed_archive
