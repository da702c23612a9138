#include <gtest/gtest.h>

#include <cmath>

#include "kavuhelper/responses/sensor_scan_result.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;
using brunvik::monitoring_modules::libi18n::i18n_msg;
using lib::channels::channel_kind;
using lib::responses::scan_response_codes;
using lib::responses::sensor_scan_result;
using lib::settings::channel_map;

std::shared_ptr<channel_map> three_channels(const std::string& last_name = "counter") {
  auto channels = std::make_shared<channel_map>();
  channels->register_definition(3, {"", last_name}, {.kind = channel_kind::delta_counter});
  channels->register_definition(1, {"channel.a", "A"}, {.kind = channel_kind::integer});
  channels->register_definition(2, {"b", "b"},
                                {.kind = channel_kind::floating,
                                 .unit = lib::channels::channel_unit::custom,
                                 .unit_text = "C",
                                 .scale_factor = 0.1});
  return channels;
}

kavu::wire::ScanResult parsed(const sensor_scan_result& result) {
  const auto bytes = result.serialize();
  kavu::wire::Envelope envelope;
  EXPECT_TRUE(envelope.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
  return envelope.scan_result();
}

std::string text_of(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

sensor_scan_result full_result(std::int32_t id) {
  sensor_scan_result result(id, three_channels());
  result.set_value(3, 7L);
  result.set_value(1, std::numeric_limits<long>::max());
  result.set_value(2, -0.5);
  result.set_response_message(i18n_msg::verbatim("said"));
  return result;
}

TEST(scan_result, explains_itself) {
  const auto wire = parsed(full_result(-2));
  EXPECT_EQ(wire.sensor_id(), -2);
  EXPECT_EQ(wire.response_code(), kavu::wire::RESPONSE_CODE_OK);
  EXPECT_EQ(wire.message().text(), "said");
  ASSERT_EQ(wire.definitions_size(), 3);
  EXPECT_EQ(wire.definitions(0).name().key(), "channel.a");
  EXPECT_FALSE(wire.definitions(0).has_scale_factor());
  EXPECT_EQ(wire.definitions(1).unit_text(), "C");
  EXPECT_EQ(wire.definitions(1).scale_factor(), 0.1);
  EXPECT_EQ(wire.definitions(2).kind(), kavu::wire::CHANNEL_KIND_DELTA_COUNTER);
  ASSERT_EQ(wire.values_size(), 3);
  EXPECT_EQ(wire.values(0).integer(), std::numeric_limits<long>::max());
  EXPECT_EQ(wire.values(1).floating(), -0.5);
  EXPECT_EQ(wire.values(2).integer(), 7);
}

TEST(scan_result, refuses_values_that_do_not_fit_their_channel) {
  sensor_scan_result result(1, three_channels());
  EXPECT_THROW(result.set_value(1, 1.0), failures::invalid_channel_mode);
  EXPECT_THROW(result.set_value(3, 1.0), failures::invalid_channel_mode);
  EXPECT_THROW(result.set_value(2, 1L), failures::invalid_channel_mode);
  EXPECT_THROW(result.set_value(4, 1L), failures::channel_not_defined);
  EXPECT_THROW(result.set_value(2, std::nan("")), failures::message_exception);
  EXPECT_EQ(parsed(result).values_size(), 0);
  EXPECT_THROW(sensor_scan_result(1, std::runtime_error("x")).set_value(1, 1L),
               failures::channel_map_not_initialized);
  EXPECT_THROW(three_channels()->register_definition(1, {"", "again"}, {}),
               failures::channel_already_defined);
}

TEST(scan_result, a_failure_keeps_the_code_that_was_set_for_it) {
  sensor_scan_result result(1, three_channels());
  result.set_failure(failures::channel_not_defined(9));
  EXPECT_EQ(result.get_response_code(), scan_response_codes::error);
  EXPECT_EQ(parsed(result).message().key(), "#:libkavuhelper.error.channel_not_defined[9]");
  result.set_response_code(scan_response_codes::wrong_answer);
  result.set_failure(std::runtime_error("plain"));
  EXPECT_EQ(result.get_response_code(), scan_response_codes::wrong_answer);
  EXPECT_EQ(parsed(result).message().key(), "plain");
}

TEST(stored_result, comes_back_under_the_current_id_or_changes_nothing) {
  const std::string stored = text_of(full_result(1).serialize());
  sensor_scan_result result(2, three_channels());
  result.restore(stored);
  EXPECT_EQ(text_of(result.serialize()), text_of(full_result(2).serialize()));

  sensor_scan_result others(2, three_channels("renamed"));
  EXPECT_THROW(others.restore(stored), failures::message_exception);
  sensor_scan_result none(2, std::make_shared<channel_map>());
  EXPECT_THROW(none.restore(stored), failures::message_exception);
  kavu::wire::Envelope spoiled;
  spoiled.ParseFromString(stored);
  spoiled.mutable_scan_result()->mutable_values(0)->set_floating(1.5);  // an integer channel
  result.set_value(1, 5L);
  const auto before = result.serialize();
  EXPECT_THROW(result.restore(spoiled.SerializeAsString()),
               failures::message_deserialization_failed);
  for (std::size_t length = 0; length < stored.size(); ++length) {
    EXPECT_THROW(result.restore(stored.substr(0, length)), failures::message_exception) << length;
  }
  EXPECT_THROW(result.restore(sensor_named("x").serialize()), failures::message_exception);
  EXPECT_EQ(result.serialize(), before);
}

TEST(persistent_data, tells_the_host_what_has_changed_once) {
  recording_host host;
  int scans = 0;
  scripted_sensor::offer(host, "keeps", [&](scripted_sensor& sensor) {
    EXPECT_EQ(sensor.persistent_data().get("from host"), "kept\xff");
    EXPECT_FALSE(sensor.persistent_data().has("unknown"));
    sensor.persistent_data().set("count", std::to_string(++scans / 2));
    sensor.persistent_data().set("from host", "kept\xff");
    sensor.send_persistent_data();
  });
  auto settings = sensor_named("keeps");
  settings.persistent("from host", "kept\xff");
  host.dispatcher.create_sensor_instance(1, wrap(settings));
  const auto told = [&host] {
    return host.inbox.messages([](const auto& envelope) { return envelope.has_persistent_data(); })
        .size();
  };
  host.dispatcher.execute_sensor_scan(1);
  EXPECT_EQ(told(), 1U);
  EXPECT_EQ(host.inbox.persistent_data(1), (std::map<std::string, std::string>{{"count", "0"}}));
  host.dispatcher.execute_sensor_scan(1);
  host.dispatcher.execute_sensor_scan(1);
  EXPECT_EQ(told(), 2U);
  EXPECT_EQ(host.inbox.persistent_data(1).at("count"), "1");
}

}  // namespace
}  // namespace kavu_test
