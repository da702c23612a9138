#include "probe/program.hpp"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "probe/command_line.hpp"
#include "probe/commands.hpp"
#include "probe/console.hpp"
#include "probe/demo/demo_command.hpp"
#include "probe/failure.hpp"
#include "probe/ip_version.hpp"
#include "probe/signal_watcher.hpp"

namespace kavu_probe {
namespace {

int run_command(host_session& session, log_printer& observer, const program_options& options,
                const connection_credentials& credentials, const std::stop_token& stop) {
  const std::string document = session.definition_document();
  const definition module = read_definition(document);
  const translator texts(module, options.common.language);
  const reporter output(options.common.json, module, texts);
  const probe_context context{session, observer,       module,     texts,
                              output,  options.common, credentials};
  struct runner {
    const probe_context& context;
    const std::string& document;
    const std::stop_token& stop;
    int operator()(const demo_options& demo) const { return run_demo_command(context, demo, stop); }
    int operator()(const info_options&) const { return run_info_command(context, document); }
    int operator()(const check_options&) const { return run_check_command(context); }
    int operator()(const scan_options& scan) const { return run_scan_command(context, scan); }
    int operator()(const notify_options& notify) const {
      return run_notify_command(context, notify);
    }
  };
  return std::visit(runner{context, document, stop}, options.command);
}

/// Loads the module, runs the command on it and cleans it up, whatever becomes of the command.
int run_hosted(const program_options& options, const signal_watcher& signals) {
  const connection_credentials credentials = read_credentials(options.common.connection);
  const module_library library(options.common.module_path.empty() ? find_own_module()
                                                                  : options.common.module_path);
  log_printer observer(options.common.log);
  host_session session(library, observer, options.common.log, signals.token());
  try {
    int code = exit_code::well;
    try {
      code = run_command(session, observer, options, credentials, signals.token());
    } catch (const call_abandoned&) {
      throw;
    } catch (...) {
      session.close();
      throw;
    }
    session.close();
    return code;
  } catch (const call_abandoned&) {
    // The call still uses the module and this session; only the process can end it.
    std::fflush(stdout);
    _exit(exit_code_of(signals.signal()));
  }
}

/// Checks and sensors are told which version of IP they have to use.
void settle_ip_version(program_options& options, const std::stop_token& stop) {
  if (std::holds_alternative<check_options>(options.command) ||
      std::holds_alternative<scan_options>(options.command)) {
    options.common.connection.ip = resolve_version(options.common.connection, stop);
  }
}

}  // namespace

int run_program(int argument_count, const char* const* arguments) {
  // A reader that goes away is a failed write, with its message.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    command_line_result line = read_command_line(argument_count, arguments);
    if (!line.options) {
      print_text(line.text);
      return exit_code::well;
    }
    const signal_watcher signals;
    try {
      settle_ip_version(*line.options, signals.token());
      return run_hosted(*line.options, signals);
    } catch (const stopped&) {
      return exit_code_of(signals.signal());
    }
  } catch (const usage_error& failure) {
    print_failure(failure.what());
    return exit_code::wrong_usage;
  } catch (const std::exception& failure) {
    print_failure(failure.what());
    return exit_code::answer_is_error;
  }
}

}  // namespace kavu_probe
