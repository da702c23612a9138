#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "envelope.pb.h"
#include "probe/call_thread.hpp"
#include "probe/inbox.hpp"
#include "probe/module_library.hpp"
#include "probe/sensor_memory.hpp"

namespace kavu_probe {

/// What a person may want to see of a session while it goes on. Called on the session's thread.
class session_observer {
 public:
  virtual ~session_observer() = default;
  virtual void on_log(const kavu::wire::LogRecord& record) = 0;
  /// Something that should not happen, in one line.
  virtual void on_problem(const std::string& text) = 0;
  /// Several times a second while the session waits, for a sign of life.
  virtual void on_tick() = 0;
};

/// How a call of the module ended and what the module said meanwhile.
struct call_outcome {
  std::int32_t code = 0;
  /// When the latest answer came, which may be well before the call returned: a module may have to
  /// clean up. Empty when there was none.
  std::optional<std::chrono::steady_clock::time_point> answered;
  std::vector<kavu::wire::ScanResult> scan_results;
  std::vector<kavu::wire::CheckResult> check_results;
  std::vector<kavu::wire::NotificationResponse> notification_responses;
  /// The log records of severity 0 to 4: what explains a failure.
  std::vector<kavu::wire::LogRecord> severe_records;
};

/// One module, initialised, with what a host keeps for its sensors.
///
/// All functions are for one thread, which must be the same each time. The module's calls run on
/// a thread of their own; while one runs, its messages are handled here as they come. When a stop
/// is requested, a call that does not come back within a second and a half is given up
/// (call_abandoned); one that does is followed by stopped. After call_abandoned the session must
/// not be destroyed: only the end of the process can get rid of the call.
class host_session {
 public:
  /// Initialises the module. Throws probe_error when the module refuses. `library` and `observer`
  /// must outlive this. The observer sees `whole_log` or only what explains failures.
  host_session(const module_library& library, session_observer& observer, bool whole_log,
               std::stop_token stop);
  host_session(const host_session&) = delete;
  host_session& operator=(const host_session&) = delete;
  /// Cleans the module up if close() has not.
  ~host_session();

  /// The module's definition document, with texts. Throws probe_error when it gives none.
  std::string definition_document();

  /// What is kept for a sensor; empty at first.
  sensor_memory& memory(std::int32_t sensor_id) { return memories_[sensor_id]; }

  /// The requests are handed over and then overwritten, since they hold secrets.
  call_outcome create_sensor(std::int32_t id, kavu::wire::SensorData request);
  call_outcome scan_sensor(std::int32_t id);
  call_outcome destroy_sensor(std::int32_t id);
  call_outcome run_check(std::int32_t id, kavu::wire::CheckData request);
  call_outcome notify(std::int32_t id, kavu::wire::NotificationRequest request);

  /// Handles what the module says until then. Throws stopped.
  void wait_until(std::chrono::steady_clock::time_point time);

  /// Cleans the module up, and its sensors with it, after a call that still runs because waiting
  /// for it failed. Throws call_abandoned, and what the observer throws.
  void close();

 private:
  call_outcome call(std::function<std::int32_t()> function);
  call_outcome call_with(kavu::wire::Envelope& message,
                         std::function<std::int32_t(const std::uint8_t*, std::uint32_t)> function);
  void start_call(std::function<std::int32_t()> function);
  std::int32_t await_call();
  void handle(const inbox_event& event);
  void handle(const kavu::wire::Envelope& message);

  const module_library& library_;
  session_observer& observer_;
  const std::stop_token stop_;
  inbox inbox_;
  call_thread calls_;
  std::map<std::int32_t, sensor_memory> memories_;
  call_outcome outcome_;
  bool initialized_ = false;
  bool call_running_ = false;
};

}  // namespace kavu_probe
