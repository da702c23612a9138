#include "mqtt/failure_mapping.hpp"

#include <array>
#include <cstring>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

struct code_mapping {
  int code;
  std::exception_ptr (*make)();
};

template <class Failure>
std::exception_ptr make() {
  return std::make_exception_ptr(Failure());
}

constexpr std::array mappings{
    code_mapping{-17, make<exceptions::mqttasync_0_len_will_topic>},
    code_mapping{-16, make<exceptions::mqttasync_wrong_mqtt_version>},
    code_mapping{-15, make<exceptions::mqttasync_bad_mqtt_option>},
    code_mapping{-14, make<exceptions::mqttasync_bad_protocol>},
    code_mapping{-13, make<exceptions::mqttasync_ssl_not_supported>},
    code_mapping{-12, make<exceptions::mqttasync_max_buffered_messages>},
    code_mapping{-11, make<exceptions::mqttasync_operation_incomplete>},
    code_mapping{-10, make<exceptions::mqttasync_no_more_msgids>},
    code_mapping{-9, make<exceptions::mqttasync_bad_qos>},
    code_mapping{-8, make<exceptions::mqttasync_bad_structure>},
    code_mapping{-7, make<exceptions::mqttasync_topicname_truncated>},
    code_mapping{-6, make<exceptions::mqttasync_null_parameter>},
    code_mapping{-5, make<exceptions::mqttasync_bad_utf8_string>},
    code_mapping{-4, make<exceptions::mqttasync_max_messages_inflight>},
    code_mapping{-3, make<exceptions::mqttasync_disconnected>},
    code_mapping{-2, make<exceptions::mqttasync_persistence_error>},
    code_mapping{1, make<exceptions::unacceptable_protocol_version>},
    code_mapping{2, make<exceptions::identifier_rejected>},
    code_mapping{3, make<exceptions::server_unavailable>},
    code_mapping{4, make<exceptions::bad_username_or_password>},
    code_mapping{5, make<exceptions::not_authorized>},
};

bool is_one_of(const char* text, std::initializer_list<const char*> candidates) {
  for (const char* candidate : candidates) {
    if (std::strcmp(text, candidate) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::exception_ptr make_exception_from_code(int code, const char* failure_text) noexcept {
  try {
    for (const auto& mapping : mappings) {
      if (mapping.code == code) {
        return mapping.make();
      }
    }
    const char* text = failure_text == nullptr ? "" : failure_text;
    if (is_one_of(text,
                  {"TCP/TLS connect failure", "TCP connect completion failure", "socket error"})) {
      return make<exceptions::tcp_tls_connect_failure>();
    }
    if (is_one_of(text, {"TCP connect timeout"})) {
      return make<exceptions::tcp_connection_timeout>();
    }
    return std::make_exception_ptr(exceptions::client_failure(std::string(text)));
  } catch (...) {
    return std::current_exception();
  }
}

void check_return_code(liblog::log_interface& log, int code, const std::string& error_text,
                       const char* context) {
  liblog::log_lazily(log, liblog::severity::debug,
                     [&] { return "Return code = " + std::to_string(code) + " " + context; });
  if (code == 0) {
    return;
  }
  log.log(liblog::severity::error, "Error: " + error_text);
  std::rethrow_exception(make_exception_from_code(code, error_text.c_str()));
}

}  // namespace brunvik::monitoring_modules::mqtt
