#include "definition/module_definition.hpp"

#include "definition/definition_pieces.hpp"

namespace brunvik::monitoring_modules::definition {
namespace {

std::string joined_pieces() {
  std::size_t size = 0;
  for (const std::string_view piece : definition_pieces()) {
    size += piece.size();
  }
  std::string document;
  document.reserve(size);
  for (const std::string_view piece : definition_pieces()) {
    document += piece;
  }
  return document;
}

const std::string document = joined_pieces();

}  // namespace

const std::string& module_definition_document() noexcept {
  return document;
}

}  // namespace brunvik::monitoring_modules::definition
