#include "BeaconSDK/Platform/Http/StoredDocument.h"

#include <array>
#include <charconv>
#include <sstream>
#include <string_view>
#include <system_error>

#include "BeaconSDK/Platform/Http/Digest.h"

namespace ks {

namespace {

constexpr std::string_view kMagic = "KSDocument1";
/// A reply whose head is longer is not kept.
constexpr std::size_t kMaximumHead = 65536;
constexpr std::size_t kPiece = 65536;

/// Hands all of `in` to `take`, piece by piece; false when reading or `take` fails.
template <class Take>
bool forEachPiece(std::istream& in, Take take) {
  std::array<char, kPiece> piece;
  while (in) {
    in.read(piece.data(), piece.size());
    const auto count = static_cast<std::size_t>(in.gcount());
    if (!take(std::span<const char>(piece.data(), count))) return false;
  }
  return !in.bad();
}

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

/// "received 5" as "received" and "5".
std::pair<std::string_view, std::string_view> split(std::string_view line) {
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos) return {line, ""};
  return {line.substr(0, blank), line.substr(blank + 1)};
}

void appendFields(std::string& text, std::string_view kind, const HTTPHeaders& fields) {
  for (const auto& [name, value] : fields) {
    text.append(kind).append(" ").append(name).append(" ").append(value).append("\n");
  }
}

}  // namespace

std::shared_ptr<StoredDocument> StoredDocument::open(const std::filesystem::path& path) {
  std::error_code ignored;
  // A pipe would keep the caller waiting.
  if (!std::filesystem::is_regular_file(path, ignored)) return nullptr;
  auto document = std::make_shared<StoredDocument>();
  document->file_.open(path, std::ios::binary);
  std::string magic;
  std::size_t length = 0;
  std::string checksum;
  document->file_ >> magic >> length >> checksum;
  if (!document->file_ || magic != kMagic || length > kMaximumHead) return nullptr;
  document->file_.get();
  std::string head(length, '\0');
  document->file_.read(head.data(), static_cast<std::streamsize>(length));
  if (!document->file_ || sha256Hex(head) != checksum) return nullptr;
  return document->readHead(head) ? document : nullptr;
}

bool StoredDocument::readHead(const std::string& head) {
  std::istringstream lines(head);
  double received = 0;
  bool isSound = true;
  for (std::string line; std::getline(lines, line);) {
    const auto [kind, rest] = split(line);
    const auto [name, value] = split(rest);
    if (kind == "received") isSound = readNumber(rest, received) && isSound;
    if (kind == "length") isSound = readNumber(rest, bodySize_) && isSound;
    if (kind == "checksum") checksum_ = rest;
    if (kind == "request") selectingFields.set(name, std::string(value));
    if (kind == "response") response.headers.set(name, std::string(value));
  }
  receivedAt = dateFromSecondsSince1970(received);
  response.statusCode = 200;
  return isSound;
}

std::string StoredDocument::headText(std::uint64_t bodySize, const std::string& checksum) const {
  std::array<char, 32> received{};
  const auto end = std::to_chars(received.data(), received.data() + received.size(),
                                 secondsSince1970(receivedAt));
  std::string text = "received " + std::string(received.data(), end.ptr) + "\n";
  text += "length " + std::to_string(bodySize) + "\nchecksum " + checksum + "\n";
  appendFields(text, "request", selectingFields);
  appendFields(text, "response", response.headers);
  return text;
}

bool StoredDocument::write(NewFile& target, const std::filesystem::path& body) const {
  std::ifstream in(body, std::ios::binary);
  Sha256 sum;
  std::uint64_t size = 0;
  const bool isRead = in.is_open() && forEachPiece(in, [&](std::span<const char> piece) {
                        sum.add(piece);
                        size += piece.size();
                        return true;
                      });
  if (!isRead) return false;
  const std::string head = headText(size, sum.hex());
  if (head.size() > kMaximumHead) return false;
  const std::string first =
      std::string(kMagic) + " " + std::to_string(head.size()) + " " + sha256Hex(head) + "\n";
  in.clear();
  in.seekg(0);
  return !target.write(bytesOf(first + head)) && forEachPiece(in, [&](std::span<const char> piece) {
    return !target.write(bytesOf(piece));
  });
}

bool StoredDocument::copyBody(NewFile& target) {
  Sha256 sum;
  std::uint64_t size = 0;
  const bool isCopied = forEachPiece(file_, [&](std::span<const char> piece) {
    sum.add(piece);
    size += piece.size();
    // What is longer than it says is not copied to its end.
    return size <= bodySize_ && !target.write(bytesOf(piece));
  });
  return isCopied && size == bodySize_ && sum.hex() == checksum_;
}

}  // namespace ks
