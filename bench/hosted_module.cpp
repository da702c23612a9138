#include "hosted_module.hpp"

#include <chrono>
#include <stdexcept>
#include <string_view>

#include "probe/connection_settings.hpp"
#include "probe/settings_builder.hpp"

namespace kavu_bench {
namespace {

using namespace std::chrono_literals;

constexpr const char* sensor_kind = "statistics_sensor";
constexpr auto interval = 60s;

const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

void require_ok(std::int32_t code, const char* what) {
  if (code != KAVU_OK) {
    throw std::runtime_error(std::string(what) + " ended with " + std::to_string(code));
  }
}

}  // namespace

hosted_module::hosted_module() : library_(kavu_probe::find_own_module()) {
  require_ok(library_.initialize_module(reinterpret_cast<std::uint64_t>(this), &receive),
             "InitializeModule");
  definition_ = kavu_probe::read_definition(definition_document());
}

hosted_module::~hosted_module() {
  library_.cleanup_module();
}

// The module's log comes this way too, from threads of its own.
void hosted_module::receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  auto& self = *reinterpret_cast<hosted_module*>(context);
  kavu::wire::Envelope envelope;
  if (envelope.ParseFromArray(data, static_cast<int>(size)) && envelope.has_scan_result()) {
    const std::lock_guard lock(self.mutex_);
    self.last_result_.Swap(envelope.mutable_scan_result());
  }
}

std::string hosted_module::definition_document() {
  std::uint32_t size = 0;
  require_ok(library_.get_module_information_sync(nullptr, &size, 0), "GetModuleInformationSync");
  std::string bytes(size, '\0');
  require_ok(
      library_.get_module_information_sync(reinterpret_cast<std::uint8_t*>(bytes.data()), &size, 0),
      "GetModuleInformationSync");
  kavu::wire::Envelope envelope;
  if (!envelope.ParseFromString(bytes)) {
    throw std::runtime_error("The module information cannot be read.");
  }
  return envelope.module_information().definition();
}

void hosted_module::create_statistics_sensor(std::int32_t id, std::uint16_t port,
                                             const std::string& filter) {
  const auto* const kind = definition_.find_sensor(sensor_kind);
  if (kind == nullptr) {
    throw std::runtime_error("The module has no statistics sensor.");
  }
  kavu_probe::connection_options connection;
  connection.port = port;
  kavu_probe::settings_builder settings(definition_, kind->sections, id);
  set_connection(settings, connection, {});
  add_common_settings(settings, connection, /*logging=*/false, interval);
  settings.set("connection_statistics.topic", filter);

  kavu::wire::Envelope envelope;
  envelope.set_api_level(KAVU_MODULE_API_LEVEL);
  envelope.mutable_sensor_data()->set_kind(sensor_kind);
  settings.fill(*envelope.mutable_sensor_data());
  const std::string request = envelope.SerializeAsString();
  require_ok(library_.create_sensor_instance(id, bytes_of(request),
                                             static_cast<std::uint32_t>(request.size())),
             "CreateSensorInstance");
}

void hosted_module::scan(std::int32_t id) {
  require_ok(library_.execute_sensor_scan(id), "ExecuteSensorScan");
}

statistics hosted_module::scan_statistics(std::int32_t id) {
  scan(id);
  const auto result = last_result();
  if (result.values_size() != 3) {
    throw std::runtime_error("The scan gave no counts: " + result.message().text());
  }
  return {result.values(0).integer(), result.values(1).integer(), result.values(2).integer()};
}

kavu::wire::ScanResult hosted_module::last_result() const {
  const std::lock_guard lock(mutex_);
  return last_result_;
}

}  // namespace kavu_bench
