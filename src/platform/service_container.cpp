#include "kavuhelper/module/service_container.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

service_container::service_container() = default;
service_container::~service_container() = default;

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
