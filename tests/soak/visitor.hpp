#pragma once

#include <cstdint>
#include <stop_token>
#include <thread>

#include "soak/site.hpp"

namespace kavu_test::soak {

/// Creates sensors at a site, lets them count, and destroys them, one after the other, whatever the
/// weather; now and then a check and a notification. What happens in the calm must succeed.
class visitor {
 public:
  visitor(soak_host& host, tally& figures, const site& visited);

 private:
  void run(const std::stop_token& stopping);
  void visit(std::int32_t id);
  bool live(std::int32_t id, const std::string& topic, int calm);
  bool counts_all(std::int32_t id, const std::string& topic, int calm);
  bool ask(std::int32_t id);

  soak_host& host_;
  tally& tally_;
  const site& site_;
  std::jthread thread_;
};

}  // namespace kavu_test::soak
