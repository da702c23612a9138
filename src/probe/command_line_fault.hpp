#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kavu_probe {

/// One line for a person: what is wrong with a command line that `app` has failed to parse. Names
/// the word that nobody knows, and the one that was probably meant.
std::string explain_fault(const CLI::App& app, const CLI::ParseError& failure);

}  // namespace kavu_probe
