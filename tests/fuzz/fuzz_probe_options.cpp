// First line: what the rest is. "arguments": the command line, an argument in each line;
// "definition": a module's definition document; "message": what a module sends; "reference": a
// message key, and in the lines after it a translation; anything else: texts of single options.

#include <climits>
#include <string>
#include <vector>

#include "envelope.pb.h"
#include "fuzz/fuzz_input.hpp"
#include "probe/channel_settings.hpp"
#include "probe/clock_text.hpp"
#include "probe/command_line.hpp"
#include "probe/failure.hpp"
#include "probe/inbox.hpp"
#include "probe/json_lines.hpp"
#include "probe/markup.hpp"
#include "probe/message_reference.hpp"
#include "probe/option_text.hpp"
#include "probe/reporter.hpp"
#include "probe/setting_family.hpp"
#include "probe/test_document.hpp"
#include "probe/text_layout.hpp"
#include "probe/utf8.hpp"

namespace {

using namespace kavu_probe;
using kavu_test::require;

// What is thrown is told in a line; nothing else may be.
template <class Act>
void refuse_clearly(Act&& act) {
  try {
    act();
  } catch (const probe_error& failure) {
    require(!std::string_view(failure.what()).empty(), "a failure says something");
  } catch (const usage_error& failure) {
    require(std::string_view(failure.what()).find('\n') == std::string_view::npos,
            "what is wrong with a call is said in one line");
  }
}

void show(std::string_view bytes) {
  constexpr std::size_t enough = 200;  // each character is looked up in tables, again and again
  const auto shown = printable(bytes.substr(0, enough));
  require(shown == valid_utf8(shown), "what is shown is UTF-8");
  for (const char c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    require(byte >= 0x20 && byte != 0x7F, "what is shown cannot steer a terminal");
  }
  for (const std::size_t width : {std::size_t{1}, std::size_t{7}, std::size_t{80}}) {
    require(width < 2 || display_width(shorten(shown, width)) <= width, "short enough");
    for (const auto& line : wrap(shown, width)) {
      require(width < 2 || display_width(line) <= width, "a line is no longer than it may be");
    }
    require(display_width(pad_left(shown, width)) >= width, "filled up");
  }
}

const definition& test_module() {
  static const definition module = read_definition(kavu_test::test_document);
  return module;
}

void give_options(std::string_view text) {
  settings_builder builder(test_module(), {"access", "tank"}, 1);
  std::vector<channel_option> channels;
  constexpr int most_lines = 8;  // a line takes long: most are refused, by an exception each time
  for (int lines = 0; lines < most_lines && !text.empty(); ++lines) {
    const auto line = kavu_test::take_line(text);
    refuse_clearly([&] { channels.push_back(parse_channel_option(line)); });
    refuse_clearly([&] { static_cast<void>(parse_seconds("--interval", line)); });
    refuse_clearly([&] {
      const auto setting = parse_setting_option(line);
      require(setting.name + "=" + setting.value == line, "no character is lost");
      builder.set(setting.name, setting.value);
    });
    show(line);
    static_cast<void>(strip_markup(line));
  }
  refuse_clearly([&] { set_channels(builder, channels); });
  refuse_clearly([&] { builder.check(); });
  kavu::wire::SensorData request;
  builder.fill(request);
}

void give_arguments(std::string_view text) {
  std::vector<std::string> arguments{"kavu-probe"};
  constexpr std::size_t most_arguments = 30;
  while (!text.empty() && arguments.size() < most_arguments) {
    const auto argument = kavu_test::take_line(text);
    arguments.emplace_back(argument.substr(0, argument.find('\0')));
  }
  std::vector<const char*> pointers;
  pointers.reserve(arguments.size());
  for (const auto& argument : arguments) {
    pointers.push_back(argument.c_str());
  }
  refuse_clearly([&] {
    static_cast<void>(read_command_line(static_cast<int>(pointers.size()), pointers.data()));
  });
}

void give_definition(std::string_view document) {
  refuse_clearly([&] {
    const auto module = read_definition(document);
    for (const auto& group : module.groups) {
      static_cast<void>(find_families(group));
    }
    for (const auto& language : module.languages) {
      const translator texts(module, language);
      for (const auto& [name, table] : module.lookups) {
        for (const auto& [number, value] : table) {
          require(texts.look_up(name, number).has_value(), "what is in a lookup is found there");
        }
      }
    }
    for (const auto& sensor : module.sensors) {
      settings_builder builder(module, sensor.sections, -1);
      builder.check();
    }
  });
}

void report(const kavu::wire::ScanResult& result, sensor_memory& memory, const char* language) {
  memory.keep(result);
  const translator texts(test_module(), language);
  const auto made = make_scan_report(result, "tank_sensor", memory, texts);
  const auto line = to_json_line(made);
  require(line == valid_utf8(line) && line.find('\n') == std::string::npos, "one line of UTF-8");
  for (const auto& channel : made.channels) {
    show(value_text(channel) + unit_for_people(channel) + channel.name);
  }
  show(message_line(made.message));
}

void give_message(std::string_view bytes) {
  inbox messages(INT_MAX);
  messages.put_message({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  const auto event = messages.take(std::chrono::steady_clock::now(), {});
  require(event.has_value(), "every message is told of");
  const auto* const envelope = std::get_if<kavu::wire::Envelope>(&*event);
  if (envelope == nullptr) {
    return;
  }
  sensor_memory memory;
  memory.keep(envelope->persistent_data());
  report(envelope->scan_result(), memory, "English");
  report(envelope->scan_result(), memory, "German");  // counters have a difference now
  kavu::wire::SensorData request;
  memory.fill(request);
  static_cast<void>(utc_text(std::chrono::system_clock::time_point(
      std::chrono::nanoseconds(envelope->log_record().time_ns()))));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text = kavu_test::as_text(data, size);
  const auto what = kavu_test::take_line(text);
  if (what == "arguments") {
    give_arguments(text);
  } else if (what == "definition") {
    give_definition(text);
  } else if (what == "message") {
    give_message(text);
  } else if (what == "reference") {
    if (const auto reference = parse_message_reference(kavu_test::take_line(text))) {
      static_cast<void>(fill_in(text, reference->arguments));
    }
  } else {
    give_options(text);
  }
  return 0;
}
