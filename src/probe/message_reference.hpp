#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kavu_probe {

/// A message key with the arguments for its text.
struct message_reference {
  std::string key;
  std::vector<std::string> arguments;
};

/// Reads the reference form of a message key ("#:error.timeout[10 s]"): "#:", the key, then in
/// brackets the arguments, separated by commas; in them each of # , : [ \ ] stands behind a
/// backslash. A plain key gives itself without arguments. Nothing for a text that starts like a
/// reference and is none.
std::optional<message_reference> parse_message_reference(std::string_view text);

/// `text` with "%0:s", "%1:s" ... replaced by the arguments and "%%" by a percent sign. Nothing
/// when a placeholder is malformed or names an argument that there is not.
std::optional<std::string> fill_in(std::string_view text, std::span<const std::string> arguments);

}  // namespace kavu_probe
