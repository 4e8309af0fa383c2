// Runs the tests. --seed=N repeats a run; --level=NAME, in the binary that has
// levels, runs everything on that instruction-set level.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>

#include "support/frame.h"
#ifdef IMGCNV_FORCED_LEVEL
#include "support/forced_level.h"
#endif

namespace {
uint32_t seed = std::random_device{}();
}  // namespace

uint32_t imgcnv::testing::run_seed() { return seed; }

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument.starts_with("--seed=")) {
            seed = static_cast<uint32_t>(std::strtoul(argv[i] + 7, nullptr, 10));
#ifdef IMGCNV_FORCED_LEVEL
        } else if (argument.starts_with("--level=")) {
            const std::string_view level = argument.substr(8);
            if (!imgcnv::testing::level_available(level)) {
                std::printf("SKIPPED: this CPU cannot run level %s; NOTHING WAS TESTED\n",
                            level.data());
                return 77;  // the SKIP_RETURN_CODE of ctest
            }
            imgcnv::testing::force_level(level);
#endif
        } else {
            std::fprintf(stderr, "unknown argument %s; known: --seed=N%s\n", argv[i],
#ifdef IMGCNV_FORCED_LEVEL
                         ", --level=NAME"
#else
                         ""
#endif
            );
            return 2;
        }
    }
    std::printf("seed %u: repeat this run with --seed=%u\n", seed, seed);
    return RUN_ALL_TESTS();
}
