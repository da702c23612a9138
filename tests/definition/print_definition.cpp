#include <cstdio>

#include "definition/module_definition.hpp"

/// Prints the document as the library holds it, for the tests that look into it.
int main() {
  const std::string& document =
      brunvik::monitoring_modules::definition::module_definition_document();
  const std::size_t written = std::fwrite(document.data(), 1, document.size(), stdout);
  return written == document.size() && std::fflush(stdout) == 0 ? 0 : 1;
}
