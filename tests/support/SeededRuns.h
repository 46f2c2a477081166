#pragma once
// What the seeded random tests share: their settings from the environment, the loop over
// seeds, and the line that replays a failing one.
//   <PREFIX>_SEEDS=n    run seeds 1..n
//   <PREFIX>_STEPS=n    steps per seed
//   <PREFIX>_SEED=s     run seed s alone
//   <PREFIX>_VERBOSE=1  print every step
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace testsupport {

inline int fromEnvironment(const std::string& name, int fallback) {
  const char* text = std::getenv(name.c_str());
  return text && *text ? std::atoi(text) : fallback;
}

// Runs runSeed(seed, steps, verbose) for each seed; it returns a failure report, or "".
template <class RunSeed>
void runSeeds(const std::string& prefix, int defaultSeeds, int defaultSteps, RunSeed runSeed) {
  const int steps = fromEnvironment(prefix + "_STEPS", defaultSteps);
  const int one = fromEnvironment(prefix + "_SEED", 0);
  const int seeds = fromEnvironment(prefix + "_SEEDS", defaultSeeds);
  const bool verbose = fromEnvironment(prefix + "_VERBOSE", 0) != 0;
  for (int seed = one ? one : 1; seed <= (one ? one : seeds); ++seed) {
    const std::string failure = runSeed(static_cast<std::uint64_t>(seed), steps, verbose);
    EXPECT_TRUE(failure.empty()) << failure;
  }
}

// The settings that run a failing seed again up to its failing step, step by step.
inline std::string replayLine(const std::string& prefix, std::uint64_t seed, int step) {
  return "\nreplay with " + prefix + "_SEED=" + std::to_string(seed) + " " + prefix +
         "_STEPS=" + std::to_string(step) + " " + prefix + "_VERBOSE=1";
}

}  // namespace testsupport
