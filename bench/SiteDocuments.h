#pragma once

#include <cstdint>
#include <string>

namespace ks::bench {

/// The portal's document of `count` beacon zones of one location, with content: about 850 bytes
/// each.
inline std::string zonesDocument(std::int64_t count, const std::string& site = "site-1") {
  std::string document = "[";
  for (std::int64_t i = 0; i < count; ++i) {
    if (i > 0) document += ",";
    const std::string number = std::to_string(i);
    document += R"({"id":"beacon-)" + site + "-" + number + R"(","location":{"id":")" + site +
                R"("},"uuid":"f7826da6-4fa2-4e98-8024-bc5b71e0893e",)"
                R"("major":)" +
                std::to_string(i / 256) + R"(,"minor":)" + std::to_string(i % 256) +
                R"(,"name":"Shelf )" + number +
                R"(","model":"standard","manufacturer":"maker","manufacturerId":"b-)" + number +
                R"(","locationZone":"ground floor","validUntil":"2026-12-31T23:59:59.0000000Z",)"
                R"("content":{"type":"HTML","id":)" +
                number +
                R"(,"name":"Offer","message":"A longer text for the shelf that greets whoever )"
                R"(walks by","language":"it","title":"Offer of the day","titleImageUrl":null,)"
                R"("categoryId":7,"repeatDelaySeconds":3600,"dwellingTimeSeconds":2.5,)"
                R"("proximity":"NEAR","notifyAfterXEvents":1,"maxIntervalSeconds":60,)"
                R"("notifyOn":"ENTER","pageUrl":"https://example.com/offers/)" +
                number + R"("}})";
  }
  return document + "]";
}

}  // namespace ks::bench
