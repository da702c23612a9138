#pragma once

#include "probe/credential_files.hpp"
#include "probe/definition.hpp"
#include "probe/host_session.hpp"
#include "probe/options.hpp"
#include "probe/reporter.hpp"
#include "probe/translator.hpp"

namespace kavu_probe {

/// What every command works with. All of it outlives the command.
struct probe_context {
  host_session& session;
  log_printer& observer;
  const definition& module;
  const translator& texts;
  const reporter& output;
  const common_options& options;
  const connection_credentials& credentials;
};

}  // namespace kavu_probe
