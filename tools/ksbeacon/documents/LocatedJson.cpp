#include "tools/ksbeacon/documents/LocatedJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/error.hpp>
#include <charconv>
#include <optional>
#include <unordered_set>

#include "BeaconSDK/Platform/Api/Value.h"
#include "tools/ksbeacon/documents/TextFile.h"

namespace ks::tool {

namespace {

namespace json = boost::json;

/// Builds the tree from the parser's events. The parser is fed one line at a time (no JSON token
/// but white space holds a line break), so the line that is being fed is the line of the event.
class TreeBuilder {
 public:
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  int line = 1;
  bool takesRepeatedMembers = false;
  JsonNode root;
  /// The member that stands twice, when that is why the parser stopped.
  std::optional<std::string> repeated;

  bool on_document_begin(json::error_code&) { return true; }
  bool on_document_end(json::error_code&) { return true; }
  bool on_object_begin(json::error_code&) { return open(JsonNode::Members{}); }
  bool on_object_end(std::size_t, json::error_code&) { return close(); }
  bool on_array_begin(json::error_code&) { return open(JsonNode::List{}); }
  bool on_array_end(std::size_t, json::error_code&) { return close(); }
  bool on_key_part(json::string_view part, std::size_t, json::error_code&) {
    text_.append(part.data(), part.size());
    return true;
  }
  bool on_key(json::string_view part, std::size_t, json::error_code& ec) {
    text_.append(part.data(), part.size());
    Open& object = open_.back();
    if (!takesRepeatedMembers && !object.names.insert(text_).second) {
      repeated = std::move(text_);
      ec = json::error::syntax;
      return false;
    }
    object.key = std::move(text_);
    text_.clear();
    return true;
  }
  bool on_string_part(json::string_view part, std::size_t, json::error_code&) {
    text_.append(part.data(), part.size());
    return true;
  }
  bool on_string(json::string_view part, std::size_t, json::error_code&) {
    text_.append(part.data(), part.size());
    const bool added = add(std::move(text_));
    text_.clear();
    return added;
  }
  bool on_number_part(json::string_view, json::error_code&) { return true; }
  bool on_int64(std::int64_t n, json::string_view, json::error_code&) {
    return add(static_cast<double>(n));
  }
  bool on_uint64(std::uint64_t n, json::string_view, json::error_code&) {
    return add(static_cast<double>(n));
  }
  bool on_double(double n, json::string_view, json::error_code&) { return add(n); }
  bool on_bool(bool flag, json::error_code&) { return add(flag); }
  bool on_null(json::error_code&) { return add(nullptr); }
  bool on_comment_part(json::string_view, json::error_code&) { return true; }
  bool on_comment(json::string_view, json::error_code&) { return true; }

 private:
  struct Open {
    JsonNode node;
    std::string key;
    std::unordered_set<std::string> names;
  };

  template <class T>
  bool open(T container) {
    open_.push_back({{std::move(container), line}, {}, {}});
    return true;
  }
  bool close() {
    JsonNode node = std::move(open_.back().node);
    open_.pop_back();
    attach(std::move(node));
    return true;
  }
  template <class T>
  bool add(T value) {
    attach({std::move(value), line});
    return true;
  }
  void attach(JsonNode node) {
    if (open_.empty()) {
      root = std::move(node);
    } else if (auto* list = std::get_if<JsonNode::List>(&open_.back().node.value)) {
      list->push_back(std::move(node));
    } else {
      std::get<JsonNode::Members>(open_.back().node.value)
          .emplace_back(std::move(open_.back().key), std::move(node));
    }
  }

  std::vector<Open> open_;
  std::string text_;
};

std::string reasonFor(const json::error_code& ec) {
  if (ec == json::error::incomplete) return "the document ends too early";
  if (ec == json::error::extra_data) return "something stands after the end of the document";
  if (ec == json::error::too_deep) {
    return fmt::format("lists and objects nest deeper than {}", kMaximumDocumentDepth);
  }
  return ec.message();
}

}  // namespace

std::string JsonNode::inWords() const {
  if (const bool* flag = boolean()) return *flag ? "true" : "false";
  if (const double* n = number()) return numberDescription(*n);
  if (const std::string* text = string()) {
    constexpr std::size_t kShown = 40;
    return text->size() <= kShown ? fmt::format("\"{}\"", *text)
                                  : fmt::format("a text of {} bytes", text->size());
  }
  if (list() != nullptr) return "a list";
  if (members() != nullptr) return "an object";
  return "null";
}

int JsonNode::lineOf(std::string_view member) const {
  if (list() != nullptr && member.starts_with('[')) {
    std::size_t index = list()->size();
    const char* const end = member.data() + member.size();
    const auto [rest, ignored] = std::from_chars(member.data() + 1, end, index);
    if (index < list()->size() && rest != end) return (*list())[index].lineOf({rest + 1, end});
  } else if (members() != nullptr) {
    if (member.starts_with('.')) member.remove_prefix(1);
    const auto found =
        std::ranges::find_if(members()->rbegin(), members()->rend(), [&](const auto& each) {
          const auto rest = member.substr(std::min(each.first.size(), member.size()));
          return member.starts_with(each.first) &&
                 (rest.empty() || rest.front() == '.' || rest.front() == '[');
        });
    if (found != members()->rend()) return found->second.lineOf(member.substr(found->first.size()));
  }
  return line;
}

std::variant<JsonNode, InputError> parseLocatedJson(std::string_view text, const std::string& file,
                                                    const LocatedJsonOptions& wanted) {
  if (text.size() > wanted.maximumBytes) {
    return InputError{file, 0, "",
                      fmt::format("expected at most {} MiB", wanted.maximumBytes >> 20)};
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  json::parse_options options;
  options.max_depth = kMaximumDocumentDepth;
  json::basic_parser<TreeBuilder> parser(options);
  TreeBuilder& tree = parser.handler();
  tree.takesRepeatedMembers = wanted.repeatedMembers;
  json::error_code ec;
  while (!text.empty() && !ec) {
    const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
    const bool more = length < text.size();
    const std::size_t used = parser.write_some(more, text.data(), length, ec);
    if (!ec && used < length &&
        text.substr(used, length - used).find_first_not_of(" \t\r\n") != std::string_view::npos) {
      ec = json::error::extra_data;
    }
    text.remove_prefix(length);
    if (!ec && more) ++tree.line;
  }
  if (!ec && !parser.done()) ec = json::error::incomplete;
  if (tree.repeated) {
    return InputError{file, tree.line, *tree.repeated, "expected this member only once"};
  }
  if (ec) return InputError{file, tree.line, "", "expected JSON: " + reasonFor(ec)};
  return std::move(tree.root);
}

std::variant<JsonNode, InputError> readLocatedJson(const std::string& path) {
  auto text = readTextFile(path, kMaximumDocumentBytes);
  if (auto* const error = std::get_if<InputError>(&text)) return std::move(*error);
  return parseLocatedJson(std::get<std::string>(text), path);
}

}  // namespace ks::tool
