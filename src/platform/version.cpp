#include "kavuhelper/utils/version.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::utils {

const char* library_name() noexcept {
  return "libKavuHelper";
}

const char* library_version() noexcept {
  return KAVU_LIBRARY_VERSION;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::utils
