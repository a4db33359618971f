#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"

namespace ks::bench {

/// What the cache file of the zones holds for one location of `count` beacons with content.
inline ks::Value beacons(std::int64_t count) {
  std::vector<ks::Value> list;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const auto content = std::make_shared<KSHTMLProximityZoneContent>();
    content->identifier = "content-" + number;
    content->name = "Content " + number;
    content->message = "A message about the thing that stands at place " + number;
    content->repeatDelay = 3600;
    const auto beacon = std::make_shared<KSPrivateBeacon>();
    beacon->setIdentifier("beacon-" + number);
    beacon->setName("Beacon " + number);
    beacon->setUuid(ks::UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF"));
    beacon->setMajor(i / 1000);
    beacon->setMinor(i % 1000 + 1);
    beacon->setContent(content);
    list.emplace_back(beacon);
  }
  return ks::Dictionary{{"location", ks::Array(std::move(list))}};
}

}  // namespace ks::bench
