#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "helpers/host_settings.hpp"
#include "helpers/module_inbox.hpp"
#include "kavu/module_api.h"

namespace kavu_test {

/// The ten functions of a loaded module.
struct module_functions {
  decltype(&::GetApiLevel) get_api_level;
  decltype(&::InitializeModule) initialize_module;
  decltype(&::CleanupModule) cleanup_module;
  decltype(&::GetModuleInformation) get_module_information;
  decltype(&::GetModuleInformationSync) get_module_information_sync;
  decltype(&::CreateSensorInstance) create_sensor_instance;
  decltype(&::ExecuteSensorScan) execute_sensor_scan;
  decltype(&::DestroySensorInstance) destroy_sensor_instance;
  decltype(&::ExecuteMetaScan) execute_meta_scan;
  decltype(&::ExecuteCheck) execute_check;
};

/// Where the build puts the module. Throws std::runtime_error when the tests were built without.
std::filesystem::path module_path();

/// A host as the module sees one: loads it by path, calls its functions, collects what it sends.
/// The destructor cleans the module up and unloads it.
///
/// The functions that end in a number return the module's code. Scans, checks and notifications
/// may come from several threads at once.
class module_host {
 public:
  /// Loads and, unless told otherwise, initialises it. Throws std::runtime_error when that fails.
  explicit module_host(bool initialized = true, const std::filesystem::path& path = module_path());
  ~module_host();
  module_host(const module_host&) = delete;
  module_host& operator=(const module_host&) = delete;

  /// The functions themselves, for hostile calls.
  const module_functions& functions() const noexcept { return functions_; }
  module_inbox& inbox() noexcept { return inbox_; }

  std::int32_t initialize();
  std::int32_t cleanup();

  std::int32_t create_sensor(std::int32_t id, const host_settings& settings);
  std::int32_t scan(std::int32_t id);
  std::int32_t destroy_sensor(std::int32_t id);
  std::int32_t check(std::int32_t id, const host_settings& settings);
  std::int32_t notify(std::int32_t id, const host_settings& settings);

  /// Scans and returns the one result that came of it. Throws std::runtime_error when the code is
  /// not 0 or there is not exactly one result.
  kavu::wire::ScanResult scan_result(std::int32_t id);
  bool check_succeeds(std::int32_t id, const host_settings& settings);
  kavu::wire::NotificationResponse notification_response(std::int32_t id,
                                                         const host_settings& settings);
  /// The definition document (JSON).
  std::string definition(bool with_texts = true);

  /// The settings with what the host keeps of this sensor: its channels and persistent data.
  host_settings with_kept_data(std::int32_t id, host_settings settings) const;

 private:
  void* library_;
  module_functions functions_{};
  module_inbox inbox_;
};

/// Whether a library of this path is in memory: after its host is gone it must not be.
bool is_loaded(const std::filesystem::path& library);

}  // namespace kavu_test
