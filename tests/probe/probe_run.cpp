#include "probe/probe_run.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "helpers/eventually.hpp"

namespace kavu_test {
namespace {

std::string read(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// The shell splits the outputs and makes way for the program, whose process id stays the same.
std::vector<std::string> command(const std::filesystem::path& folder,
                                 const std::vector<std::string>& arguments,
                                 const std::map<std::string, std::string>& environment) {
  std::vector<std::string> parts = {"/bin/sh", "-c", "exec \"$@\" 2>\"$0\"", folder / "errors",
                                    "/usr/bin/env"};
  for (const auto& [name, value] : environment) {
    parts.push_back(name + "=" + value);
  }
  parts.emplace_back(KAVU_PROBE);
  parts.insert(parts.end(), arguments.begin(), arguments.end());
  return parts;
}

}  // namespace

probe_run::probe_run(const std::vector<std::string>& arguments,
                     const std::map<std::string, std::string>& environment)
    : process_(command(directory_.path(), arguments, environment), directory_.path() / "output") {}

int probe_run::wait() {
  const auto code = process_.wait();
  if (!code) {
    throw std::runtime_error("kavu-probe does not end; it said: " + errors());
  }
  return *code;
}

std::string probe_run::output() const {
  return read(directory_.path() / "output");
}

std::string probe_run::errors() const {
  return read(directory_.path() / "errors");
}

std::vector<std::string> probe_run::output_lines() const {
  std::istringstream text(output());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

bool probe_run::wait_for_output(const std::string& text) {
  return eventually([&] { return output().find(text) != std::string::npos; });
}

bool probe_run::wait_for_errors(const std::string& text) {
  return eventually([&] { return errors().find(text) != std::string::npos; });
}

}  // namespace kavu_test
