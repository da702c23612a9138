#pragma once

namespace brunvik::monitoring_modules::libkavuhelper::utils {

/// What the library is called in logs.
const char* library_name() noexcept;

/// The version that the library was built as ("1.16.0").
const char* library_version() noexcept;

}  // namespace brunvik::monitoring_modules::libkavuhelper::utils
