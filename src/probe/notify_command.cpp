#include <fmt/format.h>

#include "probe/commands.hpp"
#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

constexpr std::int32_t notification_id = 1;

/// A module's notifications are reached with what its credentials sections hold, and with host,
/// port and client identifier under names of their own.
settings_builder make_settings(const probe_context& context, const notify_options& options) {
  std::vector<std::string> sections;
  for (const setting_section& section : context.module.sections) {
    if (section.scope == credentials_scope) {
      sections.push_back(section.name);
    }
  }
  settings_builder settings(context.module, sections, std::nullopt);
  set_connection(settings, context.options.connection, context.credentials);
  const std::string* const port = settings.find_value("port");
  const std::string port_text = port == nullptr ? "" : *port;
  settings.add("connection.host", make_host_address(context.options.connection.host).text);
  settings.add("connection.port", port_text);
  settings.add("connection.client_id", options.client_id);
  return settings;
}

kavu::wire::NotificationRequest make_request(const probe_context& context,
                                             const notify_options& options,
                                             const std::string& service) {
  kavu::wire::NotificationRequest request;
  request.set_service(service);
  make_settings(context, options).fill(request);
  request.set_target(options.topic);
  request.set_message(options.message);
  request.set_timeout_s(context.options.connection.timeout_s);
  return request;
}

std::optional<message_text> find_message(const call_outcome& outcome, const translator& texts) {
  if (!outcome.notification_responses.empty()) {
    const auto& response = outcome.notification_responses.back();
    return response.has_message() ? std::optional(translate(response.message(), texts))
                                  : std::nullopt;
  }
  const std::string text = outcome.code == KAVU_UNKNOWN_KIND
                               ? "The module does not offer notifications (code 4)."
                               : fmt::format("The module answers with code {}.", outcome.code);
  return message_text{text, text};
}

}  // namespace

notification_report send_notification(const probe_context& context, const notify_options& options) {
  notification_report report;
  report.service = context.module.module_name + "_notification";
  auto request = make_request(context, options, report.service);
  const auto start = std::chrono::steady_clock::now();
  const call_outcome outcome = context.session.notify(notification_id, std::move(request));
  report.elapsed_ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                          outcome.answered.value_or(std::chrono::steady_clock::now()) - start)
                          .count();
  report.time = std::chrono::system_clock::now();
  report.ok = outcome.code == KAVU_OK && !outcome.notification_responses.empty() &&
              outcome.notification_responses.back().success();
  report.message = find_message(outcome, context.texts);
  report.reasons = find_reasons(outcome.severe_records);
  return report;
}

int run_notify_command(const probe_context& context, const notify_options& options) {
  const notification_report report = send_notification(context, options);
  context.output.show(report);
  return report.ok ? exit_code::well : exit_code::answer_is_error;
}

}  // namespace kavu_probe
