#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "helpers/child_process.hpp"
#include "helpers/temporary_directory.hpp"

namespace kavu_test {

/// One run of kavu-probe, its two outputs apart.
class probe_run {
 public:
  /// Starts it with these arguments and additional environment variables.
  explicit probe_run(const std::vector<std::string>& arguments,
                     const std::map<std::string, std::string>& environment = {});

  child_process& process() { return process_; }

  /// Waits for its end; the exit code. Throws std::runtime_error when it does not end.
  int wait();

  std::string output() const;
  std::string errors() const;
  std::vector<std::string> output_lines() const;

  /// Waits until standard output or standard error holds the text; whether it did.
  bool wait_for_output(const std::string& text);
  bool wait_for_errors(const std::string& text);

 private:
  temporary_directory directory_;
  child_process process_;
};

}  // namespace kavu_test
