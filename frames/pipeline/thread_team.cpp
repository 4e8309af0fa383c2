#include "pipeline/thread_team.h"

#include <system_error>

namespace frames {

ThreadTeam::~ThreadTeam() {
    {
        const std::lock_guard lock(mutex_);
        ends_ = true;
    }
    wanted_.notify_all();
    for (auto& thread : threads_) thread.join();
}

void ThreadTeam::start(int helpers) {
#if defined(__cpp_exceptions)
    threads_.reserve(static_cast<std::size_t>(helpers));
    try {
        for (int i = 0; i < helpers; ++i) threads_.emplace_back([this] { help(); });
    } catch (const std::system_error&) {
        // The work is done by fewer threads then.
    }
#else
    static_cast<void>(helpers);
#endif
}

/// With mutex_ locked: the next number of the work at hand.
bool ThreadTeam::take(int& number) {
    if (next_ == count_) return false;
    number = next_++;
    ++running_;
    return true;
}

void ThreadTeam::help() {
    std::unique_lock lock(mutex_);
    while (true) {
        int number = 0;
        wanted_.wait(lock, [&] { return ends_ || take(number); });
        if (ends_) return;
        lock.unlock();
        (*work_)(number);
        lock.lock();
        if (--running_ == 0 && next_ == count_) done_.notify_one();
    }
}

void ThreadTeam::run(int count, const std::function<void(int)>& work) {
    if (threads_.empty()) {
        for (int i = 0; i < count; ++i) work(i);
        return;
    }
    std::unique_lock lock(mutex_);
    work_ = &work;
    next_ = 0;
    count_ = count;
    wanted_.notify_all();
    int number = 0;
    while (take(number)) {
        lock.unlock();
        work(number);
        lock.lock();
        --running_;
    }
    done_.wait(lock, [&] { return running_ == 0; });
}

}  // namespace frames
