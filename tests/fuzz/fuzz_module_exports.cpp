// The calls of a host: "> FUNCTION NUMBER NUMBER", and behind those that take a buffer the lines of
// envelope_text.hpp. Nothing ever connects: that takes a hundred times as long as all else. So only
// the round trip sensor, which connects when it scans, comes into being.

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "envelope.pb.h"
#include "fuzz/envelope_text.hpp"
#include "fuzz/fuzz_input.hpp"
#include "kavu/module_api.h"

namespace {

using kavu_test::require;

void on_message(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  kavu::wire::Envelope message;
  require(context == 7 && message.ParseFromArray(data, static_cast<int>(size)) &&
              message.content_case() != kavu::wire::Envelope::CONTENT_NOT_SET,
          "every message can be read");
}

template <class Message>
void forbid_connecting(Message& message) {
  for (auto* entries : {message.mutable_settings(), message.mutable_secure_settings()}) {
    for (auto& entry : *entries) {
      if (entry.key() == "credentials.tls.active" ||
          entry.key() == "credentials.tls.server_auth_active") {
        entry.set_value("yes");
      } else if (entry.key() == "credentials.tls.ca_certificate") {
        entry.clear_value();
      }
    }
  }
}

// A buffer that can be read wants the broker to be checked and has nothing to check it against.
std::string harmless(std::string bytes) {
  kavu::wire::Envelope envelope;
  if (!envelope.ParseFromString(bytes)) {
    return bytes;
  }
  if (envelope.has_sensor_data()) {
    forbid_connecting(*envelope.mutable_sensor_data());
  } else if (envelope.has_check_data()) {
    forbid_connecting(*envelope.mutable_check_data());
  } else if (envelope.has_notification_request()) {
    forbid_connecting(*envelope.mutable_notification_request());
  }
  return envelope.SerializeAsString();
}

struct call {
  std::string_view function;
  std::int64_t first = 0;
  std::int64_t second = 0;
  std::string buffer;

  const std::uint8_t* data() const { return reinterpret_cast<const std::uint8_t*>(buffer.data()); }
  std::uint32_t size() const { return static_cast<std::uint32_t>(buffer.size()); }
  std::int32_t id() const { return static_cast<std::int32_t>(first); }
};

std::int64_t take_number(std::string_view& line) {
  const auto word = kavu_test::take_until(line, " ");
  std::int64_t number = 0;
  std::from_chars(word.data(), word.data() + word.size(), number);
  return number;
}

call take_call(std::string_view& text) {
  auto block = kavu_test::take_until(text, "\n> ");
  auto line = kavu_test::take_line(block);
  call made;
  made.function = kavu_test::take_until(line, " ");
  made.first = take_number(line);
  made.second = take_number(line);
  made.buffer = harmless(kavu_test::envelope_from(block));
  return made;
}

void expect(std::int32_t code, std::initializer_list<std::int32_t> documented) {
  require(std::find(documented.begin(), documented.end(), code) != documented.end(),
          "only documented codes are returned");
}

void ask_for_information(const call& made) {
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(made.first) % 1'000'000);
  auto size = static_cast<std::uint32_t>(buffer.size());
  const auto flags = static_cast<std::uint32_t>(made.second);
  expect(GetModuleInformationSync(buffer.data(), &size, flags), {KAVU_OK, KAVU_REFUSED});
  require(size > 0, "the length is told");
  expect(GetModuleInformationSync(nullptr, nullptr, flags), {KAVU_REFUSED});
}

void create(const call& made, std::set<std::int32_t>& sensors) {
  const auto code = CreateSensorInstance(made.id(), made.data(), made.size());
  expect(code, {KAVU_OK, KAVU_FAILED, KAVU_UNKNOWN_KIND, KAVU_ID_IN_USE});
  require(code != KAVU_OK || sensors.insert(made.id()).second, "an id is given once");
}

void destroy(std::int32_t id, std::set<std::int32_t>& sensors) {
  const auto code = DestroySensorInstance(id);
  require(code == (sensors.erase(id) > 0 ? KAVU_OK : KAVU_UNKNOWN_ID), "what was created goes");
}

void make(const call& made, std::set<std::int32_t>& sensors) {
  if (made.function == "create") {
    create(made, sensors);
  } else if (made.function == "scan") {
    require(
        ExecuteSensorScan(made.id()) == (sensors.contains(made.id()) ? KAVU_OK : KAVU_UNKNOWN_ID),
        "what was created is scanned");
  } else if (made.function == "destroy") {
    destroy(made.id(), sensors);
  } else if (made.function == "check") {
    expect(ExecuteCheck(made.id(), made.data(), made.size()),
           {KAVU_OK, KAVU_FAILED, KAVU_UNKNOWN_KIND});
  } else if (made.function == "meta") {
    expect(ExecuteMetaScan(made.id(), static_cast<std::uint32_t>(made.second), made.data(),
                           made.size()),
           {KAVU_OK, KAVU_FAILED, KAVU_UNKNOWN_KIND, KAVU_UNKNOWN_META_SCAN});
  } else if (made.function == "information") {
    GetModuleInformation(static_cast<std::uint32_t>(made.first));
  } else if (made.function == "buffer") {
    ask_for_information(made);
  } else {
    require(GetApiLevel() == KAVU_MODULE_API_LEVEL, "the level stays");
    expect(InitializeModule(0, on_message), {KAVU_REFUSED});
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool initialised = InitializeModule(7, on_message) == KAVU_OK;
  require(initialised, "the module is built");
  std::string_view text = kavu_test::as_text(data, size);
  kavu_test::take_until(text, "> ");
  std::set<std::int32_t> sensors;
  constexpr int most_calls = 8;
  for (int calls = 0; calls < most_calls && !text.empty(); ++calls) {
    make(take_call(text), sensors);
  }
  while (!sensors.empty()) {
    destroy(*sensors.begin(), sensors);
  }
  return 0;
}
