#pragma once

#include <string>
#include <string_view>

namespace kavu_probe {

/// The text of a definition document without its markup: [b], [i] and their ends are left out,
/// [br] becomes a line end. Other brackets stay.
std::string strip_markup(std::string_view text);

}  // namespace kavu_probe
