#pragma once

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

/// The rules of a private cache (RFC 9111), as pure functions. What they leave open is decided
/// here: there are no guessed lifetimes, only 200 replies to plain GET requests are kept, and
/// nothing stale is served without the server's word.
namespace ks::HttpCaching {

/// Whether the store may answer `request`, and keep its reply: a GET without a body and without
/// conditions, ranges or cache rules of its own.
bool isCacheable(const NSURLRequest& request);

/// Whether `response` may be kept and could be used again.
bool mayStore(const NSHTTPURLResponse& response);

/// Whether the reply says that what is kept for `request`'s URL no longer holds: a success of a
/// method that changes it, or a plain request's news that it is gone.
bool invalidates(const NSURLRequest& request, const NSHTTPURLResponse& response);

/// How long a reply that arrived at `receivedAt` is fresh: its max-age, else the time from its Date
/// (or arrival) to its Expires; 0 without either. Never negative.
Seconds freshnessLifetime(const HTTPHeaders& response, Date receivedAt);

/// Whether a reply may be used at `now` without asking the server. Its age counts from `receivedAt`
/// on the device's clock, plus the time it spent in caches on the way (Age): so a server's wrong
/// clock does not matter. A clock that was set back ends freshness.
bool isFresh(const HTTPHeaders& response, Date receivedAt, Date now);

/// The request's fields that the reply names in Vary; later requests must have the same values.
HTTPHeaders selectingFields(const NSURLRequest& request, const HTTPHeaders& response);
bool matches(const NSURLRequest& request, const HTTPHeaders& selectingFields);

/// Adds If-None-Match and If-Modified-Since from a kept reply's validators.
void addValidators(NSURLRequest& request, const HTTPHeaders& kept);
void removeValidators(NSURLRequest& request);

/// The kept fields as a 304 reply replaces them; the fields that describe the kept body stay.
HTTPHeaders merged(const HTTPHeaders& kept, const HTTPHeaders& confirmation);

}  // namespace ks::HttpCaching
