// The loop alone, driven by a target that does what each test needs.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "helpers/eventually.hpp"
#include "mqtt/reconnect_loop.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using namespace std::chrono_literals;

class reconnect_loop_test : public testing::Test, protected reconnectable {
 protected:
  void TearDown() override { loop_.stop(); }

  void attempt_to_connect() override { on_attempt_(++attempts_); }
  bool renew_subscriptions() override { return on_renewal_(++renewals_); }
  void verify_connection() override { on_verification_(); }

  std::atomic<int> attempts_{0};
  std::atomic<int> renewals_{0};
  std::function<void(int)> on_attempt_ = [this](int) { loop_.connected(); };
  std::function<bool(int)> on_renewal_ = [](int) { return true; };
  std::function<void()> on_verification_ = [] {};
  reconnect_loop loop_{*this, std::make_shared<client_log>("client")};
};

TEST_F(reconnect_loop_test, steps_that_fail_are_tried_again) {
  on_attempt_ = [this](int attempt) {
    if (attempt == 1) {
      throw std::runtime_error("attempt");
    }
    loop_.connected();
  };
  on_renewal_ = [](int renewal) { return renewal == 1 ? throw 1 : true; };
  loop_.connection_lost();
  EXPECT_TRUE(eventually([&] { return renewals_ == 2 && !loop_.is_in_progress(); }));
  EXPECT_EQ(attempts_, 2);
}

TEST_F(reconnect_loop_test, a_connection_that_comes_up_by_itself_is_renewed_at_once) {
  loop_.hold();
  loop_.connection_lost();
  EXPECT_FALSE(eventually([&] { return loop_.is_in_progress(); }, 100ms));
  loop_.connected();
  loop_.resume();
  EXPECT_TRUE(eventually([&] { return renewals_ == 1; }, 800ms));
  EXPECT_EQ(attempts_, 0);
}

TEST_F(reconnect_loop_test, what_happens_during_a_renewal_is_not_overlooked) {
  on_renewal_ = [this](int renewal) {
    if (renewal == 1) {
      loop_.connection_lost();
    } else if (renewal == 2) {
      loop_.look_after();
    }
    return true;
  };
  loop_.connection_lost();
  EXPECT_TRUE(eventually([&] { return renewals_ == 3 && !loop_.is_in_progress(); }));
  EXPECT_EQ(attempts_, 2);
}

// Nobody has told of the loss; the renewal that fails is the first to meet it.
TEST_F(reconnect_loop_test, a_loss_that_only_verifying_finds_is_answered) {
  on_renewal_ = [](int renewal) { return renewal > 1; };
  on_verification_ = [this] { loop_.connection_lost(); };
  loop_.connection_lost();
  EXPECT_TRUE(eventually([&] { return attempts_ == 2 && renewals_ == 2; }));
}

// The third attempt is followed by five seconds without another, unless it succeeds.
TEST_F(reconnect_loop_test, an_outage_does_not_slow_down_the_return_from_the_next_one) {
  on_attempt_ = [this](int attempt) {
    if (attempt >= 3) {
      loop_.connected();
    }
  };
  loop_.connection_lost();
  ASSERT_TRUE(eventually([&] { return renewals_ == 1 && !loop_.is_in_progress(); }));
  loop_.connection_lost();
  EXPECT_TRUE(eventually([&] { return attempts_ == 4 && renewals_ == 2; }, 3s));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
