#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "helpers/eventually.hpp"

namespace kavu_test {

/// A program started by a test. It never outlives the test: the destructor kills it, and the
/// kernel does so when the test program dies. It inherits no descriptor but its standard ones; a
/// connection that the test closes is therefore really closed.
///
/// One thread at a time.
class child_process {
 public:
  /// Starts `arguments[0]` (a path), standard input from /dev/null, standard output and standard
  /// error appended to the file `output`. Throws std::runtime_error when it cannot be started.
  child_process(const std::vector<std::string>& arguments, const std::filesystem::path& output);
  ~child_process();
  child_process(const child_process&) = delete;
  child_process& operator=(const child_process&) = delete;

  pid_t id() const noexcept { return id_; }

  /// Does nothing when the process has ended.
  void send_signal(int number);

  bool running();

  /// Waits for the end. The exit code, or 128 plus the number of the signal that ended it;
  /// nothing when it still runs at the deadline.
  std::optional<int> wait(std::chrono::milliseconds deadline = default_deadline);

 private:
  void reap(int options);

  pid_t id_;
  std::optional<int> exit_code_;
};

/// Path of a program: looked for in PATH, then in /usr/sbin and /sbin, where brokers are. Throws
/// std::runtime_error when there is none.
std::string find_program(const std::string& name);

/// Runs a program to its end and throws std::runtime_error with its output when it fails.
void run_program(const std::vector<std::string>& arguments);

}  // namespace kavu_test
