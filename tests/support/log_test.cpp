#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "liblog/memory_logger.hpp"
#include "liblog/multiplex_logger.hpp"
#include "liblog/null_logger.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::liblog {
namespace {

using ::testing::ElementsAre;
using entry = memory_logger::entry;

TEST(multiplex_logger_test, passes_each_line_to_the_targets_whose_threshold_it_reaches) {
  multiplex_logger log;
  EXPECT_FALSE(log.enabled(severity::emergency));
  const auto errors = std::make_shared<memory_logger>();
  auto notices = std::make_shared<memory_logger>();
  log.add(errors, severity::debug);
  log.add(notices, severity::notice);
  log.add(errors, severity::error);
  log.add(nullptr, severity::debug);
  log.add(std::make_shared<null_logger>(), severity::debug);
  EXPECT_TRUE(log.enabled(severity::notice));
  EXPECT_FALSE(log.enabled(severity::info)) << "a target that is off costs nothing";

  log.log(5, "notice");
  log.log(2, "critical");
  EXPECT_THAT(errors->entries(), ElementsAre(entry{2, "critical"}));
  EXPECT_THAT(notices->entries(), ElementsAre(entry{5, "notice"}, entry{2, "critical"}));

  notices.reset();
  log.log(4, "notices that a target is gone");
  EXPECT_TRUE(log.enabled(severity::error));
  EXPECT_FALSE(log.enabled(severity::warning));
  log.remove(errors);
  log.remove(nullptr);
  EXPECT_FALSE(log.enabled(severity::emergency));
  log.log(0, "emergency");
  EXPECT_EQ(errors->entries().size(), 1U);
}

TEST(multiplex_logger_test, a_target_that_throws_stops_neither_the_others_nor_the_caller) {
  struct rude : log_interface {
    void log(int, const std::string&) override { throw 42; }
  };
  multiplex_logger log;
  const auto one = std::make_shared<memory_logger>();
  const auto thrower = std::make_shared<rude>();
  const auto other = std::make_shared<memory_logger>();
  for (const std::shared_ptr<log_interface>& target :
       std::initializer_list<std::shared_ptr<log_interface>>{one, thrower, other}) {
    log.add(target, severity::debug);
  }
  log.log(severity::info, "first");
  log.log(severity::info, "second");
  EXPECT_EQ(one->entries().size(), 2U);
  EXPECT_EQ(other->entries().size(), 2U);
}

TEST(multiplex_logger_test, the_last_owner_may_let_go_of_a_target_while_it_is_called) {
  multiplex_logger log;
  struct farewell : log_interface {
    explicit farewell(multiplex_logger& multiplexer) : log_(multiplexer) {}
    ~farewell() override { log_.log(severity::info, "gone"); }
    void log(int, const std::string&) override { self_.reset(); }
    multiplex_logger& log_;
    std::shared_ptr<log_interface> self_;
  };
  auto target = std::make_shared<farewell>(log);
  target->self_ = target;
  const auto watch = std::make_shared<memory_logger>();
  log.add(target, severity::debug);
  log.add(watch, severity::debug);
  target.reset();
  log.log(severity::info, "last line");
  EXPECT_THAT(watch->entries(), ElementsAre(entry{6, "last line"}, entry{6, "gone"}));
}

TEST(multiplex_logger_test, targets_may_come_and_go_while_others_log) {
  multiplex_logger log;
  const auto steady = std::make_shared<memory_logger>();
  log.add(steady, severity::debug);
  std::atomic<bool> stop = false;
  std::thread changing([&] {
    for (int round = 0; !stop; ++round) {
      const auto target = std::make_shared<memory_logger>();
      log.add(target, severity::debug);
      (void)log.enabled(severity::debug);
      if (round % 2 == 0) {
        log.remove(target);
      }
    }
  });
  for (int line = 0; line < 2000; ++line) {
    log.log(severity::info, "line");
  }
  stop = true;
  changing.join();
  EXPECT_EQ(steady->entries().size(), 2000U);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::liblog
