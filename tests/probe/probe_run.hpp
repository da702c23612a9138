#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "helpers/child_process.hpp"
#include "helpers/eventually.hpp"
#include "helpers/temporary_directory.hpp"

namespace kavu_test {

/// One run of kavu-probe, its two outputs apart.
class probe_run {
 public:
  explicit probe_run(const std::vector<std::string>& arguments,
                     const std::map<std::string, std::string>& environment = {})
      : process_(command(arguments, environment), directory_.path() / "output") {}

  child_process& process() { return process_; }

  /// Waits for its end; the exit code.
  int wait() {
    const auto code = process_.wait();
    if (!code) {
      throw std::runtime_error("kavu-probe does not end; it said: " + errors());
    }
    return *code;
  }

  std::string output() const { return read("output"); }
  std::string errors() const { return read("errors"); }
  std::vector<std::string> output_lines() const {
    std::istringstream text(output());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  /// Waits until one of the outputs holds the text; whether it did.
  bool wait_for(const std::string& text) const {
    return eventually([&] { return (output() + errors()).find(text) != std::string::npos; });
  }

 private:
  /// The shell splits the outputs and makes way for the program, whose process id stays the same.
  std::vector<std::string> command(const std::vector<std::string>& arguments,
                                   const std::map<std::string, std::string>& environment) const {
    std::vector<std::string> parts = {"/bin/sh", "-c", "exec \"$@\" 2>\"$0\"",
                                      directory_.path() / "errors", "/usr/bin/env"};
    for (const auto& [name, value] : environment) {
      parts.push_back(name + "=" + value);
    }
    parts.emplace_back(KAVU_PROBE);
    parts.insert(parts.end(), arguments.begin(), arguments.end());
    return parts;
  }

  std::string read(const char* name) const {
    std::ostringstream text;
    text << std::ifstream(directory_.path() / name, std::ios::binary).rdbuf();
    return text.str();
  }

  temporary_directory directory_;
  child_process process_;
};

}  // namespace kavu_test
