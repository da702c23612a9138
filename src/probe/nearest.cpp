#include "probe/nearest.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace kavu_probe {
namespace {

// A longer one is no slip of the finger, and the comparison below grows with the square.
constexpr std::size_t longest_word = 64;
constexpr std::size_t shortest_beginning = 3;

std::string in_small_letters(std::string_view word) {
  std::string small(word);
  for (char& letter : small) {
    if (letter >= 'A' && letter <= 'Z') {
      letter = static_cast<char>(letter - 'A' + 'a');
    }
  }
  return small;
}

/// How many letters have to be added, removed, replaced or exchanged with their neighbour.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> before_last(other.size() + 1);
  std::vector<std::size_t> last(other.size() + 1);
  std::vector<std::size_t> current(other.size() + 1);
  for (std::size_t column = 0; column <= other.size(); ++column) {
    last[column] = column;
  }
  for (std::size_t row = 1; row <= one.size(); ++row) {
    current[0] = row;
    for (std::size_t column = 1; column <= other.size(); ++column) {
      const std::size_t replaced = last[column - 1] + (one[row - 1] == other[column - 1] ? 0 : 1);
      current[column] = std::min({last[column] + 1, current[column - 1] + 1, replaced});
      if (row > 1 && column > 1 && one[row - 1] == other[column - 2] &&
          one[row - 2] == other[column - 1]) {
        current[column] = std::min(current[column], before_last[column - 2] + 1);
      }
    }
    before_last.swap(last);
    last.swap(current);
  }
  return last[other.size()];
}

bool one_begins_the_other(std::string_view one, std::string_view other) {
  const std::size_t shorter = std::min(one.size(), other.size());
  return shorter >= shortest_beginning && one.substr(0, shorter) == other.substr(0, shorter);
}

}  // namespace

std::string_view find_nearest(std::string_view word, std::span<const std::string_view> known) {
  if (word.empty() || word.size() > longest_word) {
    return {};
  }
  const std::string given = in_small_letters(word);
  std::string_view nearest;
  std::size_t smallest = longest_word;
  for (const std::string_view candidate : known) {
    const std::string wanted = in_small_letters(candidate.substr(0, longest_word));
    const std::size_t far = std::max<std::size_t>(1, std::max(given.size(), wanted.size()) / 3);
    std::size_t away = distance(given, wanted);
    if (away > far && one_begins_the_other(given, wanted)) {
      away = far + 1;
    } else if (away > far) {
      continue;
    }
    if (away < smallest) {
      smallest = away;
      nearest = candidate;
    }
  }
  return nearest;
}

std::string did_you_mean(std::string_view word, std::span<const std::string_view> known) {
  const std::string_view nearest = find_nearest(word, known);
  return nearest.empty() ? "." : fmt::format("; did you mean {}?", nearest);
}

}  // namespace kavu_probe
