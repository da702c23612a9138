#pragma once

#include <string>
#include <string_view>

#include "libjsonparser/jsonpointer_parser.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

/// Questions for people who do not want to care about the case: `Plant.boilers.0.Temperature`.
///
/// Names are compared in lower case (ASCII letters only, so that no locale matters); of several
/// that fit, the exact one wins, else the first in alphabetical order. In an array a segment is an
/// index in decimal. The empty text is the whole document. A name that holds a dot cannot be
/// reached.
class case_insensitive_jsonpointer_parser : public jsonpointer_parser {
 public:
  using jsonpointer_parser::jsonpointer_parser;

 protected:
  [[nodiscard]] const json_value& resolve(const std::string& query) const override;
  [[nodiscard]] std::string child_query(const std::string& query,
                                        std::string_view child) const override;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
