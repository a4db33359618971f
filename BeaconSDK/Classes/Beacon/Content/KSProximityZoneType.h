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

/// The kind called "TextPush", "Html", "FollowTrack" or "Video", spelled exactly so; unknown for
/// every other text and for none. For host applications; the portal spells the kinds differently.
KSProximityZoneType KSProximityZoneTypeFromString(std::optional<std::string_view> text);
