#include "BeaconSDK/Platform/Http/CurlRequest.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include "BeaconSDK/Platform/Http/HttpErrors.h"
#include "BeaconSDK/Platform/Http/HttpRules.h"
#include "BeaconSDK/Platform/Http/LocalAddress.h"

namespace ks {

namespace {

constexpr const char* kUserAgent = "KSBeaconSDK/1.0";
constexpr long kBufferSize = 65536;
/// Of all heads of one reply, interim ones included; servers commonly allow 8 to 64 KiB.
constexpr std::size_t kMaximumHeadSize = 262'144;
/// Servers commonly close idle connections after 60 s or more.
constexpr long kIdleTimeoutSeconds = 30;

template <class T>
void set(const CurlEasy& handle, CURLoption option, T value) {
  // Fails only for options that the library was built without, which all have safe defaults.
  curl_easy_setopt(handle.get(), option, value);
}

Error cannotRead(const std::filesystem::path& file, int number) {
  return urlError(NSURLError::unknown, "cannot read '" + file.string() + "', the file to upload: " +
                                           std::generic_category().message(number));
}

}  // namespace

/// What libcurl calls while it works; none of these may touch the multi handle.
struct CurlRequest::Callbacks {
  static CurlRequest& of(void* self) { return *static_cast<CurlRequest*>(self); }

  static std::size_t header(char* bytes, std::size_t size, std::size_t count, void* self) {
    const std::size_t length = size * count;
    return of(self).acceptHeadLine({bytes, length}) ? length : 0;
  }
  static std::size_t write(char* bytes, std::size_t size, std::size_t count, void* self) {
    const std::size_t length = size * count;
    of(self).listener_.requestDidProgress();
    return of(self).listener_.requestDidReceive({bytes, length}) ? length : 0;
  }
  static std::size_t read(char* space, std::size_t size, std::size_t count, void* self) {
    return of(self).readBody({space, size * count});
  }
  static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address) {
    sockaddr_storage storage = {};
    std::memcpy(&storage, &address->addr, std::min<std::size_t>(address->addrlen, sizeof storage));
    of(self).isRefused_ = isLocalAddress(storage);
    if (of(self).isRefused_) return CURL_SOCKET_BAD;
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  }
  static int progress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
    CurlRequest& request = of(self);
    if (received != request.received_ || sent != request.sent_) {
      request.received_ = received;
      request.sent_ = sent;
      request.listener_.requestDidProgress();
    }
    return static_cast<std::uint64_t>(received) > request.options_.maximumBodySize ? 1 : 0;
  }
};

CurlRequest::CurlRequest(HttpWorker& worker, const CurlRequestOptions& options,
                         const NSURLRequest& request,
                         const std::optional<std::filesystem::path>& uploadFile,
                         CurlRequestListener& listener)
    : worker_(worker),
      options_(options),
      request_(request),
      uploadFile_(uploadFile),
      listener_(listener),
      handle_(curl_easy_init()),
      url_(curl_url()) {}

CurlRequest::~CurlRequest() {
  worker_.remove(handle_.get());
  if (upload_ >= 0) ::close(upload_);
}

std::optional<Error> CurlRequest::start() {
  configure();
  setURL();
  setFields();
  if (auto error = setBody()) return error;
  worker_.add(handle_.get(), [this](CURLcode result) { didEnd(result); });
  return std::nullopt;
}

void CurlRequest::configure() {
  set(handle_, CURLOPT_ERRORBUFFER, detail_.data());
  set(handle_, CURLOPT_NOSIGNAL, 1L);
  // Ending a transfer never waits for the system's name lookup.
  set(handle_, CURLOPT_QUICK_EXIT, 1L);
  set(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
  set(handle_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(handle_, CURLOPT_FOLLOWLOCATION, 0L);
  set(handle_, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  set(handle_, CURLOPT_MAXAGE_CONN, kIdleTimeoutSeconds);
  set(handle_, CURLOPT_BUFFERSIZE, kBufferSize);
  set(handle_, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options_.maximumBodySize));
  set(handle_, CURLOPT_HEADERFUNCTION, Callbacks::header);
  set(handle_, CURLOPT_HEADERDATA, this);
  set(handle_, CURLOPT_WRITEFUNCTION, Callbacks::write);
  set(handle_, CURLOPT_WRITEDATA, this);
  set(handle_, CURLOPT_READFUNCTION, Callbacks::read);
  set(handle_, CURLOPT_READDATA, this);
  set(handle_, CURLOPT_XFERINFOFUNCTION, Callbacks::progress);
  set(handle_, CURLOPT_XFERINFODATA, this);
  set(handle_, CURLOPT_NOPROGRESS, 0L);
}

void CurlRequest::configureTrust(const std::string& host) {
  set(handle_, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (const auto& authorities = options_.certificateAuthorities; !authorities.empty()) {
    // Replaces the system's bundle, not the system's folder of certificates.
    curl_blob blob{const_cast<char*>(authorities.data()), authorities.size(), CURL_BLOB_NOCOPY};
    set(handle_, CURLOPT_CAINFO_BLOB, &blob);
  }
  const auto pins = options_.publicKeyPins.find(host);
  if (pins != options_.publicKeyPins.end()) {
    set(handle_, CURLOPT_PINNEDPUBLICKEY, pins->second.c_str());
  }
}

void CurlRequest::setURL() {
  curl_url_set(url_.get(), CURLUPART_URL, request_.url.absoluteString.c_str(), 0);
  // Credentials are the caller's Authorization field and nothing else.
  curl_url_set(url_.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(url_.get(), CURLUPART_PASSWORD, nullptr, 0);
  set(handle_, CURLOPT_CURLU, url_.get());
  const std::string host = HttpRules::hostName(request_.url);
  // No proxy reaches this device's own loopback.
  if (HttpRules::isLoopback(host)) set(handle_, CURLOPT_PROXY, "");
  configureTrust(host);
}

void CurlRequest::refuseLocalAddresses() {
  const bool isDirect = HttpRules::isLoopback(HttpRules::hostName(request_.url));
  // Those that libcurl takes a proxy for plain HTTP from.
  const auto isSet = [](const char* name) { return std::getenv(name) != nullptr; };
  if (!isDirect && (isSet("http_proxy") || isSet("all_proxy") || isSet("ALL_PROXY"))) return;
  set(handle_, CURLOPT_OPENSOCKETFUNCTION, Callbacks::openSocket);
  set(handle_, CURLOPT_OPENSOCKETDATA, this);
}

void CurlRequest::setFields() {
  curl_slist* list = nullptr;
  const auto append = [&list](const std::string& line) {
    if (curl_slist* longer = curl_slist_append(list, line.c_str())) list = longer;
  };
  for (const auto& [name, value] : request_.headers) {
    // libcurl's spelling of a field without a value.
    std::string line = name;
    append(value.empty() ? line.append(";") : line.append(": ").append(value));
  }
  // Fields that libcurl would add on its own.
  if (!request_.headers.find("Content-Type")) append("Content-Type:");
  append("Expect:");
  fields_.reset(list);
  set(handle_, CURLOPT_HTTPHEADER, list);
  if (!request_.headers.find("User-Agent")) set(handle_, CURLOPT_USERAGENT, kUserAgent);
}

std::optional<Error> CurlRequest::setBody() {
  const std::string& method = request_.httpMethod;
  if (uploadFile_) {
    // A pipe would keep the thread waiting.
    upload_ = ::open(uploadFile_->c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (upload_ < 0 || ::fstat(upload_, &status) != 0) return cannotRead(*uploadFile_, errno);
    if (!S_ISREG(status.st_mode)) return cannotRead(*uploadFile_, EINVAL);
    bodySize_ = static_cast<std::uint64_t>(status.st_size);
  } else {
    bodySize_ = request_.httpBody.size();
  }
  if (method == "HEAD") {
    set(handle_, CURLOPT_NOBODY, 1L);
  } else if (method == "POST" || uploadFile_ || bodySize_ > 0) {
    set(handle_, CURLOPT_POST, 1L);
    set(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bodySize_));
    if (method != "POST") set(handle_, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method != "GET") {
    set(handle_, CURLOPT_CUSTOMREQUEST, method.c_str());
  }
  return std::nullopt;
}

std::size_t CurlRequest::readBody(std::span<char> space) {
  const auto left =
      static_cast<std::size_t>(std::min<std::uint64_t>(space.size(), bodySize_ - bodyRead_));
  if (left == 0) return 0;
  std::size_t count = left;
  if (upload_ >= 0) {
    const auto result = ::read(upload_, space.data(), left);
    // The file became shorter, or cannot be read any more.
    if (result <= 0) return CURL_READFUNC_ABORT;
    count = static_cast<std::size_t>(result);
  } else {
    std::memcpy(space.data(), request_.httpBody.data() + bodyRead_, left);
  }
  bodyRead_ += count;
  return count;
}

bool CurlRequest::acceptHeadLine(std::span<const char> line) {
  listener_.requestDidProgress();
  headSize_ += line.size();
  const std::string_view text(line.data(), line.size());
  // Interim replies and trailing fields come here too.
  if (text.starts_with("HTTP/")) headIsWhole_ = false;
  if (text == "\r\n" || text == "\n") headIsWhole_ = true;
  return headSize_ <= kMaximumHeadSize;
}

int CurlRequest::statusCode() const {
  long status = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

HTTPHeaders CurlRequest::headers() const {
  HTTPHeaders headers;
  curl_header* field = nullptr;
  while ((field = curl_easy_nextheader(handle_.get(), CURLH_HEADER, -1, field)) != nullptr) {
    const std::string* earlier = headers.find(field->name);
    headers.set(field->name, earlier ? *earlier + ", " + field->value : field->value);
  }
  return headers;
}

std::uint64_t CurlRequest::bytesSent() const {
  curl_off_t count = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &count);
  return static_cast<std::uint64_t>(count);
}

void CurlRequest::didEnd(CURLcode result) {
  std::optional<Error> error;
  if (result == CURLE_ABORTED_BY_CALLBACK) {
    error = static_cast<std::uint64_t>(received_) > options_.maximumBodySize
                ? urlError(NSURLError::dataLengthExceedsMaximum, "the reply is too long")
                : urlError(NSURLError::unknown, "the file to upload became shorter");
  } else if (result != CURLE_OK && isRefused_) {
    error = urlError(NSURLError::cannotConnectToHost, "nothing is fetched from this device itself");
  } else if (result != CURLE_OK) {
    error = urlErrorFrom(result, detail_.data());
  } else if (!headIsWhole_ || statusCode() < 200) {
    // libcurl takes a connection that closes inside the head for the end of the reply.
    error = urlError(NSURLError::badServerResponse, "the reply ended in its head");
  }
  listener_.requestDidEnd(error);
}

}  // namespace ks
