// The fuzzing targets in the normal suite: every input kept in regressions/<target>/ (each once crashed a
// target, or held an input the fix had to handle) and every seed fuzz_seeds made runs through its target,
// with whatever sanitizers this build has. A target that aborts fails the run.

#include "FuzzTargets.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

std::size_t replayFolder(const fs::path& folder, velin_fuzz::Target target) {
    std::size_t count = 0;
    if (!fs::is_directory(folder)) return 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        SCOPED_TRACE(entry.path().string());
        target(bytes.data(), bytes.size());
        ++count;
    }
    return count;
}

TEST(FuzzReplay, KeptRegressionInputsRunCleanlyThroughTheirTargets) {
    std::size_t count = 0;
    for (const velin_fuzz::NamedTarget& target : velin_fuzz::targets())
        count += replayFolder(fs::path(VELIN_FUZZ_REGRESSIONS_DIR) / target.name, target.run);
    EXPECT_GT(count, 0u) << "no regression input found under " << VELIN_FUZZ_REGRESSIONS_DIR;
}

TEST(FuzzReplay, EveryTargetHasSeedsAndRunsThemCleanly) {
    for (const velin_fuzz::NamedTarget& target : velin_fuzz::targets()) {
        SCOPED_TRACE(target.name);
        EXPECT_GT(replayFolder(fs::path(VELIN_FUZZ_SEEDS_DIR) / target.name, target.run), 0u);
    }
}

// Inputs far shorter than any layout: every target must treat the missing bytes as zeros.
TEST(FuzzReplay, EmptyAndOneByteInputsRunCleanly) {
    const std::uint8_t one = 0xFF;
    for (const velin_fuzz::NamedTarget& target : velin_fuzz::targets()) {
        target.run(nullptr, 0);
        target.run(&one, 1);
    }
}

}  // namespace
