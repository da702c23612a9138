#include "probe/translator.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "probe/failure.hpp"
#include "probe/message_reference.hpp"
#include "probe/nearest.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {

translator::translator(const definition& source, std::string_view language)
    : definition_(source), english_(language == english) {
  const auto found = source.texts.find(language);
  if (found != source.texts.end()) {
    table_ = &found->second;
  } else if (!english_) {
    const std::vector<std::string_view> known(source.languages.begin(), source.languages.end());
    throw usage_error(fmt::format("--language: there is no \"{}\"; the module speaks {}{}",
                                  quotable(language), fmt::join(known, ", "),
                                  did_you_mean(language, known)));
  }
}

const std::string* translator::find(std::string_view key) const {
  if (table_ == nullptr) {
    return nullptr;
  }
  const auto found = table_->find(key);
  return found == table_->end() || found->second.empty() ? nullptr : &found->second;
}

std::string translator::text(const kavu::wire::LocalisedText& message) const {
  // The English text came complete with the message.
  if ((english_ && !message.text().empty()) || message.key() == message.text()) {
    return message.text();
  }
  if (const auto reference = parse_message_reference(message.key())) {
    if (const std::string* translated = find(reference->key)) {
      if (auto filled = fill_in(*translated, reference->arguments)) {
        return std::move(*filled);
      }
    }
  }
  return message.text().empty() ? message.key() : message.text();
}

std::string translator::text(const std::string& key, std::string_view fallback) const {
  const std::string* translated = find(key);
  const std::string_view chosen = translated != nullptr ? *translated : fallback;
  // The texts of the document are formats: a percent sign stands twice in them.
  return fill_in(chosen, {}).value_or(std::string(chosen));
}

std::optional<lookup_value> translator::look_up(std::string_view lookup_name,
                                                std::int64_t value) const {
  const auto table = definition_.lookups.find(lookup_name);
  if (table == definition_.lookups.end()) {
    return std::nullopt;
  }
  const auto entry = table->second.find(value);
  if (entry == table->second.end()) {
    return std::nullopt;
  }
  return lookup_value{text(fmt::format("lookup.{}.{}", lookup_name, value), entry->second.display),
                      entry->second.state};
}

}  // namespace kavu_probe
