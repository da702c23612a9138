#pragma once

#include <string>

#include "kavuhelper/responses/sensor_scan_result.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Why the values of a result may not be all that they seem.
class warnings {
 public:
  /// Adds a sentence; an empty one is none.
  void add(const std::string& text) {
    if (!text.empty()) {
      text_ += (text_.empty() ? "" : " ") + text;
    }
  }

  /// Makes the result a warning, if there is anything to say. Its message follows the warnings. A
  /// result that is worse than a warning keeps its code.
  void apply_to(libkavuhelper::responses::sensor_scan_result& result) const {
    using libkavuhelper::responses::scan_response_codes;
    if (text_.empty()) {
      return;
    }
    const auto& message = result.get_response_message();
    result.set_response_message(
        libi18n::i18n_msg::verbatim(message ? text_ + " " + message->text() : text_));
    if (result.get_response_code() == scan_response_codes::ok) {
      result.set_response_code(scan_response_codes::warning);
    }
  }

 private:
  std::string text_;
};

}  // namespace brunvik::monitoring_modules::mqtt
