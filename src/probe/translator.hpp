#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common.pb.h"
#include "probe/definition.hpp"

namespace kavu_probe {

inline constexpr std::string_view english = "English";

/// Turns message keys into the language that the user asked for.
///
/// Looks into the definition document's texts, then falls back to the English text that came with
/// the message or stands in the document. The definition must outlive it. Reading is
/// [any-thread].
class translator {
 public:
  /// Throws usage_error naming the document's languages when `language` is none of them; English
  /// is always known.
  translator(const definition& source, std::string_view language);

  /// The text of a message or a name, arguments filled in. A message without a key, or whose key
  /// is its text, is nobody's to translate and stays as it is.
  std::string text(const kavu::wire::LocalisedText& message) const;

  /// The text behind a key of the document, or `fallback`.
  std::string text(const std::string& key, std::string_view fallback) const;

  /// What a value of a lookup is called; nothing when the lookup has no such value.
  std::optional<lookup_value> look_up(std::string_view lookup_name, std::int64_t value) const;

 private:
  const std::string* find(std::string_view key) const;

  const definition& definition_;
  const text_table* table_ = nullptr;
  bool english_ = true;
};

}  // namespace kavu_probe
