#pragma once

#include <span>
#include <string>
#include <string_view>

// Finding what somebody meant who has mistyped a word.
namespace kavu_probe {

/// The word of `known` that `word` most likely stands for: a slip of the finger away (a letter too
/// many, missing, wrong, or two exchanged), or its beginning. Capitals do not count. Empty when
/// none is near.
std::string_view find_nearest(std::string_view word, std::span<const std::string_view> known);

/// "; did you mean ...?" with the nearest of `known`, and "." when none is near.
std::string did_you_mean(std::string_view word, std::span<const std::string_view> known);

}  // namespace kavu_probe
