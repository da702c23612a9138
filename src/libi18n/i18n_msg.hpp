#pragma once

#include <array>
#include <concepts>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace brunvik::monitoring_modules::libi18n {

/// A text for users that can be shown in their language: the key under which the translations are
/// found, and the English text that stands in where there is none.
///
/// A message without arguments has a plain key. One that was made with arguments bears them in its
/// key, "#:key[first,second]", so that whoever translates needs nothing but the key; its text has
/// them filled in. A value, free to copy. [any-thread]
class i18n_msg {
 public:
  i18n_msg(std::string key, std::string text) : key_(std::move(key)), text_(std::move(text)) {}

  /// A text that has no translation, such as one from outside: it is its own key.
  [[nodiscard]] static i18n_msg verbatim(std::string text) { return {text, text}; }

  [[nodiscard]] const std::string& key() const noexcept { return key_; }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }

  friend bool operator==(const i18n_msg&, const i18n_msg&) = default;

 private:
  std::string key_;
  std::string text_;
};

/// Fills the placeholders of `constant` (see libstringutils/format.hpp for their form) and puts the
/// arguments into the key, where each of # , : [ \ ] is preceded by a backslash. Throws the
/// failures of `libstringutils::format` when text and arguments do not fit.
[[nodiscard]] i18n_msg make_msg_from(const i18n_msg& constant,
                                     std::span<const std::string> arguments);

/// The same with the arguments one by one.
template <class... Arguments>
requires(std::convertible_to<const Arguments&, std::string_view>&&...) [[nodiscard]] i18n_msg
    make_msg(const i18n_msg& constant, const Arguments&... arguments) {
  const std::array<std::string, sizeof...(Arguments)> list{
      std::string(std::string_view(arguments))...};
  return make_msg_from(constant, list);
}

}  // namespace brunvik::monitoring_modules::libi18n
