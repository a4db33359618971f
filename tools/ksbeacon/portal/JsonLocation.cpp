#include "tools/ksbeacon/portal/JsonLocation.h"

#include <algorithm>
#include <string>

namespace ks::portal {

namespace {

/// Walks a valid JSON text towards one member, skipping everything beside its path.
class Walk {
 public:
  Walk(std::string_view text, std::string_view member) : text_(text), member_(member) {}

  int line() {
    value("");
    return lineAt(text_, best_);
  }

 private:
  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void space() {
    while (at_ < text_.size() &&
           (peek() == ' ' || peek() == '\t' || peek() == '\r' || peek() == '\n')) {
      ++at_;
    }
  }
  bool take(char c) {
    space();
    if (peek() != c) return false;
    ++at_;
    return true;
  }

  /// True when the member is `path` or lies within it.
  bool leadsToMember(const std::string& path) const {
    if (!member_.starts_with(path)) return false;
    return member_.size() == path.size() || path.empty() || member_[path.size()] == '.' ||
           member_[path.size()] == '[';
  }

  void value(const std::string& path) {
    space();
    best_ = at_;
    if (take('[')) {
      for (int index = 0; !take(']') && at_ < text_.size(); ++index) {
        child(path + "[" + std::to_string(index) + "]");
        if (isFound_) return;
        take(',');
      }
    } else if (take('{')) {
      while (!take('}') && at_ < text_.size()) {
        space();
        const std::size_t begin = at_ + 1;
        string();
        const auto name = text_.substr(begin, at_ - begin - 1);
        take(':');
        child(path + (path.empty() ? "" : ".") + std::string(name));
        if (isFound_) return;
        take(',');
      }
    }
    isFound_ = true;
  }

  void child(const std::string& path) {
    if (leadsToMember(path)) {
      value(path);
    } else {
      skip();
    }
  }

  void string() {
    for (++at_; at_ < text_.size() && peek() != '"'; ++at_) {
      if (peek() == '\\') ++at_;
    }
    ++at_;
  }

  void skip() {
    int depth = 0;
    space();
    while (at_ < text_.size()) {
      const char c = peek();
      if (c == '"') {
        string();
      } else if (depth == 0 && (c == ',' || c == ']' || c == '}')) {
        return;
      } else {
        if (c == '[' || c == '{') ++depth;
        if (c == ']' || c == '}') --depth;
        ++at_;
      }
    }
  }

  const std::string_view text_;
  const std::string_view member_;
  std::size_t at_ = 0;
  std::size_t best_ = 0;
  /// The walk went as deep as the path leads.
  bool isFound_ = false;
};

}  // namespace

int lineAt(std::string_view text, std::size_t offset) {
  const auto head = text.substr(0, offset);
  return 1 + static_cast<int>(std::count(head.begin(), head.end(), '\n'));
}

int lineOfMember(std::string_view text, std::string_view member) {
  return Walk(text, member).line();
}

}  // namespace ks::portal
