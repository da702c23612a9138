#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string_view>
#include <type_traits>

#include <malloc.h>

#include "kavuhelper/settings/secure_string.hpp"
#include "platform/recording_host.hpp"

namespace {

constexpr std::string_view secret = "a secret that is long enough to be allocated";
std::atomic<bool> watching = false;
std::atomic<int> leaks = 0;

void release(void* memory) noexcept {
  if (memory != nullptr && watching) {
    const std::string_view content(static_cast<const char*>(memory), malloc_usable_size(memory));
    leaks += content.find(secret) == std::string_view::npos ? 0 : 1;
  }
  std::free(memory);
}

}  // namespace

// Every block that is freed while a test watches is searched for the secret.
void* operator new(std::size_t size) {
  if (void* const memory = std::calloc(1, size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  release(memory);
}

namespace kavu_test {
namespace {

using lib::settings::secure_string;

class secure_string_test : public testing::Test {
 protected:
  void SetUp() override {
    leaks = 0;
    watching = true;
  }
  void TearDown() override { watching = false; }
};

TEST_F(secure_string_test, the_watch_sees_a_plain_string) {
  { const std::string plain(secret); }
  EXPECT_EQ(leaks, 1);
}

TEST_F(secure_string_test, no_freed_memory_holds_the_secret) {
  {
    secure_string first(secret);
    secure_string copy = first;
    secure_string moved = std::move(first);
    copy = moved;
    copy = secure_string("other");
    moved = std::move(copy);
    moved = secure_string(secret);
    EXPECT_EQ(moved.reveal(), secret);
    EXPECT_TRUE(copy.empty());  // NOLINT(bugprone-use-after-move): a moved-from one is empty
  }
  {
    std::string plain(secret);
    lib::settings::wipe(plain);
    EXPECT_TRUE(plain.empty());
  }
  EXPECT_EQ(leaks, 0);
}

TEST_F(secure_string_test, reading_settings_leaves_none_of_it_behind) {
  watching = false;
  auto settings = sensor_named("x");
  settings.user("anna", secret);
  std::string bytes = settings.serialize();
  watching = true;
  {
    const lib::settings::sensor_data_wrapper data(bytes.data(),
                                                  static_cast<unsigned int>(bytes.size()));
    EXPECT_EQ(data.get_secure_value("credentials.user_credentials.password").reveal(), secret);
    EXPECT_EQ(data.to_json().find(secret), std::string::npos);
  }
  // The secret has been read when it is found out that the end is missing.
  EXPECT_ANY_THROW(lib::settings::sensor_data_wrapper(bytes.data(),
                                                      static_cast<unsigned int>(bytes.size() - 1)));
  EXPECT_EQ(leaks, 0);
  watching = false;
}

static_assert(!std::is_convertible_v<secure_string, std::string>);
static_assert(!std::is_convertible_v<secure_string, std::string_view>);

}  // namespace
}  // namespace kavu_test
