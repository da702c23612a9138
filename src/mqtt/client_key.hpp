#pragma once

#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Throws a `client_failure` that says why when no private key can be read from a PEM file with
/// this pass phrase, empty for none. The MQTT library would fail with each connection instead, and
/// not say why. Never asks anybody for a pass phrase. [any-thread]
void require_readable_key(const std::string& file, const std::string& pass_phrase);

}  // namespace brunvik::monitoring_modules::mqtt
