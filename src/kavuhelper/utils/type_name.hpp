#pragma once

#include <string>
#include <typeinfo>

namespace brunvik::monitoring_modules::libkavuhelper::utils {

/// The run-time name of a type as the type information gives it (mangled), without the "*" that
/// marks names unique to one library.
template <class T>
std::string type_name() {
  const char* const name = typeid(T).name();
  return *name == '*' ? name + 1 : name;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::utils
