#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <memory>
#include <string>

#include "helpers/eventually.hpp"
#include "liblog/memory_logger.hpp"
#include "libstringutils/random_number_generator.hpp"
#include "libstringutils/random_string_generator.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/mqtt_client_paho.hpp"
#include "mqtt/topic_subscription.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// How many messages a subscription was given, in a place of its own as sensors have it.
struct message_count {
  bool wait_for(std::size_t wanted) const {
    return kavu_test::eventually([&] { return count >= wanted; });
  }
  std::atomic<std::size_t> count = 0;
};

/// A subscription that counts.
struct listener {
  explicit listener(const std::string& filter)
      : subscription(std::make_shared<topic_subscription>(
            filter, [into = messages](const auto&) { ++into->count; })) {}

  std::shared_ptr<message_count> messages = std::make_shared<message_count>();
  std::shared_ptr<topic_subscription> subscription;
};

/// Makes clients that log into memory.
class client_fixture {
 public:
  /// A test that has failed tells what its clients did.
  ~client_fixture() {
    if (testing::Test::HasFailure()) {
      for (const auto& entry : lines->entries()) {
        std::cerr << entry.severity << " " << entry.message.substr(0, 200) << "\n";
      }
    }
  }

  mqtt_client_settings settings_for(std::uint16_t port) const {
    mqtt_client_settings settings;
    settings.host = "127.0.0.1";
    settings.port = port;
    settings.client_id = "TRAVO_";
    settings.connect_timeout = 5;
    settings.automatic_reconnect = false;
    settings.logger = lines;
    return settings;
  }
  mqtt_client_settings persistent_settings_for(std::uint16_t port) const {
    auto settings = settings_for(port);
    settings.automatic_reconnect = true;
    return settings;
  }
  std::unique_ptr<mqtt_client_paho> make(const mqtt_client_settings& settings) const {
    return std::make_unique<mqtt_client_paho>(settings, generator);
  }

  bool logged(const std::string& text) const {
    const auto entries = lines->entries();
    return std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
      return entry.message.find(text) != std::string::npos;
    });
  }

  std::shared_ptr<liblog::memory_logger> lines = std::make_shared<liblog::memory_logger>();
  std::shared_ptr<libstringutils::random_string_generator_interface> generator =
      std::make_shared<libstringutils::random_string_generator>(
          std::make_unique<libstringutils::random_number_generator<std::uint64_t>>(61),
          "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
};

/// The key of what `action` throws, or empty.
template <class Action>
std::string failure_key(Action&& action) {
  try {
    action();
    return {};
  } catch (const libi18n::i18n_exception& failure) {
    return failure.message().key();
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
