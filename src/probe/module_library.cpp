#include "probe/module_library.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <filesystem>

#include "probe/failure.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr const char* own_module = "libMQTT.so";

std::string last_failure() {
  const char* const text = dlerror();
  return text == nullptr ? "unknown failure" : printable(text);
}

void* load(const std::string& path) {
  // A bare file name would be searched for in the system's library folders.
  const std::string absolute = std::filesystem::absolute(path).string();
  void* const handle = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    throw usage_error("The module cannot be loaded: " + last_failure());
  }
  return handle;
}

template <class Function>
void find_function(void* handle, const std::string& path, const char* name, Function& target) {
  target = reinterpret_cast<Function>(dlsym(handle, name));
  if (target == nullptr) {
    throw usage_error(
        fmt::format("{} is no monitoring module: it has no {}.", printable(path), name));
  }
}

}  // namespace

module_library::module_library(const std::string& path) : handle_(load(path)) {
  try {
    load_functions(path);
  } catch (...) {
    dlclose(handle_);
    throw;
  }
}

module_library::~module_library() {
  dlclose(handle_);
}

void module_library::load_functions(const std::string& path) {
  find_function(handle_, path, "GetApiLevel", get_api_level);
  find_function(handle_, path, "InitializeModule", initialize_module);
  find_function(handle_, path, "CleanupModule", cleanup_module);
  find_function(handle_, path, "GetModuleInformation", get_module_information);
  find_function(handle_, path, "GetModuleInformationSync", get_module_information_sync);
  find_function(handle_, path, "CreateSensorInstance", create_sensor_instance);
  find_function(handle_, path, "ExecuteSensorScan", execute_sensor_scan);
  find_function(handle_, path, "DestroySensorInstance", destroy_sensor_instance);
  find_function(handle_, path, "ExecuteMetaScan", execute_meta_scan);
  find_function(handle_, path, "ExecuteCheck", execute_check);
  const int level = get_api_level();
  if (level != KAVU_MODULE_API_LEVEL) {
    throw usage_error(fmt::format("{} speaks level {} of the module interface, not {}.",
                                  printable(path), level, KAVU_MODULE_API_LEVEL));
  }
}

std::string find_own_module() {
  namespace fs = std::filesystem;
  std::error_code failure;
  const fs::path program = fs::read_symlink("/proc/self/exe", failure).parent_path();
  const std::array places = {program / ".." / "lib", program, program / ".." / KAVU_INSTALL_LIBDIR,
                             fs::path(KAVU_MODULE_FOLDER)};
  for (const fs::path& place : places) {
    if (fs::is_regular_file(place / own_module, failure)) {
      return (place / own_module).lexically_normal().string();
    }
  }
  throw usage_error(
      fmt::format("There is no {} beside this program; name one with --module.", own_module));
}

}  // namespace kavu_probe
