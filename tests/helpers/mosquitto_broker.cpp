#include "helpers/mosquitto_broker.hpp"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <locale>
#include <sstream>
#include <stdexcept>

#include "helpers/loopback_port.hpp"

namespace kavu_test {

mosquitto_broker::mosquitto_broker(mosquitto_options options)
    : options_(std::move(options)), log_(directory_.path() / "log") {
  // Another program may take a port between the question and the broker's own bind.
  for (int attempt = 0; attempt < 20; ++attempt) {
    choose_ports();
    write_configuration();
    if (try_start()) {
      return;
    }
  }
  throw std::runtime_error("mosquitto finds no port:\n" + log_text());
}

mosquitto_broker::~mosquitto_broker() {
  process_.reset();
}

void mosquitto_broker::choose_ports() {
  port_ = free_loopback_port();
  do {
    tls_port_ = options_.tls ? free_loopback_port() : std::uint16_t{0};
  } while (tls_port_ == port_);
}

std::string mosquitto_broker::configuration() const {
  const auto folder = directory_.path().string() + "/";
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << "log_dest stderr\nlog_timestamp true\nconnection_messages true\n";
  if (options_.log_packets) {
    text << "log_type all\n";
  } else {
    for (const char* type :
         {"error", "warning", "notice", "information", "subscribe", "unsubscribe"}) {
      text << "log_type " << type << '\n';
    }
  }
  if (::geteuid() == 0) {
    // Otherwise it changes to a user that cannot enter the private directory.
    text << "user root\n";
  }
  text << "allow_anonymous " << (options_.allow_anonymous ? "true" : "false") << '\n';
  if (!options_.users.empty()) {
    text << "password_file " << folder << "passwords\n";
  }
  if (!options_.acl.empty()) {
    text << "acl_file " << folder << "acl\n";
  }
  if (options_.max_queued_messages) {
    text << "max_queued_messages " << *options_.max_queued_messages << '\n';
  }
  text << "persistence " << (options_.persistence ? "true" : "false") << '\n';
  if (options_.persistence) {
    text << "persistence_location " << folder
         << "\nautosave_interval 1\nautosave_on_changes true\n";
  }
  for (const auto& line : options_.extra) {
    text << line << '\n';
  }
  for (const auto& address : options_.addresses) {
    text << "listener " << port_ << ' ' << address << '\n';
    if (options_.tls) {
      const auto& tls = *options_.tls;
      text << "listener " << tls_port_ << ' ' << address << '\n'
           << "certfile " << tls.certificate_file.string() << '\n'
           << "keyfile " << tls.key_file.string() << '\n';
      if (!tls.client_ca_file.empty()) {
        text << "cafile " << tls.client_ca_file.string() << '\n';
      }
      text << "require_certificate " << (tls.require_certificate ? "true" : "false") << '\n';
    }
  }
  return text.str();
}

void mosquitto_broker::write_configuration() {
  directory_.write("configuration", configuration());
  directory_.write("acl", options_.acl);
  std::string passwords;
  for (const auto& [user, password] : options_.users) {
    passwords += user + ":" + password + "\n";
  }
  const auto file = directory_.write("passwords", passwords);
  if (!passwords.empty()) {
    // Hashes them in place; on its command line they would be seen in the list of processes.
    run_program({find_program("mosquitto_passwd"), "-U", file.string()});
  }
}

bool mosquitto_broker::try_start() {
  const std::lock_guard lock(mutex_);
  const auto log_file = directory_.path() / "log";
  const auto log_start =
      std::filesystem::exists(log_file) ? std::filesystem::file_size(log_file) : 0;
  const auto new_text = [&] {
    std::ifstream stream(log_file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(log_start));
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
  };
  process_ = std::make_unique<child_process>(
      std::vector<std::string>{find_program("mosquitto"), "-c",
                               (directory_.path() / "configuration").string()},
      log_file);
  // It says so when all its listeners are open; a connection alone could be somebody else's.
  const bool in_time = eventually([&] {
    return !process_->running() ||
           (new_text().find(" running\n") != std::string::npos &&
            (options_.addresses.front() != "127.0.0.1" || accepts_connections(port_)));
  });
  if (in_time && process_->running()) {
    return true;
  }
  process_.reset();
  const std::string text = new_text();
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

void mosquitto_broker::pause() {
  const std::lock_guard lock(mutex_);
  if (!process_) {
    throw std::runtime_error("mosquitto does not run");
  }
  process_->send_signal(SIGSTOP);
}

void mosquitto_broker::resume() {
  const std::lock_guard lock(mutex_);
  if (!process_) {
    throw std::runtime_error("mosquitto does not run");
  }
  process_->send_signal(SIGCONT);
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
  if (options_.tls && tls_port_ == 0) {
    do {
      tls_port_ = free_loopback_port();
    } while (tls_port_ == port_);
  }
  write_configuration();
  restart();
}

bool mosquitto_broker::running() {
  const std::lock_guard lock(mutex_);
  return process_ && process_->running();
}

pid_t mosquitto_broker::process_id() const {
  const std::lock_guard lock(mutex_);
  return process_ ? process_->id() : -1;
}

std::string mosquitto_broker::log_text() const {
  std::ostringstream text;
  text << std::ifstream(directory_.path() / "log", std::ios::binary).rdbuf();
  return text.str();
}

bool mosquitto_broker::log_contains(std::string_view text) const {
  return log_text().find(text) != std::string::npos;
}

std::vector<std::string> mosquitto_broker::connected_clients() {
  const std::lock_guard lock(mutex_);
  log_.update();
  return log_.connected_clients();
}

std::vector<broker_subscription> mosquitto_broker::subscriptions() {
  const std::lock_guard lock(mutex_);
  log_.update();
  return log_.subscriptions();
}

std::size_t mosquitto_broker::connections_accepted(std::string_view client_id_prefix) {
  const std::lock_guard lock(mutex_);
  log_.update();
  return log_.connections_accepted(client_id_prefix);
}

bool mosquitto_broker::wait_until(const std::function<bool(mosquitto_broker&)>& predicate,
                                  std::chrono::milliseconds deadline) {
  return eventually([&] { return predicate(*this); }, deadline);
}

bool mosquitto_broker::wait_for_clients(std::size_t count, std::string_view client_id_prefix,
                                        std::chrono::milliseconds deadline) {
  return eventually(
      [&] {
        const auto ids = connected_clients();
        return static_cast<std::size_t>(
                   std::count_if(ids.begin(), ids.end(), [&](const std::string& id) {
                     return id.starts_with(client_id_prefix);
                   })) == count;
      },
      deadline);
}

bool mosquitto_broker::wait_for_subscription(std::string_view filter,
                                             std::chrono::milliseconds deadline) {
  return eventually(
      [&] {
        const auto all = subscriptions();
        return std::any_of(all.begin(), all.end(), [&](const broker_subscription& subscription) {
          return subscription.filter == filter;
        });
      },
      deadline);
}

}  // namespace kavu_test
