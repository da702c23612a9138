#include <fmt/format.h>

#include "probe/commands.hpp"
#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

constexpr std::int32_t check_id = 1;
// Checks have no interval of their own.
constexpr std::chrono::seconds usual_interval{60};

kavu::wire::CheckData make_request(const probe_context& context, const std::string& name) {
  const check_kind* const check = context.module.find_check(name);
  if (check == nullptr) {
    throw probe_error("The module describes no check \"" + name + "\".");
  }
  settings_builder settings(context.module, check->sections, std::nullopt);
  set_connection(settings, context.options.connection, context.credentials);
  // A check says why it failed in its log only, so that is always wanted.
  add_common_settings(settings, context.options.connection, /*logging=*/true, usual_interval);
  settings.check();
  kavu::wire::CheckData request;
  request.set_kind(name);
  settings.fill(request);
  return request;
}

std::optional<message_text> find_message(const call_outcome& outcome, const translator& texts) {
  for (const kavu::wire::CheckResult& result : outcome.check_results) {
    if (result.has_message()) {
      return translate(result.message(), texts);
    }
  }
  if (outcome.code == KAVU_UNKNOWN_KIND) {
    const std::string text = "The module does not offer this check (code 4).";
    return message_text{text, text};
  }
  if (outcome.check_results.empty()) {
    const std::string text = fmt::format("The module answers with code {}.", outcome.code);
    return message_text{text, text};
  }
  return std::nullopt;
}

}  // namespace

check_report run_check(const probe_context& context, const std::string& name) {
  kavu::wire::CheckData request = make_request(context, name);
  check_report report;
  report.kind = name;
  const auto start = std::chrono::steady_clock::now();
  const call_outcome outcome = context.session.run_check(check_id, std::move(request));
  report.elapsed_ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                          outcome.answered.value_or(std::chrono::steady_clock::now()) - start)
                          .count();
  report.time = std::chrono::system_clock::now();
  report.ok = outcome.code == KAVU_OK && !outcome.check_results.empty() &&
              outcome.check_results.back().success();
  report.message = find_message(outcome, context.texts);
  report.reasons = find_reasons(outcome.severe_records);
  return report;
}

int run_check_command(const probe_context& context) {
  if (context.module.checks.empty()) {
    throw usage_error("The module has no check.");
  }
  bool all_well = true;
  for (const check_kind& check : context.module.checks) {
    const check_report report = run_check(context, check.name);
    context.output.show(report);
    all_well = all_well && report.ok;
  }
  return all_well ? exit_code::well : exit_code::answer_is_error;
}

}  // namespace kavu_probe
