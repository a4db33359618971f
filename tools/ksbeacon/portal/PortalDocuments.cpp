#include "tools/ksbeacon/portal/PortalDocuments.h"

#include <algorithm>
#include <boost/json/stream_parser.hpp>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <variant>

namespace ks::portal {

namespace json = boost::json;

namespace {

/// A document with more than this wrong is not looked at further.
constexpr std::size_t kMaximumProblems = 100;

std::optional<std::string> readFile(const std::filesystem::path& file) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (error || size > kMaximumDocumentSize) return std::nullopt;
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

/// The same text with its lines, for the sake of messages.
std::variant<tool::JsonNode, tool::InputError> locate(const PortalDocument& document) {
  return tool::parseLocatedJson(document.text, document.file.string(),
                                {.maximumBytes = kMaximumDocumentSize, .repeatedMembers = true});
}

void addProblem(PortalDocument& document, int line, std::string member, std::string message) {
  if (document.problems.size() >= kMaximumProblems) return;
  document.problems.push_back({document.file, line, std::move(member), std::move(message)});
}

}  // namespace

std::string DocumentProblem::description() const {
  std::string text = file.string();
  if (line > 0) text += ":" + std::to_string(line);
  if (!member.empty()) text += ": " + member;
  return text + ": " + message;
}

int PortalDocument::lineOf(std::string_view member) {
  if (!located_) {
    auto read = locate(*this);
    auto* const root = std::get_if<tool::JsonNode>(&read);
    located_ = root == nullptr ? tool::JsonNode{} : std::move(*root);
  }
  return located_->lineOf(member);
}

PortalDocument readDocument(DocumentKind kind, const std::filesystem::path& folder) {
  const auto file = folder / documentFileName(kind);
  // A link that leads nowhere, or a folder that may not be searched, is no missing file.
  std::error_code error;
  const bool exists =
      std::filesystem::symlink_status(file, error).type() != std::filesystem::file_type::not_found;
  auto text = exists ? readFile(file) : std::nullopt;
  if (!text) {
    PortalDocument document;
    document.kind = kind;
    document.file = file;
    document.exists = exists;
    if (exists) addProblem(document, 0, "", "cannot be read, or is larger than 64 MiB");
    return document;
  }
  return parseDocument(kind, file, std::move(*text));
}

PortalDocument parseDocument(DocumentKind kind, const std::filesystem::path& file,
                             std::string text) {
  PortalDocument document;
  document.kind = kind;
  document.file = file;
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  document.text = std::move(text);

  json::stream_parser parser;
  boost::system::error_code error;
  const std::size_t used = parser.write_some(document.text, error);
  if (!error && used < document.text.size()) error = json::make_error_code(json::error::extra_data);
  if (!error) parser.finish(error);
  if (error) {
    const auto read = locate(document);
    const auto* const mistake = std::get_if<tool::InputError>(&read);
    addProblem(document, mistake == nullptr ? 0 : mistake->line, "",
               "no valid JSON: " + error.message());
    return document;
  }
  json::value value = parser.release();
  if (!value.is_array()) {
    addProblem(document, document.lineOf(""), "", "expected a list of objects");
    return document;
  }
  document.items = std::move(value.as_array());

  checkItems(kind, document.items, [&](const std::string& member, const std::string& message) {
    if (document.problems.size() < kMaximumProblems) {
      addProblem(document, document.lineOf(member), member, message);
    }
  });
  return document;
}

}  // namespace ks::portal
