#pragma once

#include <stdexcept>
#include <string>

namespace kavu_probe {

/// What the program ends with. A signal ends it with 128 plus its number instead.
namespace exit_code {
inline constexpr int well = 0;
inline constexpr int answer_is_error = 1;
inline constexpr int wrong_usage = 2;
}  // namespace exit_code

/// The command line, a file that it names or the module does not fit what was asked. The text is
/// one line for the person who typed it.
class usage_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Something that was needed did not work (a module that cannot be initialised, a broker that
/// does not start). The text is one line.
class probe_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A signal asked the program to end; nothing of the module is running.
class stopped : public std::exception {
 public:
  const char* what() const noexcept override { return "stopped by a signal"; }
};

/// A signal asked the program to end, and a call of the module has not come back: the module
/// cannot be cleaned up any more, only left behind with the process.
class call_abandoned : public std::exception {
 public:
  const char* what() const noexcept override { return "stopped during a call of the module"; }
};

}  // namespace kavu_probe
