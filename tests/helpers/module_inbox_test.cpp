#include "helpers/module_inbox.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "helpers/host_settings.hpp"

namespace kavu_test {
namespace {

void add(module_inbox& inbox, const std::string& bytes) {
  inbox.add(reinterpret_cast<const std::uint8_t*>(bytes.data()),
            static_cast<std::uint32_t>(bytes.size()));
}

TEST(module_inbox, keeps_results_values_and_what_belongs_to_a_sensor) {
  module_inbox inbox;
  kavu::wire::Envelope envelope;
  auto& result = *envelope.mutable_scan_result();
  result.set_sensor_id(-4);
  result.add_definitions()->set_id(2);
  auto& value = *result.add_values();
  value.set_id(2);
  value.set_integer(-7);
  std::thread module([&] { add(inbox, envelope.SerializeAsString()); });
  EXPECT_TRUE(inbox.wait_for([](const auto& message) { return message.has_scan_result(); }));
  module.join();
  ASSERT_EQ(inbox.scan_results(-4).size(), 1U);
  EXPECT_EQ(integer_value(inbox.scan_results(-4)[0], 2), -7);
  EXPECT_EQ(floating_value(inbox.scan_results(-4)[0], 2), std::nullopt);
  EXPECT_EQ(inbox.channels(-4).size(), 1U);

  for (const char* text : {"old", "new"}) {
    kavu::wire::Envelope data;
    data.mutable_persistent_data()->set_sensor_id(-4);
    auto& entry = *data.mutable_persistent_data()->add_entries();
    entry.set_key("k");
    entry.set_value(text);
    add(inbox, data.SerializeAsString());
  }
  EXPECT_EQ(inbox.persistent_data(-4).at("k"), "new");
}

TEST(module_inbox, counts_what_it_cannot_read) {
  module_inbox inbox;
  add(inbox, "");
  add(inbox, "\xff\xff secret");
  EXPECT_EQ(inbox.unreadable_count(), 2U);
  EXPECT_TRUE(inbox.contains("secret"));
  EXPECT_FALSE(inbox.logged("secret"));
}

TEST(host_settings, puts_passwords_into_the_secure_field_and_each_key_once) {
  auto settings = host_settings::custom_sensor(1883, "t").user("anna", "hush").channel(3, "$.a");
  const auto& data = settings.envelope().sensor_data();
  std::map<std::string, std::string> plain;
  for (const auto& entry : data.settings()) {
    EXPECT_TRUE(plain.emplace(entry.key(), entry.value()).second) << entry.key();
    EXPECT_EQ(entry.value().find("hush"), std::string::npos) << entry.key();
  }
  EXPECT_EQ(data.secure_settings().size(), 3);
  EXPECT_EQ(plain.at("subscribe_custom.connection_subscribe_custom.channel3"), "enable");
  EXPECT_EQ(plain.at("subscribe_custom.connection_subscribe_custom.channel4"), "disable");
  settings.remove("timeout");
  EXPECT_EQ(settings.serialize().find("timeout"), std::string::npos);
  EXPECT_THROW(settings.remove("timeout"), std::logic_error);
}

}  // namespace
}  // namespace kavu_test
