#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The numbers of the binary property list: header, objects, offset table, trailer. Everything is
/// big-endian. An object begins with a marker whose high half is its kind; the low half is its
/// length, 15 announcing an integer object that holds the length instead.
namespace ks::binary_property_list {

inline constexpr std::string_view kHeader = "bplist00";
inline constexpr std::size_t kTrailerSize = 32;
/// Places in the trailer.
inline constexpr std::size_t kOffsetSizeAt = 6;
inline constexpr std::size_t kReferenceSizeAt = 7;
inline constexpr std::size_t kCountAt = 8;
inline constexpr std::size_t kRootAt = 16;
inline constexpr std::size_t kTableAt = 24;

inline constexpr std::uint8_t kSimple = 0x00;
inline constexpr std::uint8_t kNull = 0x00;
inline constexpr std::uint8_t kFalse = 0x08;
inline constexpr std::uint8_t kTrue = 0x09;
/// The low half is the binary logarithm of the width.
inline constexpr std::uint8_t kInteger = 0x10;
inline constexpr std::uint8_t kReal = 0x20;
inline constexpr std::uint8_t kDate = 0x33;
inline constexpr std::uint8_t kData = 0x40;
inline constexpr std::uint8_t kAscii = 0x50;
inline constexpr std::uint8_t kUtf16 = 0x60;
/// The low half is the width less one.
inline constexpr std::uint8_t kUid = 0x80;
inline constexpr std::uint8_t kArray = 0xA0;
inline constexpr std::uint8_t kSet = 0xC0;
inline constexpr std::uint8_t kDictionary = 0xD0;
inline constexpr std::uint8_t kLongLength = 15;

}  // namespace ks::binary_property_list
