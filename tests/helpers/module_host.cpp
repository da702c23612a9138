#include "helpers/module_host.hpp"

#include <dlfcn.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace kavu_test {
namespace {

template <class Function>
void resolve(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  if (function == nullptr) {
    throw std::runtime_error(std::string("the module does not export ") + name);
  }
}

module_functions resolve_all(void* library) {
  module_functions found{};
  resolve(library, "GetApiLevel", found.get_api_level);
  resolve(library, "InitializeModule", found.initialize_module);
  resolve(library, "CleanupModule", found.cleanup_module);
  resolve(library, "GetModuleInformation", found.get_module_information);
  resolve(library, "GetModuleInformationSync", found.get_module_information_sync);
  resolve(library, "CreateSensorInstance", found.create_sensor_instance);
  resolve(library, "ExecuteSensorScan", found.execute_sensor_scan);
  resolve(library, "DestroySensorInstance", found.destroy_sensor_instance);
  resolve(library, "ExecuteMetaScan", found.execute_meta_scan);
  resolve(library, "ExecuteCheck", found.execute_check);
  return found;
}

void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  reinterpret_cast<module_inbox*>(context)->add(data, size);
}

/// Calls a function that takes an envelope's bytes last.
template <class Function, class... Arguments>
std::int32_t call_with(const host_settings& settings, Function function, Arguments... arguments) {
  const std::string bytes = settings.serialize();
  return function(arguments..., reinterpret_cast<const std::uint8_t*>(bytes.data()),
                  static_cast<std::uint32_t>(bytes.size()));
}

/// The one that `list` has more than `before`.
template <class Result>
Result only_new(std::int32_t code, std::size_t before, const std::vector<Result>& list,
                const std::string& what) {
  if (code != KAVU_OK) {
    throw std::runtime_error(what + " ended with " + std::to_string(code));
  }
  if (list.size() != before + 1) {
    throw std::runtime_error(what + " gave " + std::to_string(list.size() - before) + " results");
  }
  return list.back();
}

}  // namespace

std::filesystem::path module_path() {
#ifdef KAVU_MODULE_PATH
  return KAVU_MODULE_PATH;
#else
  throw std::runtime_error("these tests were built without the module");
#endif
}

module_host::module_host(bool initialized, const std::filesystem::path& path)
    : library_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr) {
    throw std::runtime_error(::dlerror());
  }
  try {
    functions_ = resolve_all(library_);
    if (initialized && initialize() != KAVU_OK) {
      throw std::runtime_error("the module could not be initialised");
    }
  } catch (...) {
    ::dlclose(library_);
    throw;
  }
}

module_host::~module_host() {
  cleanup();
  ::dlclose(library_);
}

std::int32_t module_host::initialize() {
  return functions_.initialize_module(reinterpret_cast<std::uint64_t>(&inbox_), &receive);
}

std::int32_t module_host::cleanup() {
  return functions_.cleanup_module();
}

std::int32_t module_host::create_sensor(std::int32_t id, const host_settings& settings) {
  return call_with(settings, functions_.create_sensor_instance, id);
}

std::int32_t module_host::scan(std::int32_t id) {
  return functions_.execute_sensor_scan(id);
}

std::int32_t module_host::destroy_sensor(std::int32_t id) {
  return functions_.destroy_sensor_instance(id);
}

std::int32_t module_host::check(std::int32_t id, const host_settings& settings) {
  return call_with(settings, functions_.execute_check, id);
}

std::int32_t module_host::notify(std::int32_t id, const host_settings& settings) {
  return call_with(settings, functions_.execute_meta_scan, id,
                   std::uint32_t{KAVU_META_SCAN_NOTIFICATION});
}

kavu::wire::ScanResult module_host::scan_result(std::int32_t id) {
  const auto before = inbox_.scan_results(id).size();
  const auto code = scan(id);
  return only_new(code, before, inbox_.scan_results(id), "scan of " + std::to_string(id));
}

bool module_host::check_succeeds(std::int32_t id, const host_settings& settings) {
  const auto before = inbox_.check_results(id).size();
  const auto code = check(id, settings);
  return only_new(code, before, inbox_.check_results(id), "check " + std::to_string(id)).success();
}

kavu::wire::NotificationResponse module_host::notification_response(std::int32_t id,
                                                                    const host_settings& settings) {
  const auto before = inbox_.notification_responses(id).size();
  const auto code = notify(id, settings);
  return only_new(code, before, inbox_.notification_responses(id),
                  "notification " + std::to_string(id));
}

std::string module_host::definition(bool with_texts) {
  const std::uint32_t flags = with_texts ? KAVU_INCLUDE_TEXTS : 0U;
  std::uint32_t size = 0;
  std::int32_t code = functions_.get_module_information_sync(nullptr, &size, flags);
  std::string bytes(size, '\0');
  if (code == KAVU_OK) {
    code = functions_.get_module_information_sync(reinterpret_cast<std::uint8_t*>(bytes.data()),
                                                  &size, flags);
  }
  kavu::wire::Envelope envelope;
  if (code != KAVU_OK || !envelope.ParseFromString(bytes)) {
    throw std::runtime_error("module information ended with " + std::to_string(code));
  }
  return envelope.module_information().definition();
}

host_settings module_host::with_kept_data(std::int32_t id, host_settings settings) const {
  for (const auto& [key, value] : inbox_.persistent_data(id)) {
    settings.persistent(key, value);
  }
  for (const auto& definition : inbox_.channels(id)) {
    settings.known_channel(definition);
  }
  return settings;
}

bool is_loaded(const std::filesystem::path& library) {
  void* handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  ::dlclose(handle);
  return true;
}

}  // namespace kavu_test
