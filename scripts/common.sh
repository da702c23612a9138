# What the scripts share. Sourced, not run: . "$(dirname "$(readlink -f "$0")")/common.sh"
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)

presets="release debug asan tsan bench fuzz"

# The folder that a preset builds in.
build_directory() {
  case $1 in
    release) echo "$root/build" ;;
    *) echo "$root/build/$1" ;;
  esac
}

check_preset() {
  [[ " $presets " == *" $1 "* ]] || { echo "unknown preset '$1'; there are: $presets" >&2; return 2; }
}

# How many compilers at a time: one for each core, but each may need 1.5 GB. KAVU_JOBS overrides.
parallel_jobs() {
  local cores kilobytes by_memory
  cores=$(nproc)
  kilobytes=$(awk '/^MemAvailable:/ { print $2 }' /proc/meminfo 2>/dev/null || true)
  by_memory=$((${kilobytes:-1500000} / 1500000))
  [ "$by_memory" -ge 1 ] || by_memory=1
  echo "${KAVU_JOBS:-$((cores < by_memory ? cores : by_memory))}"
}

# build_tree PRESET [TARGET...]: configures and builds; the configuration is shown only if it fails.
build_tree() {
  local preset=$1 directory output
  shift
  directory=$(build_directory "$preset")
  if ! output=$(cmake -S "$root" --preset "$preset" 2>&1); then
    printf '%s\n' "$output" >&2
    return 1
  fi
  cmake --build "$directory" --parallel "$(parallel_jobs)" ${1:+--target "$@"}
}
