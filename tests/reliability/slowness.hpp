#pragma once

namespace kavu_test {

/// How much longer than in what ships a call may take: the sanitizers cost about three times the
/// time, on a machine that is busy with other tests.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int slowness = 5;
#else
inline constexpr int slowness = 1;
#endif

}  // namespace kavu_test
