#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "probe/commands.hpp"
#include "probe/console.hpp"
#include "probe/failure.hpp"
#include "probe/markup.hpp"
#include "probe/setting_family.hpp"
#include "probe/text_layout.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr std::size_t narrowest = 80;
constexpr std::size_t widest = 100;

/// Writes the document for a person.
class info_writer {
 public:
  info_writer(const definition& module, const translator& texts)
      : module_(module),
        texts_(texts),
        terminal_(look_at_terminal()),
        width_(std::clamp(terminal_.columns, narrowest, widest)) {}

  void write() const {
    print_line(
        emphasized(fmt::format("{} {}", printable(text("module.display", module_.module_display)),
                               printable(module_.module_version))));
    paragraph(text("module.description", module_.module_description), 2);
    heading("Sensors");
    for (const sensor_kind& sensor : module_.sensors) {
      write_sensor(sensor);
    }
    heading("Checks");
    for (const check_kind& check : module_.checks) {
      paragraph(fmt::format("{}: settings {}", check.name, list(check.sections)), 2);
    }
    heading("Settings, by section");
    for (const setting_section& section : module_.sections) {
      write_section(section);
    }
  }

 private:
  std::string text(const std::string& key, const std::string& fallback) const {
    return texts_.text(key, fallback);
  }

  static std::string list(const std::vector<std::string>& names) {
    return names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "));
  }

  std::string emphasized(const std::string& line) const {
    return terminal_.styled ? fmt::format("{}{}{}", style::bold, line, style::plain) : line;
  }

  void heading(const std::string& line) const {
    print_line("");
    print_line(emphasized(line));
  }

  /// Prints text that may hold markup, broken into lines.
  void paragraph(const std::string& marked_up, std::size_t indent) const {
    const std::string plain = strip_markup(marked_up);
    std::string_view rest = plain;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find('\n'), rest.size());
      for (const std::string& line : wrap(printable(rest.substr(0, end)), width_ - indent)) {
        print_line(line.empty() ? line : std::string(indent, ' ') + line);
      }
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }

  void write_sensor(const sensor_kind& sensor) const {
    print_line(fmt::format("  {}  {}", emphasized(sensor.name),
                           printable(text(sensor.name + ".display", sensor.display))));
    paragraph(text(sensor.name + ".description", sensor.description), 6);
    paragraph(text(sensor.name + ".help", sensor.help), 6);
    paragraph("Settings: " + list(sensor.sections), 6);
    paragraph("Required checks: " + list(sensor.required_checks), 6);
    print_line("");
  }

  void write_section(const setting_section& section) const {
    print_line("");
    print_line(fmt::format("  {}  {}", emphasized(section.name),
                           printable(text(section.name + ".display", section.display))));
    for (const std::string& name : section.groups) {
      const setting_group* const group = module_.find_group(name);
      if (group == nullptr) {
        throw probe_error("The module's definition document has no group " + name + ".");
      }
      for (const setting_family& family : find_families(*group)) {
        write_setting(section, *group, family);
      }
    }
  }

  void write_setting(const setting_section& section, const setting_group& group,
                     const setting_family& family) const {
    const setting& item = *family.first;
    const std::string prefix = fmt::format("{}.{}", group.name, item.name);
    std::string display = text(prefix + ".display", item.display);
    std::string range;
    if (!family.numbers.empty()) {
      display = replace_number(display, family.numbers.front());
      range = fmt::format(" (N = {} to {})", family.numbers.front(), family.numbers.back());
    }
    print_line("");
    print_line(fmt::format(
        "    {}{}", emphasized(fmt::format("{}.{}.{}", section.name, group.name, family.name)),
        range));
    paragraph(fmt::format("{}: {}.", display, describe(prefix, family)), 8);
    paragraph(text(prefix + ".help", item.help), 8);
  }

  std::string describe(const std::string& prefix, const setting_family& family) const {
    const setting& item = *family.first;
    std::string line = describe_type(prefix, item);
    if (!item.default_value.empty()) {
      line += fmt::format("; default \"{}\"", item.default_value);
    }
    if (item.required()) {
      line += "; required";
    }
    if (!item.depends_on.empty()) {
      line += fmt::format("; matters while {} is \"{}\"",
                          family.numbers.empty()
                              ? item.depends_on
                              : replace_number(item.depends_on, family.numbers.front()),
                          item.condition);
    }
    return line;
  }

  std::string describe_type(const std::string& prefix, const setting& item) const {
    switch (item.type) {
      case setting_type::selection:
        return describe_choices(prefix, item);
      case setting_type::integer:
        return "integer" + describe_limits(item.minimum, item.maximum);
      case setting_type::floating_point:
        return "number" + describe_limits(item.floating_minimum, item.floating_maximum);
      case setting_type::text:
        break;
    }
    if (item.max_length) {
      return fmt::format("text of at most {} characters", *item.max_length);
    }
    return item.secure ? "secret text" : item.multiline ? "text of several lines" : "text";
  }

  template <class Number>
  static std::string describe_limits(const std::optional<Number>& minimum,
                                     const std::optional<Number>& maximum) {
    return (minimum ? fmt::format(" from {}", *minimum) : "") +
           (maximum ? fmt::format(" to {}", *maximum) : "");
  }

  std::string describe_choices(const std::string& prefix, const setting& item) const {
    std::string choices = "one of";
    for (const setting_option& option : item.options) {
      choices += fmt::format("{} \"{}\" = {}", choices.size() > 6 ? "," : "", option.value,
                             text(prefix + ".option." + option.value, option.display));
    }
    return choices;
  }

  const definition& module_;
  const translator& texts_;
  terminal terminal_;
  std::size_t width_;
};

}  // namespace

int run_info_command(const probe_context& context, const std::string& document) {
  if (context.options.json) {
    print_text(document);
    if (!document.ends_with('\n')) {
      print_line("");
    }
  } else {
    info_writer(context.module, context.texts).write();
  }
  return exit_code::well;
}

}  // namespace kavu_probe
