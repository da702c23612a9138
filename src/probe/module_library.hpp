#pragma once

#include <string>

#include "kavu/module_api.h"

namespace kavu_probe {

/// A module's shared library with the ten functions of the boundary; unloaded by the destructor.
///
/// Nothing of the module may run any more when it is destroyed.
class module_library {
 public:
  /// Loads the library at `path`. Throws usage_error when it cannot be loaded, lacks one of the
  /// functions, or speaks another level of the interface.
  explicit module_library(const std::string& path);
  module_library(const module_library&) = delete;
  module_library& operator=(const module_library&) = delete;
  ~module_library();

  decltype(&GetApiLevel) get_api_level = nullptr;
  decltype(&InitializeModule) initialize_module = nullptr;
  decltype(&CleanupModule) cleanup_module = nullptr;
  decltype(&GetModuleInformation) get_module_information = nullptr;
  decltype(&GetModuleInformationSync) get_module_information_sync = nullptr;
  decltype(&CreateSensorInstance) create_sensor_instance = nullptr;
  decltype(&ExecuteSensorScan) execute_sensor_scan = nullptr;
  decltype(&DestroySensorInstance) destroy_sensor_instance = nullptr;
  decltype(&ExecuteMetaScan) execute_meta_scan = nullptr;
  decltype(&ExecuteCheck) execute_check = nullptr;

 private:
  void load_functions(const std::string& path);

  void* handle_;
};

/// The module that belongs to this program: in the library folder beside the program's, next to
/// the program, or where the installation puts it. Throws usage_error when it is in none of them.
std::string find_own_module();

}  // namespace kavu_probe
