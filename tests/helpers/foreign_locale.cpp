// Linked into every test program: KAVU_TEST_LOCALE names a locale in which the program then runs,
// in C and in C++, as a host from elsewhere would have it. `scripts/test --locale NAME` sets it.

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <stdexcept>

namespace {

[[maybe_unused]] const bool is_set = [] {
  const char* name = std::getenv("KAVU_TEST_LOCALE");
  if (name == nullptr) {
    return false;
  }
  try {
    std::locale::global(std::locale(name));  // C's as well, since it has a name
    return true;
  } catch (const std::runtime_error&) {
    std::fprintf(stderr, "there is no locale '%s'\n", name);
    std::_Exit(2);
  }
}();

}  // namespace
