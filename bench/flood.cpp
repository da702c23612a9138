#include "flood.hpp"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>

namespace kavu_bench {
namespace {

constexpr std::size_t topics_per_line = 100;

std::string two_bytes(std::size_t number) {
  return {static_cast<char>(number >> 8U), static_cast<char>(number & 0xffU)};
}

// Remaining lengths below 128 take one byte, those below 16,384 two.
std::string make_packet(char type, const std::string& rest) {
  std::string packet(1, type);
  if (rest.size() >= 128) {
    packet += static_cast<char>(rest.size() % 128 + 128);
    packet += static_cast<char>(rest.size() / 128);
  } else {
    packet += static_cast<char>(rest.size());
  }
  return packet + rest;
}

std::string make_connect(std::string_view client_id) {
  constexpr char level_3_1_1 = 4;
  constexpr char clean_session = 2;
  std::string rest = two_bytes(4) + "MQTT";
  rest += {level_3_1_1, clean_session};
  rest += two_bytes(0);  // no keep-alive
  rest += two_bytes(client_id.size());
  rest += client_id;
  return make_packet(0x10, rest);
}

std::string make_publish(const std::string& topic) {
  return make_packet(0x30, two_bytes(topic.size()) + topic + std::string(flood_payload_bytes, 'x'));
}

}  // namespace

std::string flood_topic(std::size_t number) {
  return fmt::format("plant/line_{:02}/sensor_{:02}", number / topics_per_line,
                     number % topics_per_line);
}

flood::flood(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  std::array<unsigned char, 4> answer{};
  const bool reached =
      ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (reached) {
    write_all(make_connect("flood"));
  }
  // CONNACK: type, length, flags, return code.
  if (!reached ||
      ::recv(socket_, answer.data(), answer.size(), MSG_WAITALL) != std::ssize(answer) ||
      answer[3] != 0) {
    throw std::runtime_error("The broker does not let the publisher in.");
  }
  for (std::size_t topic = 0; topic < flood_topics; ++topic) {
    round_ += make_publish(flood_topic(topic));
  }
}

flood::~flood() {
  ::close(socket_);
}

void flood::publish_to_all(std::size_t rounds) {
  for (std::size_t round = 0; round < rounds; ++round) {
    write_all(round_);
  }
}

void flood::write_all(const std::string& bytes) {
  for (std::string_view rest = bytes; !rest.empty();) {
    const auto written = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (written <= 0) {
      throw std::runtime_error("The broker does not take the messages.");
    }
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace kavu_bench
