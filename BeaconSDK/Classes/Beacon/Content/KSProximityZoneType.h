#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The kinds of content.
enum class KSProximityZoneType : std::int32_t {
  textPush = 0,
  html = 1,
  followTrack = 2,
  video = 3,
  unknown = 4,
};

/// Returns the kind named "TextPush", "Html", "FollowTrack" or "Video" (case-sensitive), and
/// `unknown` for any other or absent text. For host applications: the portal's own spelling
/// differs.
KSProximityZoneType KSProximityZoneTypeFromString(std::optional<std::string_view> text);
