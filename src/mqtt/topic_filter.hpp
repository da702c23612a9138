#pragma once

#include <string>
#include <string_view>

namespace brunvik::monitoring_modules::mqtt {

/// A filter of topics, as MQTT 3.1.1 has it in section 4.7, with narrower wildcards.
///
/// "+" stands for any number, also zero, of letters, digits, blanks, "_", "." and "-"; "#", which
/// can only be last, for any number of these and of "/". So `a/#` matches `a/` and `a/b/c`, but
/// not `a`, and a level with any other character is matched by no wildcard. Every other character
/// stands for itself.
///
/// Immutable: may be used on any thread.
class topic_filter {
 public:
  /// Throws `exceptions::invalid_topic` when a wildcard does not stand where it may: "#" last and
  /// alone in its level, "+" alone in its level.
  explicit topic_filter(std::string filter);

  [[nodiscard]] const std::string& text() const noexcept { return filter_; }

  /// Whether the filter covers the whole topic, which may be any bytes of any length. Gives the
  /// answer of `pattern()`, in time linear in the topic's length and without recursion.
  [[nodiscard]] bool matches(std::string_view topic) const noexcept;

  /// Whether a broker delivers the topic for this filter (MQTT 3.1.1, sections 4.7.1 and 4.7.2) and
  /// the narrower wildcards leave it out: `a:1` for "#", `a` for `a/#`, or
  /// whatever comes for a shared subscription, "$share/GROUP/...". In linear time as well.
  [[nodiscard]] bool leaves_out(std::string_view topic) const noexcept;

  /// The filter as a regular expression of the ECMAScript grammar: what it means, in other words.
  /// Topics come from anybody, and the standard library's expressions overflow the stack on long
  /// ones, so this is for comparison and never meets a foreign text.
  [[nodiscard]] std::string pattern() const;

 private:
  std::string filter_;
};

}  // namespace brunvik::monitoring_modules::mqtt
