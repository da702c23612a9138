#include "helpers/mosquitto_broker.hpp"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "helpers/loopback_port.hpp"

namespace kavu_test {

mosquitto_broker::mosquitto_broker(mosquitto_options options) : options_(std::move(options)) {
  // Another program may take a port between the question and the broker's own bind.
  for (int attempt = 0; attempt < 20; ++attempt) {
    port_ = free_loopback_port();
    do {
      tls_port_ = options_.tls ? free_loopback_port() : std::uint16_t{0};
    } while (tls_port_ == port_);
    write_configuration();
    if (try_start()) {
      return;
    }
  }
  throw std::runtime_error("mosquitto finds no port:\n" + log_text());
}

std::string mosquitto_broker::configuration() const {
  const auto yes_or_no = [](bool yes) { return yes ? "true\n" : "false\n"; };
  std::string text = "log_dest stderr\nlog_timestamp true\nmax_queued_messages 0\n";
  text += options_.log_packets ? "log_type all\n"
                               : "log_type error\nlog_type warning\nlog_type notice\n"
                                 "log_type information\nlog_type subscribe\nlog_type unsubscribe\n";
  // Root would otherwise become a user that cannot enter the private directory.
  text += ::geteuid() == 0 ? "user root\n" : "";
  text += std::string("allow_anonymous ") + yes_or_no(options_.allow_anonymous);
  if (!options_.users.empty()) {
    text += "password_file " + (directory_.path() / "passwords").string() + '\n';
  }
  for (const auto& line : options_.extra) {
    text += line + '\n';
  }
  for (const auto& address : options_.addresses) {
    text += "listener " + std::to_string(port_) + ' ' + address + '\n';
    if (options_.tls) {
      const auto& tls = *options_.tls;
      text += "listener " + std::to_string(tls_port_) + ' ' + address + '\n';
      text += "certfile " + tls.certificate_file.string() + '\n';
      text += "keyfile " + tls.key_file.string() + '\n';
      text += tls.client_ca_file.empty() ? "" : "cafile " + tls.client_ca_file.string() + '\n';
      text += std::string("require_certificate ") + yes_or_no(tls.require_certificate);
    }
  }
  return text;
}

void mosquitto_broker::write_configuration() {
  directory_.write("configuration", configuration());
  std::string passwords;
  for (const auto& [user, password] : options_.users) {
    passwords += user + ":" + password + "\n";
  }
  if (!passwords.empty()) {
    // Hashes them in place; on its command line they would be seen in the list of processes.
    const auto file = directory_.write("passwords", passwords);
    run_program({find_program("mosquitto_passwd"), "-U", file.string()});
  }
}

bool mosquitto_broker::try_start() {
  const std::lock_guard lock(mutex_);
  const auto log_start = log_text().size();
  process_ = std::make_unique<child_process>(
      std::vector<std::string>{find_program("mosquitto"), "-c",
                               (directory_.path() / "configuration").string()},
      log_file_);
  // It says so when all its listeners are open; a connection alone could be somebody else's.
  const bool in_time = eventually([&] {
    return !process_->running() ||
           (log_text(log_start).find(" running\n") != std::string::npos &&
            (options_.addresses.front() != "127.0.0.1" || accepts_connections(port_)));
  });
  if (in_time && process_->running()) {
    return true;
  }
  process_.reset();
  const std::string text = log_text(log_start);
  if (in_time && text.find("Address already in use") != std::string::npos) {
    return false;
  }
  throw std::runtime_error("mosquitto does not start:\n" + text);
}

void mosquitto_broker::end(int signal_number) {
  const std::lock_guard lock(mutex_);
  if (!process_) {
    return;
  }
  process_->send_signal(SIGCONT);
  process_->send_signal(signal_number);
  const bool ended = process_->wait().has_value();
  process_.reset();
  log_.update();
  log_.forget_connections();
  if (!ended) {
    throw std::runtime_error("mosquitto does not end");
  }
}

void mosquitto_broker::stop() {
  end(SIGTERM);
}

void mosquitto_broker::kill() {
  end(SIGKILL);
}

void mosquitto_broker::signal(int number) {
  const std::lock_guard lock(mutex_);
  if (!process_) {
    throw std::runtime_error("mosquitto does not run");
  }
  process_->send_signal(number);
}

void mosquitto_broker::pause() {
  signal(SIGSTOP);
}

void mosquitto_broker::resume() {
  signal(SIGCONT);
}

void mosquitto_broker::restart() {
  stop();
  // Its own port: whoever holds it is on the way out.
  if (!eventually([this] { return try_start(); })) {
    throw std::runtime_error("mosquitto does not get its port back:\n" + log_text());
  }
}

void mosquitto_broker::restart(mosquitto_options options) {
  stop();
  options_ = std::move(options);
  write_configuration();
  restart();
}

bool mosquitto_broker::running() {
  const std::lock_guard lock(mutex_);
  return process_ && process_->running();
}

std::string mosquitto_broker::log_text(std::size_t from) const {
  std::ifstream stream(log_file_, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(from));
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool mosquitto_broker::log_contains(std::string_view text) const {
  return log_text().find(text) != std::string::npos;
}

template <class Question>
auto mosquitto_broker::ask_log(Question question) {
  const std::lock_guard lock(mutex_);
  log_.update();
  return question(log_);
}

std::vector<std::string> mosquitto_broker::connected_clients() {
  return ask_log([](const broker_log& log) { return log.connected_clients(); });
}

std::vector<broker_subscription> mosquitto_broker::subscriptions() {
  return ask_log([](const broker_log& log) { return log.subscriptions(); });
}

std::size_t mosquitto_broker::connections_accepted(std::string_view client_id_prefix) {
  return ask_log([&](const broker_log& log) { return log.connections_accepted(client_id_prefix); });
}

bool mosquitto_broker::wait_for_clients(std::size_t count, std::string_view client_id_prefix) {
  return eventually([&] {
    auto ids = connected_clients();
    std::erase_if(ids, [&](const auto& id) { return !id.starts_with(client_id_prefix); });
    return ids.size() == count;
  });
}

bool mosquitto_broker::wait_for_subscription(std::string_view filter) {
  return eventually([&] {
    const auto all = subscriptions();
    return std::any_of(all.begin(), all.end(),
                       [&](const auto& held) { return held.filter == filter; });
  });
}

}  // namespace kavu_test
