#include "probe/demo/demo_table.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "probe/console.hpp"
#include "probe/reporter.hpp"
#include "probe/text_layout.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

// The one channel that tells how old the others are: their message came that long ago.
constexpr const char* age_channel = "channel.duration_since_last_message";

constexpr std::size_t name_width = 32;
constexpr std::size_t value_width = 18;
constexpr std::size_t unit_width = 6;
constexpr std::size_t age_width = 5;
constexpr std::size_t gaps = 8;
constexpr std::size_t narrowest_note = 10;
constexpr std::size_t fixed_width = name_width + value_width + unit_width + age_width + gaps;

/// Times are measured in whole milliseconds, rounded down: none means less than one.
std::string shown_value(const channel_report& channel) {
  const bool no_time = channel.unit_kind == kavu::wire::CHANNEL_UNIT_MILLISECONDS &&
                       channel.value == channel_number(std::int64_t{0});
  return no_time ? "< 1" : value_text(channel);
}

class table_writer {
 public:
  table_writer(steady_clock::time_point now, std::size_t width, bool styled)
      : now_(now), styled_(styled) {
    note_width_ = std::max(width, fixed_width + narrowest_note) - fixed_width;
    add_row("", "Value", "Unit", "Age", "", style::faint);
  }

  void add(const table_entry& entry) {
    add_heading(entry);
    if (!entry.report) {
      return;
    }
    const std::string age = age_of(entry);
    for (const channel_report& channel : entry.report->channels) {
      add_channel(*entry.report, channel, age, entry.counting_time);
      for (const second_opinion& opinion : entry.opinions) {
        if (opinion.channel_key == channel.key) {
          add_row("    " + opinion.who, opinion.value, unit_for_people(channel), age, "",
                  style::faint);
        }
      }
    }
  }

  std::vector<std::string> take() { return std::move(lines_); }

 private:
  void add_heading(const table_entry& entry) {
    std::string state = "no scan yet";
    std::string_view colour = style::faint;
    if (entry.report) {
      const verdict taken = verdict_of(*entry.report);
      state = state_line(*entry.report);
      colour = taken == verdict::ok        ? style::green
               : taken == verdict::warning ? style::yellow
                                           : style::red;
    }
    const std::size_t width = fixed_width + note_width_;
    const std::string title = shorten(printable(entry.title), name_width + value_width + 2);
    const std::size_t left = width - std::min(width, display_width(title) + 3);
    lines_.push_back("");
    lines_.push_back(styled(title, style::bold) + "   " + styled(shorten(state, left), colour));
  }

  void add_channel(const scan_report& report, const channel_report& channel, const std::string& age,
                   const std::string& counting_time) {
    std::string_view colour;
    std::string note = empty_note(report, channel);
    if (channel.words) {
      colour = channel.words->state == value_state::error     ? style::red
               : channel.words->state == value_state::warning ? style::yellow
               : channel.words->state == value_state::ok      ? style::green
                                                              : std::string_view();
    } else if (channel.counter && channel.value) {
      note = counting_time;
    }
    add_row("  " + printable(channel.name), shown_value(channel), unit_for_people(channel), age,
            note, colour);
  }

  void add_row(const std::string& name, const std::string& value, const std::string& unit,
               const std::string& age, const std::string& note, std::string_view colour) {
    std::string line =
        fmt::format("{}  {}  {}  {}", pad_right(shorten(name, name_width), name_width),
                    pad_left(shorten(value, value_width), value_width),
                    pad_right(shorten(unit, unit_width), unit_width), pad_left(age, age_width));
    if (!note.empty()) {
      line += "  " + shorten(note, note_width_);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines_.push_back(styled(line, colour));
  }

  std::string styled(const std::string& text, std::string_view look) const {
    return styled_ && !look.empty() ? fmt::format("{}{}{}", look, text, style::plain) : text;
  }

  /// How old the values of the last scan are now.
  std::string age_of(const table_entry& entry) const {
    auto age = std::chrono::duration_cast<std::chrono::seconds>(now_ - entry.scanned).count();
    for (const channel_report& channel : entry.report->channels) {
      if (channel.key == age_channel && channel.value &&
          std::holds_alternative<std::int64_t>(*channel.value)) {
        age += std::get<std::int64_t>(*channel.value);
      }
    }
    return fmt::format("{} s", age);
  }

  steady_clock::time_point now_;
  bool styled_;
  std::size_t note_width_;
  std::vector<std::string> lines_;
};

}  // namespace

std::vector<std::string> draw_table(const std::vector<table_entry>& entries,
                                    steady_clock::time_point now, std::size_t width, bool styled) {
  table_writer writer(now, width, styled);
  for (const table_entry& entry : entries) {
    writer.add(entry);
  }
  return writer.take();
}

}  // namespace kavu_probe
