#include "module/kavu_module_mqtt.hpp"

#include <limits>
#include <memory>
#include <mutex>

#include "definition/module_definition.hpp"
#include "libjsonparser/jsonpath_parser.hpp"
#include "libstringutils/random_number_generator.hpp"
#include "libstringutils/random_string_generator.hpp"
#include "libstringutils/synchronized_random_string_generator.hpp"
#include "mqtt/library_waker.hpp"
#include "mqtt/mqtt_client_paho.hpp"
#include "mqtt/sensors/mqtt_connect_check.hpp"
#include "mqtt/sensors/mqtt_notification.hpp"
#include "mqtt/sensors/roundtrip_sensor.hpp"
#include "mqtt/sensors/statistics_sensor.hpp"
#include "mqtt/sensors/subscribe_custom_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt {

using libstringutils::random_string_generator_interface;

namespace {

// Sensors draw from it at the same time.
std::unique_ptr<random_string_generator_interface> make_random_string_generator() {
  auto numbers = std::make_unique<libstringutils::random_number_generator<std::uint64_t>>(
      std::numeric_limits<std::uint64_t>::max());
  return std::make_unique<libstringutils::synchronized_random_string_generator>(
      std::make_unique<libstringutils::random_string_generator>(
          std::move(numbers), libstringutils::default_alphabet()));
}

/// Keeps the MQTT library in use for as long as the module lives: each time it is taken into use
/// anew, it may sleep for a tenth of a second before it looks at its first connection, which would
/// pass for the broker's time, and the TLS library loses a few bytes for good.
class kept_library {
 public:
  kept_library() { keep(); }

  void keep() {
    const std::lock_guard lock(mutex_);
    if (waker_ == nullptr || !waker_->works()) {
      waker_ = library_waker::shared();
    }
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<library_waker> waker_;
};

}  // namespace

KavuModuleMQTT::KavuModuleMQTT(std::uint64_t context,
                               const libkavuhelper::module::host_callback& callback)
    : module_instance(context, callback) {
  add_factories();
  register_kinds();
}

void KavuModuleMQTT::add_factories() {
  const auto& container = get_service_container();
  container->add_factory<random_string_generator_interface>(make_random_string_generator);
  container->add_factory<mqtt_client_interface, mqtt_client_settings>(
      [weak = std::weak_ptr(container),
       library = std::make_shared<kept_library>()](mqtt_client_settings settings) {
        library->keep();
        std::weak_ptr<random_string_generator_interface> generator;
        if (const auto services = weak.lock()) {
          generator = services->get_or_create<random_string_generator_interface>();
        }
        return std::make_unique<mqtt_client_paho>(settings, generator);
      });
  const auto expressions = std::make_shared<libjsonparser::jsonpath_expressions>();
  container->add_factory<libparser::parser_interface, std::string>(
      [expressions](const std::string& text) {
        return std::make_unique<libjsonparser::jsonpath_parser>(text, expressions);
      });
}

void KavuModuleMQTT::register_kinds() {
  const auto& dispatcher = get_sensor_dispatcher();
  dispatcher->register_sensor_as<roundtrip_sensor>("roundtrip_sensor");
  dispatcher->register_sensor_as<statistics_sensor>("statistics_sensor");
  dispatcher->register_sensor_as<subscribe_custom_sensor>("subscribe_custom_sensor");
  dispatcher->register_check_as<mqtt_connect_check>("mqtt_connect_check");
  dispatcher->register_notification_as<mqtt_notification>("mqtt_notification");
}

std::string KavuModuleMQTT::get_module_information() const {
  return definition::module_definition_document();
}

}  // namespace brunvik::monitoring_modules::mqtt
