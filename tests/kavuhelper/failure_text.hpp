#pragma once

#include <string>

namespace kavu_test {

/// The text of the failure that `action` ends with; any other failure goes on.
template <class Failure, class Action>
std::string failure_text(const Action& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "nothing was thrown";
}

}  // namespace kavu_test
