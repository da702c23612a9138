#pragma once

#include <utility>

#include "libexception/exception.hpp"
#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libi18n {

/// The root of every failure that a user may get to see. `what()` is the message's English text.
class i18n_exception : public libexception::exception {
 public:
  explicit i18n_exception(i18n_msg message)
      : exception(message.text()), message_(std::move(message)) {}

  /// A copy; when there is no memory left for it the process ends.
  [[nodiscard]] virtual i18n_msg message() const noexcept { return message_; }

 private:
  i18n_msg message_;
};

/// The step between a class of failures and its children, so that each family can be caught as one.
/// A leaf fills a message constant with what its constructor is given:
///
///     class exception : public libi18n::_i18n_exception<libi18n::i18n_exception> { ... };
///     class could_not_parse : public libi18n::_i18n_exception<exception> {
///      public:
///       explicit could_not_parse(const std::string& text)
///           : _i18n_exception(libi18n::make_msg(messages::could_not_parse(), text)) {}
///     };
template <class Parent>
class _i18n_exception : public Parent {
 public:
  explicit _i18n_exception(i18n_msg message) : Parent(std::move(message)) {}
};

}  // namespace brunvik::monitoring_modules::libi18n
