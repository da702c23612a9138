#include "definition/definition_pieces.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "definition/module_definition.hpp"

namespace brunvik::monitoring_modules::definition {
namespace {

TEST(definition_pieces, are_short_and_join_to_the_document) {
  const auto is_first_byte = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
  };
  std::string joined;
  for (const std::string_view piece : definition_pieces()) {
    const auto characters = std::count_if(piece.begin(), piece.end(), is_first_byte);
    EXPECT_GE(characters, 1);
    EXPECT_LE(characters, 5000);
    EXPECT_TRUE(is_first_byte(piece.front())) << "a character is cut in two";
    joined += piece;
  }
  EXPECT_EQ(module_definition_document(), joined);
  EXPECT_EQ(&module_definition_document(), &module_definition_document());
}

}  // namespace
}  // namespace brunvik::monitoring_modules::definition
