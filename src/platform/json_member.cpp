#include "platform/json_member.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::platform {
namespace {

/// Walks over JSON text without building anything.
class scanner {
 public:
  explicit scanner(std::string_view json) : json_(json) {}

  [[nodiscard]] std::size_t position() const { return position_; }

  void skip_blanks() {
    position_ = std::min(json_.find_first_not_of(" \t\r\n", position_), json_.size());
  }

  [[nodiscard]] bool take(char wanted) {
    skip_blanks();
    const bool found = peek() == wanted;
    position_ += found ? 1 : 0;
    return found;
  }

  void expect(char wanted) {
    if (!take(wanted)) {
      fail(std::string("'") + wanted + "' expected");
    }
  }

  void expect_end() {
    skip_blanks();
    if (position_ != json_.size()) {
      fail("end of the text expected");
    }
  }

  /// What stands between the quotes, escapes as they are.
  std::string_view take_string() {
    expect('"');
    const std::size_t start = position_;
    while (peek() != '"') {
      position_ += peek() == '\\' ? 2 : 1;
      if (position_ >= json_.size()) {
        fail("a string has no end");
      }
    }
    return json_.substr(start, position_++ - start);
  }

  void skip_value() {
    skip_blanks();
    std::size_t depth = 0;
    skip_token(depth);
    while (depth > 0) {
      skip_blanks();
      skip_token(depth);
    }
  }

 private:
  /// Never at the end of the text while a value is open.
  [[nodiscard]] char peek() const { return position_ < json_.size() ? json_[position_] : '\0'; }

  void skip_token(std::size_t& depth) {
    switch (peek()) {
      case '"':
        take_string();
        return;
      case '{':
      case '[':
        ++depth;
        break;
      case '}':
      case ']':
        if (depth == 0) {
          fail("a value expected");
        }
        --depth;
        break;
      case ',':
      case ':':
        if (depth == 0) {
          fail("a value expected");
        }
        break;
      case '\0':
        fail("the text ends too early");
        break;
      default:
        position_ = std::min(json_.find_first_of(" \t\r\n,:{}[]\"", position_), json_.size());
        return;
    }
    ++position_;
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw libkavuhelper::utils::exceptions::create_protobuf_from_json_failed(
        what + " at byte " + std::to_string(position_) + ".");
  }

  std::string_view json_;
  std::size_t position_ = 0;
};

struct member {
  std::size_t start;
  std::size_t end;
  bool is_kept;
};

/// What separates a member from the one before it goes with it.
std::string join_kept(std::string_view json, const std::vector<member>& members) {
  if (members.empty()) {
    return std::string(json);
  }
  std::string kept(json.substr(0, members.front().start));
  bool is_first = true;
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (members[i].is_kept) {
      const std::size_t from = is_first ? members[i].start : members[i - 1].end;
      kept += json.substr(from, members[i].end - from);
      is_first = false;
    }
  }
  kept += json.substr(members.back().end);
  return kept;
}

}  // namespace

std::string without_member(std::string_view json, std::string_view name) {
  scanner scan(json);
  scan.expect('{');
  std::vector<member> members;
  if (!scan.take('}')) {
    do {
      scan.skip_blanks();
      member next{scan.position(), 0, false};
      next.is_kept = scan.take_string() != name;
      scan.expect(':');
      scan.skip_value();
      next.end = scan.position();
      members.push_back(next);
    } while (scan.take(','));
    scan.expect('}');
  }
  scan.expect_end();
  return join_kept(json, members);
}

}  // namespace brunvik::monitoring_modules::platform
