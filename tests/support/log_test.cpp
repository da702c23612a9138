#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "liblog/log_interface.hpp"
#include "liblog/memory_logger.hpp"
#include "liblog/multiplex_logger.hpp"
#include "liblog/null_logger.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::liblog {
namespace {

using ::testing::ElementsAre;
using entry = memory_logger::entry;

class calling_logger : public log_interface {
 public:
  explicit calling_logger(std::function<void(const std::string&)> call) : call_(std::move(call)) {}
  void log(int /*severity*/, const std::string& message) override { call_(message); }

 private:
  std::function<void(const std::string&)> call_;
};

TEST(memory_logger_test, keeps_lines_in_order_until_cleared) {
  memory_logger log;
  log.log(7, "first");
  log.log(3, "second");
  EXPECT_THAT(log.entries(), ElementsAre(entry{7, "first"}, entry{3, "second"}));
  log.clear();
  EXPECT_TRUE(log.entries().empty());
}

TEST(multiplex_logger_test, passes_each_line_to_the_targets_whose_threshold_it_reaches) {
  multiplex_logger log;
  const auto errors = std::make_shared<memory_logger>();
  const auto everything = std::make_shared<memory_logger>();
  log.add(errors, severity::debug);
  log.add(everything, severity::debug);
  log.add(errors, severity::error);
  log.add(nullptr, severity::debug);

  log.log(5, "notice");
  log.log(2, "critical");
  EXPECT_THAT(errors->entries(), ElementsAre(entry{2, "critical"}));
  EXPECT_THAT(everything->entries(), ElementsAre(entry{5, "notice"}, entry{2, "critical"}));

  log.remove(everything);
  log.remove(nullptr);
  log.log(0, "emergency");
  EXPECT_EQ(everything->entries().size(), 2U);
  EXPECT_EQ(errors->entries().size(), 2U);
}

TEST(multiplex_logger_test, is_enabled_up_to_the_highest_threshold_of_a_target_that_listens) {
  multiplex_logger log;
  EXPECT_FALSE(log.enabled(severity::emergency));

  auto warnings = std::make_shared<memory_logger>();
  const auto errors = std::make_shared<memory_logger>();
  log.add(warnings, severity::warning);
  log.add(errors, severity::error);
  EXPECT_TRUE(log.enabled(severity::warning));
  EXPECT_FALSE(log.enabled(severity::notice));

  log.add(std::make_shared<null_logger>(), severity::debug);
  EXPECT_FALSE(log.enabled(severity::notice)) << "a target that is off costs nothing";

  warnings.reset();
  log.log(severity::error, "notices that a target is gone");
  EXPECT_FALSE(log.enabled(severity::warning));
  EXPECT_TRUE(log.enabled(severity::error));

  log.remove(errors);
  EXPECT_FALSE(log.enabled(severity::emergency));
}

TEST(multiplex_logger_test, a_target_that_throws_stops_neither_the_others_nor_the_caller) {
  multiplex_logger log;
  const auto one = std::make_shared<memory_logger>();
  const auto other = std::make_shared<memory_logger>();
  const auto failing = std::make_shared<calling_logger>(
      [](const std::string& message) { throw std::runtime_error(message); });
  const auto rude = std::make_shared<calling_logger>([](const std::string&) { throw 42; });
  for (const auto& target :
       std::initializer_list<std::shared_ptr<log_interface>>{one, failing, rude, other}) {
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

TEST(log_lazily_test, builds_no_text_that_nobody_sees) {
  null_logger off;
  log_lazily(off, severity::emergency, []() -> std::string { throw std::logic_error("built"); });
  memory_logger on;
  log_lazily(on, severity::debug, [] { return std::string("seen"); });
  EXPECT_THAT(on.entries(), ElementsAre(entry{7, "seen"}));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::liblog
