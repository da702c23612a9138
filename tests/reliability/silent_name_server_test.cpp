// While somebody asks a name server that does not answer, nobody else waits. The name server is
// this program's own, in a private network that nothing leads out of.

#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "helpers/scripted_broker.hpp"
#include "reliability/bystanders.hpp"
#include "reliability/private_network.hpp"

namespace kavu_test {
namespace {

class silent_name_server : public testing::Test {
 protected:
  // Namespaces can be left for good, by a process of one thread.
  static void SetUpTestSuite() { obstacle_ = enter_private_network(); }
  void SetUp() override {
    if (!obstacle_.empty()) {
      GTEST_SKIP() << "no private network here: " << obstacle_;
    }
    host_.emplace();
    others_.emplace(*host_);
    broker_.emplace();
  }

  host_settings by_name(host_settings settings) const {
    return settings.set("host", "broker.example").set("timeout", "60").set("logging", "enabled");
  }
  auto create() {
    return std::async(std::launch::async, [this] {
      return host_->create_sensor(100,
                                  by_name(host_settings::statistics_sensor(broker_->port(), "a")));
    });
  }

  static inline std::string obstacle_;
  std::optional<module_host> host_;
  std::optional<bystanders> others_;
  std::optional<scripted_broker> broker_;
};

TEST_F(silent_name_server, holds_up_nobody_else) {
  for (const std::size_t answers : {0, 2}) {  // none, or the addresses of both families
    name_server names(answers);
    auto creation = create();
    ASSERT_TRUE(eventually(
        [&] { return names.unanswered() >= 1 || !broker_->connected_clients().empty(); }));
    EXPECT_LT(others_->slowest_call(), bystanders::limit);
    names.speak();
    EXPECT_EQ(creation.get(), KAVU_OK);
    EXPECT_EQ(host_->destroy_sensor(100), KAVU_OK);
  }
}

TEST_F(silent_name_server, holds_up_nobody_while_a_lost_connection_is_brought_back) {
  // Of three losses one may meet a busy machine, but not all of them.
  auto slowest = bystanders::duration::max();
  for (int losses = 0; losses < 3 && slowest >= bystanders::limit; ++losses) {
    name_server names(name_server::always);
    ASSERT_EQ(create().get(), KAVU_OK);
    ASSERT_TRUE(broker_->wait_for_clients(1));
    names.fall_silent();
    broker_->drop();
    ASSERT_TRUE(eventually([&] { return names.unanswered() >= 1; }));
    slowest = others_->slowest_call();
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(host_->destroy_sensor(100), KAVU_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(1));
  }
  EXPECT_LT(slowest, bystanders::limit);
}

}  // namespace
}  // namespace kavu_test
