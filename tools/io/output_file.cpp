#include "io/output_file.h"

#include "errors.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

namespace tool {
namespace {

// Held while hidden files come and go, and for ever by the thread that ends the process, so that
// none appears after it has removed them.
std::mutex hidden_files_lock;
std::set<std::string> hidden_files;

mode_t current_umask() {
    static const mode_t mask = [] {
        const mode_t old = umask(077);
        umask(old);
        return old;
    }();
    return mask;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
    if (path == "-") {
        path_ = "standard output";
        descriptor_ = STDOUT_FILENO;
        return;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            errno = EISDIR;
            fail("cannot write");
        }
        if (!S_ISREG(status.st_mode)) {
            descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
            if (descriptor_ < 0) fail("cannot open");
            return;
        }
        // A symbolic link stays one: the file it leads to is replaced.
        std::error_code ignored;
        const auto target = std::filesystem::canonical(path, ignored);
        if (!ignored) path_ = target.string();
    }
    const auto slash = path_.rfind('/');
    const auto name_at = slash == std::string::npos ? 0 : slash + 1;
    current_umask();
    const std::lock_guard lock(hidden_files_lock);
    hidden_ = path_.substr(0, name_at) + ".imgcnv-XXXXXX";
    descriptor_ = mkostemp(hidden_.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot create");
    hidden_files.insert(hidden_);
    fchmod(descriptor_, 0666 & ~current_umask());
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
    if (hidden_.empty()) return;
    const std::lock_guard lock(hidden_files_lock);
    unlink(hidden_.c_str());
    hidden_files.erase(hidden_);
}

void OutputFile::fail(const char* doing) const {
    throw Failure(std::string(doing) + " " + path_ + ": " + std::strerror(errno));
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("cannot write");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void OutputFile::commit() {
    if (descriptor_ != STDOUT_FILENO) {
        const int result = close(descriptor_);
        descriptor_ = -1;
        if (result != 0) fail("cannot write");
    }
    if (hidden_.empty()) return;
    const std::lock_guard lock(hidden_files_lock);
    if (std::rename(hidden_.c_str(), path_.c_str()) != 0) fail("cannot name");
    hidden_files.erase(hidden_);
    hidden_.clear();
}

void remove_hidden_files_on_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // A shell that started the command in the background may have them ignored: keep that.
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
    }
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error of write()
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals] {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) return;
        hidden_files_lock.lock();
        for (const auto& file : hidden_files) unlink(file.c_str());
        std::signal(signal, SIG_DFL);
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        raise(signal);
    }).detach();
}

}  // namespace tool
