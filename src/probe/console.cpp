#include "probe/console.hpp"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

void write_out(std::string_view text, bool end_of_line) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (end_of_line) {
    std::fputc('\n', stdout);
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw probe_error(std::string("The results cannot be written: ") + std::strerror(errno) + ".");
  }
}

bool is_set(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool understands_sequences() {
  return is_set("TERM") && std::strcmp(std::getenv("TERM"), "dumb") != 0;
}

}  // namespace

void print_line(std::string_view line) {
  write_out(line, true);
}

void print_text(std::string_view text) {
  write_out(text, false);
}

void print_failure(std::string_view line) noexcept {
  std::fputs("kavu-probe: ", stderr);
  print_log_line(line);
}

void print_log_line(std::string_view line) noexcept {
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fputc('\n', stderr);
}

terminal look_at_terminal() {
  terminal result;
  result.interactive = isatty(STDOUT_FILENO) == 1;
  if (result.interactive) {
    result.moves_cursor = understands_sequences();
    result.styled = result.moves_cursor && !is_set("NO_COLOR");
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
      result.columns = size.ws_col;
      result.rows = size.ws_row;
    }
  }
  return result;
}

bool failures_show_beside_output() {
  struct stat output {};
  struct stat errors {};
  return fstat(STDOUT_FILENO, &output) == 0 && fstat(STDERR_FILENO, &errors) == 0 &&
         output.st_dev == errors.st_dev && output.st_ino == errors.st_ino;
}

}  // namespace kavu_probe
