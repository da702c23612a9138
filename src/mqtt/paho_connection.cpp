#include "mqtt/paho_connection.hpp"

#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "liblog/severity.hpp"
#include "mqtt/failure_mapping.hpp"
#include "mqtt/library_lock.hpp"
#include "mqtt/numeric_address.hpp"
#include "mqtt/paho_callbacks.hpp"
#include "mqtt/paho_options.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

/// How long the broker may take to be told that we leave.
constexpr auto disconnect_limit = 500ms;
/// How long after the end of a connection the next one may begin.
constexpr auto socket_rest = 50ms;
/// Every subscription asks for the highest level, so that none is lost that a publisher has paid
/// for.
constexpr int subscription_qos = 2;

void on_operation_success(void* context, MQTTAsync_successData* data) {
  pending_operation::answer_success(context, data == nullptr ? 0 : data->alt.qos);
}

void on_operation_failure(void* context, MQTTAsync_failureData* data) {
  pending_operation::answer_failure(context, data == nullptr ? -1 : data->code,
                                    data == nullptr ? nullptr : data->message);
}

MQTTAsync_responseOptions make_response_options(const pending_operation& operation) {
  MQTTAsync_responseOptions options = MQTTAsync_responseOptions_initializer;
  options.onSuccess = on_operation_success;
  options.onFailure = on_operation_failure;
  options.context = operation.context();
  return options;
}

/// What a person can read in a line of OpenSSL's: "NUMBER:error:CODE:LIBRARY:FUNCTION:REASON:...".
std::string reason_in(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream rest(line);
  for (std::string field; std::getline(rest, field, ':');) {
    fields.push_back(field);
  }
  return fields.size() > 5 && fields[1] == "error" ? fields[5] : line;
}

}  // namespace

paho_connection::paho_connection(const mqtt_client_settings& settings, std::string client_id,
                                 std::shared_ptr<client_log> log, connection_events& events)
    : log_(std::move(log)),
      events_(events),
      client_id_(std::move(client_id)),
      host_(settings.host),
      port_(settings.port),
      uses_tls_(settings.tls.mode == tls_settings::tls_mode::on),
      server_uri_(make_server_uri(settings)) {
  if (!waker_.get()->works()) {
    log_->log(severity::warning,
              "There is no loopback connection to be had: times may be up to two seconds too long");
  }
  require_no_nul(settings, client_id_);
  log_->log(severity::info,
            "Working with MQTT version: " + std::to_string(make_create_options().MQTTVersion));
  log_->log(severity::debug, "Initializing handle with options: server_uri: " + server_uri_ +
                                 " with client_id: " + client_id_);
  options_ = std::make_unique<paho_options>(settings, *log_);
  make_handle();
}

void paho_connection::make_handle() {
  MQTTAsync_createOptions create_options = make_create_options();
  MQTTAsync made = nullptr;
  check_return_code(
      *log_,
      MQTTAsync_createWithOptions(&made, server_uri_.c_str(), client_id_.c_str(),
                                  MQTTCLIENT_PERSISTENCE_NONE, nullptr, &create_options),
      "", "in MQTTAsync_createWithOptions");
  try {
    check_return_code(
        *log_,
        MQTTAsync_setCallbacks(made, this, callbacks::connection_lost, callbacks::message_arrived,
                               [](void*, MQTTAsync_token) {}),
        "", "in MQTTAsync_setCallbacks");
    check_return_code(*log_, MQTTAsync_setConnected(made, this, callbacks::connected), "",
                      "in MQTTAsync_setConnected");
  } catch (...) {
    with_library_lock([&] { MQTTAsync_destroy(&made); });
    throw;
  }
  with_library_lock([&] { handle_ = made; });
}

void paho_connection::destroy_handle() noexcept {
  with_library_lock([&] {
    if (handle_ != nullptr) {
      MQTTAsync_destroy(&handle_);
      handle_ = nullptr;
    }
  });
}

// The library calls back with its lock held and destroys with its lock held, so once the events
// that are running have ended none can be between the two.
paho_connection::~paho_connection() {
  give_up_operations();
  if (connected_) {
    disconnect();
  }
  closing_ = true;
  await_callbacks();
  log_->log(severity::notice, "Cleaning up.");
  destroy_handle();
}

// The library has no other way to end an attempt: it disconnects only what is connected.
bool paho_connection::end_attempt() {
  closing_ = true;
  await_callbacks();
  const bool ended = !connected_;
  if (ended) {
    destroy_handle();
    std::ignore = take_tls_error();
    ended_ = std::chrono::steady_clock::now();
  }
  closing_ = false;
  // A connection that came up at the last moment may have been lost again meanwhile.
  await_callbacks();
  if (untold_loss_.exchange(false)) {
    events_.on_connection_lost("");
  }
  return ended;
}

void paho_connection::await_callbacks() const noexcept {
  while (callbacks_running_ != 0) {
    std::this_thread::sleep_for(1ms);
  }
}

void paho_connection::disconnect() noexcept try {
  log_->log(severity::info, "Disconnect from broker.");
  const auto told = pending_operation::begin();
  MQTTAsync_disconnectOptions options = MQTTAsync_disconnectOptions_initializer;
  options.struct_version = 1;
  options.timeout = 0;
  options.onSuccess = on_operation_success;
  options.onFailure = on_operation_failure;
  options.context = told->context();
  check_return_code(*log_,
                    with_library_lock([&] { return MQTTAsync_disconnect(handle_, &options); }), "",
                    "in MQTTAsync_disconnect");
  if (told->wait_for(disconnect_limit / 5) == pending_operation::state::running) {
    wake_sender();
    told->wait_for(disconnect_limit * 4 / 5);
  }
} catch (const std::exception& failure) {
  log_->log(severity::error, failure.what());
}

int paho_connection::start_connecting(const std::string& address, protocol version) {
  if (handle_ == nullptr) {
    make_handle();
  }
  look_after_waker();
  // The library takes the options without its lock, which it holds while it ends what was before.
  let_library_finish();
  // And what it still has to say of a socket that is closed it says of the next one, which has got
  // the same number.
  std::this_thread::sleep_until(ended_.load() + socket_rest);
  address_ = address;
  version_ = version;
  version_in_doubt_ = false;
  refused_ = false;
  unexplained_ = false;
  std::string target = uses_tls_ ? server_uri_ : make_plain_uri(address, port_);
  char* const uri = target.data();
  auto& options = options_->connect;
  // Left to choose, the library tries the older version after whatever has gone wrong, also after
  // the loss of a connection: it then connects beside us, and hides what was wrong at first.
  options.MQTTVersion = static_cast<int>(version);
  options.serverURIcount = 1;
  options.serverURIs = &uri;
  options.onSuccess = callbacks::connect_success;
  options.onFailure = callbacks::connect_failure;
  options.context = this;
  options_->tls.ssl_error_cb = callbacks::tls_error;
  options_->tls.ssl_error_context = this;
  const int code = with_library_lock([&] { return MQTTAsync_connect(handle_, &options); });
  options.serverURIs = nullptr;  // the library has copied them
  return code;
}

void paho_connection::connect(const std::string& address, protocol version) {
  check_return_code(*log_, start_connecting(address, version), "", "in method MQTTAsync_connect()");
}

// The library's own MQTTAsync_reconnect forgets the callbacks after their first use, so that nobody
// would learn why a later attempt has failed.
void paho_connection::reconnect(const std::string& address, protocol version) {
  const int code = start_connecting(address, version);
  if (code != MQTTASYNC_SUCCESS) {
    log_->log(severity::notice, "MQTTAsync_reconnect failed with: " + std::to_string(code));
  }
  check_return_code(*log_, code, "", "in method MQTTAsync_connect()");
}

diagnosis paho_connection::examine(std::chrono::steady_clock::time_point deadline,
                                   const std::function<bool()>& given_up) const {
  if (address_.empty()) {
    return {};
  }
  const auto& tls = options_->tls;
  return diagnose_connection({host_, address_, port_, uses_tls_, tls.trustStore, tls.keyStore,
                              tls.privateKey, tls.privateKeyPassword},
                             deadline, given_up);
}

// What the library has heard of the TLS library is better than nothing.
std::string paho_connection::explain_failure(std::chrono::steady_clock::time_point deadline,
                                             const std::function<bool()>& given_up) {
  if (!uses_tls_ || !unexplained_.exchange(false)) {
    return {};
  }
  const std::string heard = reason_in(take_tls_error());
  const auto found = examine(deadline, given_up);
  if (!found.fault.empty() || !heard.empty()) {
    return found.fault.empty() ? heard : found.fault;
  }
  const auto literal = parse_address(without_brackets(host_));
  const bool cannot_be_compared =
      options_->tls.trustStore != nullptr && literal && family_of(*literal) == address_family::ipv6;
  return found.stage == reached::tls && cannot_be_compared
             ? "The MQTT library cannot compare a certificate with an IPv6 address; set a host "
               "name."
             : std::string();
}

bool paho_connection::library_says_connected() {
  return with_library_lock([&] { return MQTTAsync_isConnected(handle_) != 0; });
}

// Whoever asks for something waits for the lock.
void paho_connection::let_library_finish() noexcept {
  std::ignore = library_says_connected();
}

void paho_connection::report_loss() noexcept {
  lose("");
}

void paho_connection::break_off() noexcept {
  disconnect();
  lose("The broker does not answer.");
}

void paho_connection::lose(const std::string& cause) noexcept {
  if (!connected_.exchange(false)) {
    return;  // somebody else has told
  }
  ended_ = std::chrono::steady_clock::now();
  if (closing_) {
    untold_loss_ = true;
  } else {
    events_.on_connection_lost(cause);
  }
  end_operations(&pending_operation::disconnected);
}

template <class Request>
paho_connection::operation_ptr paho_connection::start(Request&& request) {
  auto operation = pending_operation::begin();
  {
    const std::lock_guard lock(operations_mutex_);
    std::erase_if(operations_, [](const auto& entry) {
      const auto live = entry.second.lock();
      return live == nullptr || live->current() != pending_operation::state::running;
    });
    operations_.emplace(operation.get(), operation);
    if (operations_given_up_) {
      operation->give_up();  // the request is sent all the same
    }
  }
  MQTTAsync_responseOptions options = make_response_options(*operation);
  check_return_code(*log_, with_library_lock([&] { return request(&options); }), "",
                    "in method in synchronize_call()");
  operation->set_token(options.token);
  if (!connected_) {
    operation->disconnected();
  }
  return operation;
}

paho_connection::operation_ptr paho_connection::subscribe(const std::string& filter) {
  return start([&](MQTTAsync_responseOptions* options) {
    return MQTTAsync_subscribe(handle_, filter.c_str(), subscription_qos, options);
  });
}

paho_connection::operation_ptr paho_connection::unsubscribe(const std::string& filter) {
  return start([&](MQTTAsync_responseOptions* options) {
    return MQTTAsync_unsubscribe(handle_, filter.c_str(), options);
  });
}

paho_connection::operation_ptr paho_connection::publish(const std::string& topic,
                                                        const std::string& payload,
                                                        quality_of_service qos, bool retain) {
  return start([&](MQTTAsync_responseOptions* options) {
    MQTTAsync_message message = MQTTAsync_message_initializer;
    // The library copies the payload, and never writes to it.
    message.payload = const_cast<char*>(payload.data());
    message.payloadlen = static_cast<int>(payload.size());
    message.qos = static_cast<int>(qos);
    message.retained = retain ? 1 : 0;
    return MQTTAsync_sendMessage(handle_, topic.c_str(), &message, options);
  });
}

void paho_connection::end_operations(void (pending_operation::*end)() noexcept) noexcept {
  const std::lock_guard lock(operations_mutex_);
  for (const auto& [key, entry] : operations_) {
    if (const auto operation = entry.lock()) {
      (operation.get()->*end)();
    }
  }
  operations_.clear();
}

void paho_connection::give_up_operations() noexcept {
  {
    const std::lock_guard lock(operations_mutex_);
    operations_given_up_ = true;
  }
  end_operations(&pending_operation::give_up);
}

void paho_connection::accept_operations() noexcept {
  const std::lock_guard lock(operations_mutex_);
  operations_given_up_ = false;
}

void paho_connection::remember_tls_error(std::string text) noexcept try {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.pop_back();
  }
  log_->log(severity::info, "TLS: " + text);
  const std::lock_guard lock(operations_mutex_);
  tls_error_ = std::move(text);
} catch (...) {
  // Without memory for its words the failure is told by its code.
}

std::string paho_connection::take_tls_error() noexcept {
  const std::lock_guard lock(operations_mutex_);
  return std::exchange(tls_error_, {});
}

}  // namespace brunvik::monitoring_modules::mqtt
