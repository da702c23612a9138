#pragma once

#include <MQTTAsync.h>

#include <cstddef>

#include "mqtt/paho_connection.hpp"

/// Internal to the implementation of the client: this header shows the library's structures.
namespace brunvik::monitoring_modules::mqtt {

/// The functions that the library calls, with the connection as their context. They catch
/// everything, and leave the connection's owner in peace once the connection is closing.
/// [client-thread]
struct paho_connection::callbacks {
  static void connect_success(void* context, MQTTAsync_successData* data);
  static void connect_failure(void* context, MQTTAsync_failureData* data);
  static void connection_lost(void* context, char* cause);
  static void connected(void* context, char* cause);
  static int message_arrived(void* context, char* topic, int topic_length,
                             MQTTAsync_message* message);
  static int tls_error(const char* text, std::size_t length, void* context);

 private:
  class running_event;

  static void deliver(paho_connection& connection, const char* topic, int topic_length,
                      const MQTTAsync_message* message) noexcept;
};

}  // namespace brunvik::monitoring_modules::mqtt
