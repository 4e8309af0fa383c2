#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace frames {

/// Threads that wait for work and do it together with their caller. Where threads cannot be had,
/// the caller does everything.
class ThreadTeam {
  public:
    ThreadTeam() = default;
    ~ThreadTeam();
    ThreadTeam(const ThreadTeam&) = delete;
    ThreadTeam& operator=(const ThreadTeam&) = delete;

    /// Starts `helpers` threads, or as many as the system gives.
    void start(int helpers);

    /// Calls work(0) to work(count - 1), each once, on the caller and the helpers; returns when all
    /// have returned. `work` must not throw.
    void run(int count, const std::function<void(int)>& work);

  private:
    void help();
    bool take(int& number);

    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable wanted_, done_;
    const std::function<void(int)>* work_ = nullptr;
    int next_ = 0, count_ = 0, running_ = 0;
    bool ends_ = false;
};

}  // namespace frames
