#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kavuhelper/messaging/module_information_message.hpp"
#include "kavuhelper/module/module_instance.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Owns the module object and turns each exported call into a call on it, with a line in the log
/// before and, when it has succeeded, behind. Failures are exceptions here; the exports turn them
/// into codes.
class module_instance_adapter {
 public:
  using module_ptr = std::unique_ptr<libkavuhelper::module::module_instance>;

  /// Throws `std::invalid_argument` for an empty pointer.
  explicit module_instance_adapter(module_ptr module);

  void get_module_information(bool include_texts);
  std::vector<std::uint8_t> get_module_information_as_bytes(bool include_texts);
  int create_sensor_instance(std::int32_t sensor_id, const void* data, std::uint32_t size);
  int execute_sensor_scan(std::int32_t sensor_id);
  int destroy_sensor_instance(std::int32_t sensor_id);
  int execute_meta_scan(std::int32_t sensor_id, std::uint32_t value, const void* data,
                        std::uint32_t size);
  int execute_check(std::int32_t check_id, const void* data, std::uint32_t size);

  /// Writes a line at severity 7, or nothing when there is no log.
  void log(const std::string& message);

 private:
  template <class Operation>
  auto run(const char* name, Operation&& operation);
  template <class Operation>
  int run_with_data(const char* name, const void* data, std::uint32_t size, Operation&& operation);
  libkavuhelper::messaging::module_information_message make_information(bool include_texts) const;

  module_ptr module_;
};

}  // namespace brunvik::monitoring_modules::mqtt
