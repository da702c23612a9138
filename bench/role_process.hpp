#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace kavu_bench {

/// One end of a line between two processes, on which they exchange numbers. One thread at a time.
class line {
 public:
  /// Takes the descriptor over.
  explicit line(int descriptor) : descriptor_(descriptor) {}
  ~line();
  line(const line&) = delete;
  line& operator=(const line&) = delete;

  /// Both throw std::runtime_error when the other process is gone, `receive` also when it says
  /// nothing for two minutes.
  void send(std::int64_t number);
  std::int64_t receive();

 private:
  int descriptor_;
};

/// A process with a task of its own, so that the processor time of one task can be told from that
/// of all others.
///
/// It is a copy of this one, which must not have started threads yet, and it never outlives this
/// one. The destructor ends it.
class role_process {
 public:
  /// `task` gets the other end of the line. What it throws is printed, and breaks the line.
  /// Throws std::runtime_error when there can be no process.
  explicit role_process(const std::function<void(line&)>& task);
  ~role_process();
  role_process(const role_process&) = delete;
  role_process& operator=(const role_process&) = delete;

  line& talk() { return *line_; }

 private:
  std::unique_ptr<line> line_;
  pid_t process_;
};

}  // namespace kavu_bench
