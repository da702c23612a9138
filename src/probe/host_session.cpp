#include "probe/host_session.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <utility>

#include "probe/failure.hpp"
#include "probe/secret.hpp"
#include "probe/settings_builder.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds patience_after_stop{1500};
constexpr std::chrono::milliseconds tick{200};
constexpr int least_severe_failure = 4;

// Called by the module, on any of its threads.
void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  reinterpret_cast<inbox*>(context)->put_message({data, data == nullptr ? 0 : size});
}

}  // namespace

host_session::host_session(const module_library& library, session_observer& observer,
                           bool whole_log, std::stop_token stop)
    : library_(library),
      observer_(observer),
      stop_(std::move(stop)),
      inbox_(whole_log ? INT_MAX : least_severe_failure),
      calls_(inbox_) {
  const auto context = reinterpret_cast<std::uint64_t>(&inbox_);
  const std::int32_t code = library_.initialize_module(context, &receive);
  if (code != KAVU_OK) {
    throw probe_error(fmt::format("The module cannot be initialised (code {}).", code));
  }
  initialized_ = true;
}

host_session::~host_session() {
  if (initialized_) {
    library_.cleanup_module();
  }
}

std::string host_session::definition_document() {
  const auto bytes = std::make_shared<std::string>();
  const call_outcome outcome = call([bytes, &library = library_]() -> std::int32_t {
    std::uint32_t size = 0;
    std::int32_t code = library.get_module_information_sync(nullptr, &size, KAVU_INCLUDE_TEXTS);
    if (code == KAVU_OK) {
      bytes->resize(size);
      code = library.get_module_information_sync(reinterpret_cast<std::uint8_t*>(bytes->data()),
                                                 &size, KAVU_INCLUDE_TEXTS);
    }
    return code;
  });
  kavu::wire::Envelope message;
  if (outcome.code != KAVU_OK || !message.ParseFromString(*bytes) ||
      !message.has_module_information()) {
    throw probe_error(
        fmt::format("The module gives no definition document (code {}).", outcome.code));
  }
  return std::move(*message.mutable_module_information()->mutable_definition());
}

call_outcome host_session::create_sensor(std::int32_t id, kavu::wire::SensorData request) {
  kavu::wire::Envelope message;
  message.mutable_sensor_data()->Swap(&request);
  auto outcome = call_with(message, [id, &library = library_](const auto* data, auto size) {
    return library.create_sensor_instance(id, data, size);
  });
  wipe_settings(*message.mutable_sensor_data());
  return outcome;
}

call_outcome host_session::scan_sensor(std::int32_t id) {
  return call([id, &library = library_] { return library.execute_sensor_scan(id); });
}

call_outcome host_session::destroy_sensor(std::int32_t id) {
  return call([id, &library = library_] { return library.destroy_sensor_instance(id); });
}

call_outcome host_session::run_check(std::int32_t id, kavu::wire::CheckData request) {
  kavu::wire::Envelope message;
  message.mutable_check_data()->Swap(&request);
  auto outcome = call_with(message, [id, &library = library_](const auto* data, auto size) {
    return library.execute_check(id, data, size);
  });
  wipe_settings(*message.mutable_check_data());
  return outcome;
}

call_outcome host_session::notify(std::int32_t id, kavu::wire::NotificationRequest request) {
  kavu::wire::Envelope message;
  message.mutable_notification_request()->Swap(&request);
  auto outcome = call_with(message, [id, &library = library_](const auto* data, auto size) {
    return library.execute_meta_scan(id, KAVU_META_SCAN_NOTIFICATION, data, size);
  });
  wipe_settings(*message.mutable_notification_request());
  return outcome;
}

call_outcome host_session::call_with(
    kavu::wire::Envelope& message,
    std::function<std::int32_t(const std::uint8_t*, std::uint32_t)> function) {
  message.set_api_level(KAVU_MODULE_API_LEVEL);
  // Owned by the call: it may go on reading after the wait for it was given up.
  const auto bytes = std::make_shared<secret>(message.SerializeAsString());
  return call([bytes, function = std::move(function)] {
    const std::string& text = bytes->text();
    return function(reinterpret_cast<const std::uint8_t*>(text.data()),
                    static_cast<std::uint32_t>(text.size()));
  });
}

call_outcome host_session::call(std::function<std::int32_t()> function) {
  start_call(std::move(function));
  outcome_.code = await_call();
  if (stop_.stop_requested()) {
    throw stopped();
  }
  return std::exchange(outcome_, {});
}

void host_session::start_call(std::function<std::int32_t()> function) {
  calls_.start(std::move(function));
  call_running_ = true;
}

std::int32_t host_session::await_call() {
  auto give_up = steady_clock::time_point::max();
  for (;;) {
    const bool stopping = stop_.stop_requested();
    if (stopping && give_up == steady_clock::time_point::max()) {
      give_up = steady_clock::now() + patience_after_stop;
    }
    const auto deadline = std::min(give_up, steady_clock::now() + tick);
    const auto event = inbox_.take(deadline, stopping ? std::stop_token() : stop_);
    if (!event) {
      if (steady_clock::now() >= give_up) {
        throw call_abandoned();
      }
      observer_.on_tick();
    } else if (const auto* ended = std::get_if<call_ended>(&*event)) {
      call_running_ = false;
      return ended->code;
    } else {
      handle(*event);
    }
  }
}

void host_session::wait_until(steady_clock::time_point time) {
  for (;;) {
    if (stop_.stop_requested()) {
      throw stopped();
    }
    const auto event = inbox_.take(std::min(time, steady_clock::now() + tick), stop_);
    if (event) {
      handle(*event);
    } else if (steady_clock::now() >= time) {
      return;
    } else {
      observer_.on_tick();
    }
  }
}

void host_session::close() {
  if (!initialized_) {
    return;
  }
  if (call_running_) {
    await_call();
  }
  start_call([&library = library_] { return library.cleanup_module(); });
  await_call();
  initialized_ = false;
}

void host_session::handle(const inbox_event& event) {
  if (const auto* message = std::get_if<kavu::wire::Envelope>(&event)) {
    handle(*message);
  } else if (const auto* unreadable = std::get_if<unreadable_message>(&event)) {
    observer_.on_problem(
        fmt::format("The module sent {} bytes that are no message.", unreadable->size));
  } else if (const auto* lost = std::get_if<lost_log_records>(&event)) {
    observer_.on_problem(fmt::format("{} log records came too fast and are lost.", lost->count));
  }
}

void host_session::handle(const kavu::wire::Envelope& message) {
  switch (message.content_case()) {
    case kavu::wire::Envelope::kLogRecord:
      if (message.log_record().severity() <= least_severe_failure) {
        outcome_.severe_records.push_back(message.log_record());
      }
      observer_.on_log(message.log_record());
      break;
    case kavu::wire::Envelope::kScanResult:
      memory(message.scan_result().sensor_id()).keep(message.scan_result());
      outcome_.scan_results.push_back(message.scan_result());
      break;
    case kavu::wire::Envelope::kPersistentData:
      memory(message.persistent_data().sensor_id()).keep(message.persistent_data());
      break;
    case kavu::wire::Envelope::kCheckResult:
      outcome_.answered = std::chrono::steady_clock::now();
      outcome_.check_results.push_back(message.check_result());
      break;
    case kavu::wire::Envelope::kNotificationResponse:
      outcome_.answered = std::chrono::steady_clock::now();
      outcome_.notification_responses.push_back(message.notification_response());
      break;
    default:
      observer_.on_problem("The module sent a message of an unexpected kind.");
  }
}

}  // namespace kavu_probe
