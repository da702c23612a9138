#include "probe/demo/demo_view.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t narrowest_table = 80;
constexpr std::size_t widest_table = 110;
constexpr std::size_t bar_width = 20;
constexpr std::chrono::seconds redraw_period{1};
constexpr std::string_view clear_line = "\r\x1b[K";

}  // namespace

demo_view::demo_view(bool quiet, bool in_place) : quiet_(quiet), in_place_(in_place) {}

void demo_view::say(const std::string& line) const {
  if (!quiet_) {
    print_line(line);
  }
}

void demo_view::show_scan(const std::string& caption, const std::vector<table_entry>& entries) {
  if (!quiet_) {
    caption_ = caption;
    entries_ = entries;
    draw();
  }
}

void demo_view::wait_for(std::string what, steady_clock::time_point begin,
                         steady_clock::time_point end) {
  what_ = std::move(what);
  begin_ = begin;
  end_ = end;
  show_progress();
}

void demo_view::tick() {
  if (can_draw_over() && steady_clock::now() >= drawn_ + redraw_period) {
    draw();
  }
  show_progress();
}

void demo_view::end_waiting() {
  clear_progress();
  what_.clear();
}

std::vector<std::string> demo_view::compose() const {
  const terminal screen = look_at_terminal();
  std::vector<std::string> lines{"", caption_};
  const auto table =
      draw_table(entries_, steady_clock::now(),
                 std::clamp(screen.columns, narrowest_table, widest_table), screen.styled);
  lines.insert(lines.end(), table.begin(), table.end());
  return lines;
}

bool demo_view::can_draw_over() const {
  const terminal screen = look_at_terminal();
  return in_place_ && screen.moves_cursor && drawn_lines_ > 0 && drawn_lines_ + 1 < screen.rows &&
         screen.columns >= narrowest_table;
}

void demo_view::draw() {
  clear_progress();
  std::string text = can_draw_over() ? fmt::format("\x1b[{}A\x1b[J", drawn_lines_) : "";
  const std::vector<std::string> lines = compose();
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  print_text(text);
  drawn_lines_ = lines.size();
  drawn_ = steady_clock::now();
}

void demo_view::show_progress() {
  if (quiet_ || !in_place_ || what_.empty() || !look_at_terminal().moves_cursor) {
    return;
  }
  const auto now = steady_clock::now();
  const double part =
      end_ > begin_ ? std::chrono::duration<double>(now - begin_) / (end_ - begin_) : 1;
  const auto filled =
      static_cast<std::size_t>(std::clamp(part, 0.0, 1.0) * static_cast<double>(bar_width));
  const auto left = std::max(std::chrono::ceil<std::chrono::seconds>(end_ - now).count(),
                             std::chrono::seconds::rep{0});
  print_text(fmt::format("{}[{}{}] {}, {} s", clear_line, std::string(filled, '#'),
                         std::string(bar_width - filled, '.'), what_, left));
  progress_shown_ = true;
}

void demo_view::clear_progress() {
  if (progress_shown_) {
    print_text(clear_line);
    progress_shown_ = false;
  }
}

}  // namespace kavu_probe
