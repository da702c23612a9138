// The ten exported functions: the only place where failures become codes.

#include <cstring>
#include <memory>
#include <utility>

#include "kavu/module_api.h"
#include "module/kavu_module_mqtt.hpp"
#include "module/module_instance_adapter.hpp"

using brunvik::monitoring_modules::mqtt::KavuModuleMQTT;
using brunvik::monitoring_modules::mqtt::module_instance_adapter;

namespace {

/// The module, from a successful `InitializeModule` to `CleanupModule`. The host does not call
/// these two beside anything else, so it needs no lock.
module_instance_adapter* the_module = nullptr;

/// A value of `failed` for any exception: none leaves the library.
template <class Call>
int32_t guard(int32_t failed, Call&& call) noexcept {
  try {
    return call();
  } catch (...) {
    return failed;
  }
}

template <class Call>
int32_t call_module(Call&& call) noexcept {
  if (the_module == nullptr) {
    return KAVU_NOT_INITIALIZED;
  }
  return guard(KAVU_FAILED, [&] { return call(*the_module); });
}

bool includes_texts(uint32_t flags) {
  return (flags & KAVU_INCLUDE_TEXTS) != 0;
}

}  // namespace

extern "C" {

int32_t GetApiLevel(void) {
  return KAVU_MODULE_API_LEVEL;
}

int32_t InitializeModule(uint64_t context, kavu_host_callback callback) {
  return guard(KAVU_REFUSED, [&]() -> int32_t {
    if (the_module != nullptr) {
      the_module->log("InitializeModule called on already initialized module.");
      return KAVU_REFUSED;
    }
    auto adapter = std::make_unique<module_instance_adapter>(
        std::make_unique<KavuModuleMQTT>(context, callback));
    const std::unique_ptr<module_instance_adapter> previous(
        std::exchange(the_module, adapter.release()));
    return KAVU_OK;
  });
}

int32_t CleanupModule(void) {
  return guard(KAVU_OK, []() -> int32_t {
    const std::unique_ptr<module_instance_adapter> last(std::exchange(the_module, nullptr));
    return KAVU_OK;
  });
}

void GetModuleInformation(uint32_t flags) {
  if (the_module == nullptr) {
    return;
  }
  guard(KAVU_FAILED, [&]() -> int32_t {
    the_module->get_module_information(includes_texts(flags));
    return KAVU_OK;
  });
}

int32_t GetModuleInformationSync(uint8_t* buffer, uint32_t* size, uint32_t flags) {
  if (size == nullptr) {
    return KAVU_REFUSED;
  }
  if (the_module == nullptr) {
    return KAVU_FAILED;
  }
  return guard(KAVU_REFUSED, [&]() -> int32_t {
    const auto bytes = the_module->get_module_information_as_bytes(includes_texts(flags));
    const uint32_t capacity = *size;
    const auto length = static_cast<uint32_t>(bytes.size());
    *size = length;
    if (buffer == nullptr) {
      return KAVU_OK;
    }
    if (length > capacity) {
      return KAVU_REFUSED;
    }
    std::memcpy(buffer, bytes.data(), length);
    return KAVU_OK;
  });
}

int32_t CreateSensorInstance(int32_t sensor_id, const uint8_t* data, uint32_t size) {
  return call_module([&](module_instance_adapter& module) {
    return module.create_sensor_instance(sensor_id, data, size);
  });
}

int32_t ExecuteSensorScan(int32_t sensor_id) {
  return call_module(
      [&](module_instance_adapter& module) { return module.execute_sensor_scan(sensor_id); });
}

int32_t DestroySensorInstance(int32_t sensor_id) {
  return call_module(
      [&](module_instance_adapter& module) { return module.destroy_sensor_instance(sensor_id); });
}

int32_t ExecuteMetaScan(int32_t sensor_id, uint32_t value, const uint8_t* data, uint32_t size) {
  return call_module([&](module_instance_adapter& module) {
    return module.execute_meta_scan(sensor_id, value, data, size);
  });
}

int32_t ExecuteCheck(int32_t check_id, const uint8_t* data, uint32_t size) {
  return call_module(
      [&](module_instance_adapter& module) { return module.execute_check(check_id, data, size); });
}

}  // extern "C"
