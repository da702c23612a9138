#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "probe/definition.hpp"

namespace kavu_probe {

/// Settings of one group that differ only by a number in their names ("channel2_name" ...
/// "channel10_name"), or a single setting.
struct setting_family {
  /// The number in the name replaced by "N" when there is more than one.
  std::string name;
  /// Not null; lives in the group.
  const setting* first;
  /// The numbers of the members, in the document's order; empty for a single setting.
  std::vector<std::string> numbers;
};

/// Puts the settings of a group that belong together into families, in the order of their first
/// members. Only settings that are alike in type, limits, default and flags belong together. The
/// group must outlive the result.
std::vector<setting_family> find_families(const setting_group& group);

/// `text` with the first occurrence of `number` as a whole number replaced by "N".
std::string replace_number(std::string_view text, std::string_view number);

}  // namespace kavu_probe
