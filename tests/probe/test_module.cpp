// A module that does what its settings tell it to, without any broker: what the host makes of
// answers, failures and silence can be seen through it.
#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <thread>

#include "envelope.pb.h"
#include "kavu/module_api.h"
#include "probe/test_document.hpp"

namespace {

using kavu::wire::Envelope;

struct sensor {
  std::string behaviour;
  std::int64_t scans = 0;
};

std::uint64_t host_context = 0;
kavu_host_callback host_callback = nullptr;
std::map<std::int32_t, sensor> sensors;

Envelope read(const std::uint8_t* data, std::uint32_t size) {
  Envelope message;
  message.ParseFromArray(data, static_cast<int>(size));
  return message;
}

void send(std::string_view bytes) {
  host_callback(host_context, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                static_cast<std::uint32_t>(bytes.size()));
}

void send(const Envelope& message) {
  send(message.SerializeAsString());
}

void log(int severity, const std::string& text) {
  Envelope message;
  message.mutable_log_record()->set_severity(severity);
  message.mutable_log_record()->set_text(text);
  send(message);
}

std::string find(const google::protobuf::RepeatedPtrField<kavu::wire::KeyValue>& settings,
                 const std::string& key) {
  for (const auto& item : settings) {
    if (item.key() == key) {
      return item.value();
    }
  }
  return "(not sent)";
}

void set_refused(kavu::wire::LocalisedText& message) {
  message.set_key("#:error.refused[tank\\,1,full]");
  message.set_text("Refused by 'tank,1': full (100%)");
}

/// Blocks for as long as a broken network can make a call block.
void block() {
  log(7, "blocking");
  std::this_thread::sleep_for(std::chrono::hours(1));
}

void add_channel(kavu::wire::ScanResult& result, const char* key, const char* name,
                 std::int64_t value) {
  auto& channel = *result.add_definitions();
  channel.set_id(result.definitions_size() - 1);
  channel.mutable_name()->set_key(key);
  channel.mutable_name()->set_text(name);
  channel.set_kind(kavu::wire::CHANNEL_KIND_INTEGER);
  result.add_values()->set_id(channel.id());
  result.mutable_values(channel.id())->set_integer(value);
}

Envelope make_result(std::int32_t id, std::int64_t count) {
  Envelope message;
  auto& result = *message.mutable_scan_result();
  result.set_sensor_id(id);
  add_channel(result, "channel.count", "Count", count);
  add_channel(result, "Total", "Total", count * count);
  result.mutable_definitions(1)->set_kind(kavu::wire::CHANNEL_KIND_DELTA_COUNTER);
  result.mutable_definitions(1)->set_scale_factor(0.5);
  return message;
}

void fail(Envelope& message) {
  message.mutable_scan_result()->set_response_code(kavu::wire::RESPONSE_CODE_ERROR);
  set_refused(*message.mutable_scan_result()->mutable_message());
}

/// The first attempt to create the sensor fails and gives the host something to keep; the second
/// works if the host brings it along.
std::int32_t create_at_second_attempt(std::int32_t id, const kavu::wire::SensorData& request) {
  if (find(request.persistent_data(), "attempt") == "1" && request.channels_size() == 2) {
    return KAVU_OK;
  }
  Envelope data;
  data.mutable_persistent_data()->set_sensor_id(id);
  data.mutable_persistent_data()->add_entries()->set_key("attempt");
  data.mutable_persistent_data()->mutable_entries(0)->set_value("1");
  send(data);
  Envelope message = make_result(id, 0);
  message.mutable_scan_result()->clear_values();
  fail(message);
  send(message);
  return KAVU_FAILED;
}

}  // namespace

extern "C" {

int32_t GetApiLevel(void) {
  return KAVU_MODULE_API_LEVEL;
}

int32_t InitializeModule(uint64_t context, kavu_host_callback callback) {
  host_context = context;
  host_callback = callback;
  return KAVU_OK;
}

int32_t CleanupModule(void) {
  log(7, "cleaned up");
  sensors.clear();
  return KAVU_OK;
}

void GetModuleInformation(uint32_t /*flags*/) {}

int32_t GetModuleInformationSync(uint8_t* buffer, uint32_t* size, uint32_t /*flags*/) {
  Envelope message;
  message.mutable_module_information()->set_definition(std::string(kavu_test::test_document));
  const std::string bytes = message.SerializeAsString();
  const std::uint32_t capacity = *size;
  *size = static_cast<std::uint32_t>(bytes.size());
  if (buffer != nullptr && capacity >= bytes.size()) {
    bytes.copy(reinterpret_cast<char*>(buffer), bytes.size());
  }
  return KAVU_OK;
}

int32_t CreateSensorInstance(int32_t id, const uint8_t* data, uint32_t size) {
  const auto request = read(data, size).sensor_data();
  if (request.kind() != "tank_sensor") {
    return KAVU_UNKNOWN_KIND;
  }
  const std::string behaviour = find(request.settings(), "tank.tank.topic");
  log(7, "password " + find(request.secure_settings(), "access.user_credentials.password") + "\n2");
  const std::int32_t code = behaviour == "late" ? create_at_second_attempt(id, request) : KAVU_OK;
  if (behaviour == "fails") {
    log(4, "The tank is away");
  }
  if (code == KAVU_OK) {
    sensors[id] = {behaviour, 0};
  }
  return code;
}

int32_t ExecuteSensorScan(int32_t id) {
  sensor& scanned = sensors.at(id);
  ++scanned.scans;
  if (scanned.behaviour == "blocks") {
    block();
  }
  if (scanned.behaviour == "silent") {
    return KAVU_OK;
  }
  if (scanned.behaviour == "garbage") {
    send(std::string_view("\xff\xff\xff"));
    send(std::string_view());
  }
  if (scanned.behaviour == "vanishes" && scanned.scans == 2) {
    sensors.erase(id);
    return KAVU_UNKNOWN_ID;
  }
  Envelope message = make_result(id, scanned.scans);
  if (scanned.behaviour == "fails") {
    log(6, "not worth telling");
    log(4, "The tank \x1b[31mrefused");
    fail(message);
  }
  send(message);
  return KAVU_OK;
}

int32_t DestroySensorInstance(int32_t id) {
  log(7, "destroyed " + std::to_string(id));
  return sensors.erase(id) == 1 ? KAVU_OK : KAVU_UNKNOWN_ID;
}

int32_t ExecuteMetaScan(int32_t id, uint32_t /*value*/, const uint8_t* data, uint32_t size) {
  const auto notification = read(data, size).notification_request();
  if (notification.service() != "test_notification") {
    return KAVU_UNKNOWN_KIND;
  }
  log(6, find(notification.settings(), "connection.host") + " " +
             find(notification.settings(), "connection.port"));
  Envelope message;
  auto& response = *message.mutable_notification_response();
  response.set_id(id);
  response.set_success(notification.target() != "refused");
  if (!response.success()) {
    set_refused(*response.mutable_message());
  }
  send(message);
  return KAVU_OK;
}

int32_t ExecuteCheck(int32_t id, const uint8_t* data, uint32_t size) {
  const Envelope request = read(data, size);
  const std::string host = find(request.check_data().settings(), "host");
  log(7, host + " " + find(request.check_data().settings(), "ipversion"));
  if (host == "blocks") {
    block();
  }
  if (host == "refused") {
    log(5, "not worth telling");
    log(0, "The tank \x1b[31mrefused");
    log(4, "The tank \x1b[31mrefused");
  }
  Envelope message;
  message.mutable_check_result()->set_check_id(id);
  message.mutable_check_result()->set_success(host != "refused");
  send(message);
  return KAVU_OK;
}
}
