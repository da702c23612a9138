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

// A buffer that can be read wants the broker to be checked and has nothing to check it against.
std::string harmless(std::string bytes) {
  kavu::wire::Envelope envelope;
  if (!envelope.ParseFromString(bytes)) {
    return bytes;
  }
  kavu_test::with_settings(envelope, [](auto& message) {
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
  });
  return envelope.SerializeAsString();
}

struct call {
  std::string_view function;
  std::int64_t first = 0;
  std::int64_t second = 0;
  std::string buffer;
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

void make(const call& made, std::set<std::int32_t>& sensors) {
  const auto id = static_cast<std::int32_t>(made.first);
  const auto flags = static_cast<std::uint32_t>(made.second);
  const auto* data = reinterpret_cast<const std::uint8_t*>(made.buffer.data());
  const auto size = static_cast<std::uint32_t>(made.buffer.size());
  if (made.function == "create") {
    const auto code = CreateSensorInstance(id, data, size);
    expect(code, {KAVU_OK, KAVU_FAILED, KAVU_UNKNOWN_KIND, KAVU_ID_IN_USE});
    require(code != KAVU_OK || sensors.insert(id).second, "an id is given once");
  } else if (made.function == "scan") {
    expect(ExecuteSensorScan(id), {sensors.contains(id) ? KAVU_OK : KAVU_UNKNOWN_ID});
  } else if (made.function == "destroy") {
    expect(DestroySensorInstance(id), {sensors.erase(id) > 0 ? KAVU_OK : KAVU_UNKNOWN_ID});
  } else if (made.function == "check") {
    expect(ExecuteCheck(id, data, size), {KAVU_OK, KAVU_FAILED, KAVU_UNKNOWN_KIND});
  } else if (made.function == "meta") {
    expect(ExecuteMetaScan(id, flags, data, size),
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
    expect(DestroySensorInstance(*sensors.begin()), {KAVU_OK});
    sensors.erase(sensors.begin());
  }
  return 0;
}
