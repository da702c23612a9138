#include "helpers/broker_log.hpp"

#include <fstream>
#include <iterator>

namespace kavu_test {

void broker_log::update() {
  std::ifstream stream(file_, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(position_));
  const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  std::string_view rest = text;
  // The last line may still be being written.
  for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    read_line(rest.substr(0, end));
    position_ += end + 1;
    rest.remove_prefix(end + 1);
  }
}

void broker_log::read_line(std::string_view line) {
  // "1700000000: text"
  const auto colon = line.find(": ");
  line.remove_prefix(colon == std::string_view::npos ? 0 : colon + 2);
  if (line.starts_with("New client connected from ")) {
    read_connect(line);
  } else if (!read_disconnect(line)) {
    read_subscription(line);
  }
}

// "New client connected from 127.0.0.1:40000 as name (p2, c1, k60, u'user')."
void broker_log::read_connect(std::string_view line) {
  const auto id = line.find(" as ") + 4;
  auto& client = sessions_[std::string(line.substr(id, line.rfind(" (p") - id))];
  client.connected = true;
  ++client.connections;
  client.filters.clear();
}

// The connection's end is told in many ways, such as "Client name closed its connection.", "Client
// name has exceeded timeout, disconnecting.", "Socket error on client name, disconnecting."
bool broker_log::read_disconnect(std::string_view line) {
  for (const std::string_view beginning :
       {"Client ", "Socket error on client ", "Bad socket read/write on client "}) {
    if (!line.starts_with(beginning)) {
      continue;
    }
    const auto rest = line.substr(beginning.size());
    for (auto& [id, client] : sessions_) {
      const auto text = rest.starts_with(id) ? rest.substr(id.size()) : std::string_view{};
      if (text.find("disconnect") != std::string_view::npos ||
          text.find("clos") != std::string_view::npos || text.starts_with(": ")) {
        client.connected = false;
        client.filters.clear();
        return true;
      }
    }
  }
  return false;
}

// "name 2 filter" when a subscription was granted, "name filter" when it was given up.
void broker_log::read_subscription(std::string_view line) {
  for (auto& [id, client] : sessions_) {
    if (!line.starts_with(id) || line.size() < id.size() + 2 || line[id.size()] != ' ') {
      continue;
    }
    const auto rest = line.substr(id.size() + 1);
    if (rest.size() >= 3 && rest[0] >= '0' && rest[0] <= '2' && rest[1] == ' ') {
      client.filters.insert_or_assign(std::string(rest.substr(2)), rest[0] - '0');
      return;
    }
    if (const auto filter = client.filters.find(rest); filter != client.filters.end()) {
      client.filters.erase(filter);
      return;
    }
  }
}

void broker_log::forget_connections() {
  for (auto& [id, client] : sessions_) {
    client.connected = false;
    client.filters.clear();
  }
}

std::vector<std::string> broker_log::connected_clients() const {
  std::vector<std::string> ids;
  for (const auto& [id, client] : sessions_) {
    if (client.connected) {
      ids.push_back(id);
    }
  }
  return ids;
}

std::vector<broker_subscription> broker_log::subscriptions() const {
  std::vector<broker_subscription> all;
  for (const auto& [id, client] : sessions_) {
    for (const auto& [filter, qos] : client.filters) {
      all.push_back({id, filter, qos});
    }
  }
  return all;
}

std::size_t broker_log::connections_accepted(std::string_view client_id_prefix) const {
  std::size_t count = 0;
  for (const auto& [id, client] : sessions_) {
    count += id.starts_with(client_id_prefix) ? client.connections : 0;
  }
  return count;
}

}  // namespace kavu_test
