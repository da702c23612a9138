#pragma once

#include <exception>
#include <string>
#include <utility>

/// The root of every failure that our own code raises.
///
/// A failure that a user may get to see derives from `libi18n::i18n_exception` instead, which adds
/// a message that can be translated; a plain one tells a developer about a mistake in the program.
namespace brunvik::monitoring_modules::libexception {

/// A failure with a text for people. [any-thread]
class exception : public std::exception {
 public:
  explicit exception(std::string message) : message_(std::move(message)) {}

  /// Valid for as long as this object lives.
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

/// The step between a class of failures and its children, so that each family can be caught as one:
///
///     class exception : public libexception::_exception<libexception::exception> { ... };
///     class format_error : public libexception::_exception<exception> { ... };
template <class Parent>
class _exception : public Parent {
 public:
  explicit _exception(std::string message) : Parent(std::move(message)) {}
};

}  // namespace brunvik::monitoring_modules::libexception
