// Conversions are called from threads with small stacks, to which signals are delivered: a
// conversion needs at most 40 KiB, the call itself and a signal handler included.
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <functional>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

constexpr size_t kStack = 48 << 10;
// A conversion, a signal handler, and the thread-local variables that lie on a thread's stack.
constexpr size_t kMost = (40 << 10) + (4 << 10);
constexpr uint8_t kPaint = 0x5C;

std::atomic<int> signals;
void count_signal(int) { ++signals; }

struct Work {
    const std::function<void()>& run;
    std::atomic<bool> done = false;
};

// Runs it, while signals arrive, on a thread whose stack ends at an unmapped page. The bytes of
// stack that were used.
size_t run_on_small_stack(const std::function<void()>& run) {
    static GuardedRegion region(kStack);
    const auto stack = region.place(kStack, Guard::kBefore, kPaint);
    struct sigaction action {};
    action.sa_handler = count_signal;
    sigaction(SIGUSR1, &action, nullptr);
    signals = 0;
    Work work{run};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack.data(), stack.size()), 0);
    pthread_t thread;
    const auto run_until_signalled = [](void* argument) -> void* {
        Work& work = *static_cast<Work*>(argument);
        for (int i = 0; i == 0 || (signals == 0 && i < 10000); ++i) work.run();
        work.done = true;
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attributes, run_until_signalled, &work), 0);
    while (!work.done) {
        pthread_kill(thread, SIGUSR1);
        timespec pause{0, 20000};
        nanosleep(&pause, nullptr);
    }
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto is_used = [](uint8_t byte) { return byte != kPaint; };
    return static_cast<size_t>(stack.end() - std::find_if(stack.begin(), stack.end(), is_used));
}

TEST(Stack, FortyKibibytesAreEnough) {
    std::mt19937 random(run_seed());
    size_t most = 0;
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
                const size_t used = run_on_small_stack([&] {
                    status =
                        convert(frame.record, destination, method, frame.bytes.data(), dst.data());
                });
                ASSERT_EQ(status, IMGCNV_SUCCESS);
                EXPECT_LE(used, kMost) << method;
                most = std::max(most, used);
            }
        }
    }
    for (auto orient : {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
                        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270}) {
        Bytes src(1001 * 103 * 3), dst(src.size());
        Record record{1001, 103, 0, 0, 1001 * 103 * 3, IMGCNV_PIXEL_RGB8_PACKED};
        int status = -1, size = 0;
        run_on_small_stack([&] { status = orient(src.data(), &record, dst.data(), &size); });
        ASSERT_EQ(status, IMGCNV_SUCCESS);
    }
    std::printf("a thread used at most %zu bytes of its stack\n", most);
}

}  // namespace
}  // namespace imgcnv::testing
