// Conversions are called from threads with small stacks: 64 KiB must be enough
// for each, the call itself included.
#include <ucontext.h>

#include <functional>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

std::function<void()>* to_run;
void trampoline() { (*to_run)(); }

// Runs it on a stack of 64 KiB that ends at an unmapped page.
void run_on_small_stack(std::function<void()> work) {
    constexpr size_t kStack = 64 << 10;
    static GuardedRegion region(kStack);
    const auto stack = region.place(kStack, Guard::kBefore, 0);
    ucontext_t here, there;
    ASSERT_EQ(getcontext(&there), 0);
    there.uc_stack.ss_sp = stack.data();
    there.uc_stack.ss_size = stack.size();
    there.uc_link = &here;
    to_run = &work;
    makecontext(&there, trampoline, 0);
    ASSERT_EQ(swapcontext(&here, &there), 0);
}

TEST(Stack, SixtyFourKibibytesAreEnough) {
    std::mt19937 random(run_seed());
    for (const SourceFormat& s : kSources) {
        const bool large = s.code == IMGCNV_PIXEL_MONO12 || s.code == IMGCNV_PIXEL_RGB8_PACKED ||
                           s.code == IMGCNV_PIXEL_BAYER_BG12;  // too large for any cache
        const Frame frame = random_frame(s, 3001, large ? 3600 : 8, 0, random);
        for (PixelFormat destination : kDestinations) {
            for (Demosaic method : kMethods) {
                if (!is_bayer(s) && method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                SCOPED_TRACE(s.name);
                Bytes dst(bytes_written(s, frame.record, destination) + 1);
                int status = -1;
                run_on_small_stack([&] {
                    status =
                        convert(frame.record, destination, method, frame.bytes.data(), dst.data());
                });
                ASSERT_EQ(status, IMGCNV_SUCCESS);
            }
        }
    }
    for (auto turn : {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
                      IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270}) {
        Bytes src(1001 * 103 * 3), dst(src.size());
        Record record{1001, 103, 0, 0, 1001 * 103 * 3, IMGCNV_PIXEL_RGB8_PACKED};
        int status = -1, size = 0;
        run_on_small_stack([&] { status = turn(src.data(), &record, dst.data(), &size); });
        ASSERT_EQ(status, IMGCNV_SUCCESS);
    }
}

}  // namespace
}  // namespace imgcnv::testing
