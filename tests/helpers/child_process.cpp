#include "helpers/child_process.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <future>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "helpers/temporary_directory.hpp"

namespace kavu_test {
namespace {

// The kernel signals a child when the thread that forked it ends, not the process. So all children
// come from one thread that lives as long as the test program.
class forking_thread {
 public:
  pid_t call(std::packaged_task<pid_t()> task) {
    auto child = task.get_future();
    {
      const std::lock_guard lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    changed_.notify_all();
    return child.get();
  }

 private:
  void loop(const std::stop_token& stopping) {
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, stopping, [this] { return !tasks_.empty(); })) {
      tasks_.front()();
      tasks_.pop_front();
    }
  }

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<std::packaged_task<pid_t()>> tasks_;  // guarded by mutex_
  std::jthread thread_{[this](const std::stop_token& stopping) { loop(stopping); }};
};

[[noreturn]] void run_child(char* const* arguments, int output, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) {
    ::_exit(126);
  }
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::signal(SIGPIPE, SIG_DFL);
  const int input = ::open("/dev/null", O_RDONLY);
  ::dup2(input, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  ::close_range(3, ~0U, 0);
  ::execv(arguments[0], arguments);
  ::_exit(127);
}

pid_t fork_child(const std::vector<std::string>& arguments, int output) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const auto& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  if (child == 0) {
    run_child(pointers.data(), output, parent);
  }
  return child;
}

}  // namespace

child_process::child_process(const std::vector<std::string>& arguments,
                             const std::filesystem::path& output)
    : id_(-1) {
  const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0) {
    throw std::system_error(errno, std::generic_category(), "opening " + output.string());
  }
  static forking_thread forking;
  id_ = forking.call(std::packaged_task<pid_t()>([&] { return fork_child(arguments, file); }));
  ::close(file);
  if (id_ < 0) {
    throw std::runtime_error("starting " + arguments.at(0));
  }
}

child_process::~child_process() {
  if (running()) {
    ::kill(id_, SIGKILL);
    reap(0);
  }
}

void child_process::send_signal(int number) {
  if (running()) {
    ::kill(id_, number);
  }
}

bool child_process::running() {
  reap(WNOHANG);
  return !exit_code_;
}

void child_process::reap(int options) {
  int status = 0;
  while (!exit_code_) {
    const pid_t ended = ::waitpid(id_, &status, options);
    if (ended == id_) {
      exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (ended == 0 || errno != EINTR) {
      return;
    }
  }
}

std::optional<int> child_process::wait(std::chrono::milliseconds deadline) {
  eventually([this] { return !running(); }, deadline);
  return exit_code_;
}

std::string find_program(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::stringstream folders(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string candidate = folder + "/" + name;
    if (!folder.empty() && ::access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  throw std::runtime_error("program not found: " + name);
}

void run_program(const std::vector<std::string>& arguments) {
  const temporary_directory directory;
  const auto output = directory.path() / "output";
  child_process process(arguments, output);
  const auto exit_code = process.wait();
  if (exit_code != 0) {
    std::stringstream text;
    text << arguments.at(0) << " ended with " << exit_code.value_or(-1) << ": "
         << std::ifstream(output).rdbuf();
    throw std::runtime_error(text.str());
  }
}

}  // namespace kavu_test
