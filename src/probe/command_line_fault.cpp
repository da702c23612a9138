#include "probe/command_line_fault.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "probe/nearest.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

/// The commands as they were given, from the program down.
std::vector<const CLI::App*> given_commands(const CLI::App& app) {
  std::vector<const CLI::App*> commands{&app};
  while (!commands.back()->get_subcommands().empty()) {
    commands.push_back(commands.back()->get_subcommands().front());
  }
  return commands;
}

std::string path_of(const std::vector<const CLI::App*>& commands) {
  std::string path;
  for (const CLI::App* command : commands) {
    path += (path.empty() ? "" : " ") + command->get_name();
  }
  return path;
}

/// "scan has", and for the program itself, whose name stands before every failure, "there is".
std::string subject(const std::vector<const CLI::App*>& commands) {
  return commands.size() == 1 ? "there is" : commands.back()->get_name() + " has";
}

std::vector<std::string_view> names_below(const CLI::App& command) {
  std::vector<std::string_view> names;
  for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(below->get_name());
  }
  return names;
}

std::string explain_option(std::string_view word, const std::vector<const CLI::App*>& commands) {
  const std::string_view name = word.substr(0, word.find('='));
  std::vector<std::string> options;
  for (const CLI::App* command : commands) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& known : option->get_lnames()) {
        options.push_back("--" + known);
      }
    }
  }
  // The dashes, which all have, would make short names look alike.
  std::vector<std::string_view> bare(options.begin(), options.end());
  for (std::string_view& option : bare) {
    option.remove_prefix(2);
  }
  const std::string_view nearest =
      find_nearest(name.substr(std::min(name.find_first_not_of('-'), name.size())), bare);
  return fmt::format("{} no option {}{}", subject(commands), quotable(name),
                     nearest.empty() ? "" : fmt::format("; did you mean --{}?", nearest));
}

std::string explain_word(const std::string& word, const std::vector<const CLI::App*>& commands) {
  const std::vector<std::string_view> known = names_below(*commands.back());
  if (known.empty()) {
    return fmt::format("{} does not expect \"{}\"", commands.back()->get_name(), quotable(word));
  }
  const std::string_view nearest = find_nearest(word, known);
  return fmt::format("{} no command \"{}\"; {}", subject(commands), quotable(word),
                     nearest.empty() ? fmt::format("there are {}", fmt::join(known, ", "))
                                     : fmt::format("did you mean {}?", nearest));
}

std::string explain_rest(const CLI::ParseError& failure,
                         const std::vector<const CLI::App*>& commands) {
  const std::vector<std::string_view> below = names_below(*commands.back());
  if (dynamic_cast<const CLI::RequiredError*>(&failure) != nullptr && !below.empty()) {
    const std::string who =
        commands.size() == 1 ? "a command is" : "behind " + commands.back()->get_name() + " one is";
    return fmt::format("{} needed: {}", who, fmt::join(below, ", "));
  }
  std::string text = failure.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&failure) != nullptr) {
    const bool missing = text.find("missing") != std::string::npos;
    text = text.substr(0, text.find(':')) + (missing ? " needs a value" : " stands twice");
  }
  return quotable(text.substr(0, text.find_last_not_of('\n') + 1), 500);
}

}  // namespace

std::string explain_fault(const CLI::App& app, const CLI::ParseError& failure) {
  const std::vector<const CLI::App*> commands = given_commands(app);
  const std::vector<std::string> strangers = app.remaining(true);
  const std::string fault = strangers.empty() ? explain_rest(failure, commands)
                            : strangers.front().starts_with('-')
                                ? explain_option(strangers.front(), commands)
                                : explain_word(strangers.front(), commands);
  return fmt::format("{} (see {} --help)", fault, path_of(commands));
}

}  // namespace kavu_probe
