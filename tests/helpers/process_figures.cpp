#include "helpers/process_figures.hpp"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <ostream>

namespace kavu_test {

process_figures process_figures::now() {
  process_figures figures;
  figures.threads = thread_names().size();
  figures.descriptors = open_descriptors().size();
  std::size_t pages = 0;
  std::size_t resident_pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident_pages;
  figures.resident_bytes = resident_pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto heap = ::mallinfo2();
  figures.heap_bytes = heap.uordblks + heap.hblkhd;
  return figures;
}

std::ostream& operator<<(std::ostream& stream, const process_figures& figures) {
  return stream << figures.threads << " threads, " << figures.descriptors << " descriptors, "
                << figures.resident_bytes / 1024 << " KiB resident, " << figures.heap_bytes / 1024
                << " KiB allocated";
}

std::vector<std::string> thread_names() {
  std::vector<std::string> names;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    // A thread that has just ended has no name any more.
    if (std::getline(std::ifstream(thread.path() / "comm"), name)) {
      names.push_back(name);
    }
  }
  return names;
}

std::vector<std::string> open_descriptors() {
  std::vector<std::string> targets;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(entry.path(), gone).string();
    // The one that this loop reads the directory with does not count.
    if (!gone && target.find("/proc/" + std::to_string(::getpid()) + "/fd") == std::string::npos) {
      targets.push_back(target);
    }
  }
  return targets;
}

}  // namespace kavu_test
