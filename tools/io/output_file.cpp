#include "io/output_file.h"

#include "cli/messages.h"
#include "errors.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>
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

/// Where symbolic links lead, whether or not something is there.
std::string target_of_links(std::string path) {
    namespace fs = std::filesystem;
    constexpr int kMostLinks = 40;  // more are a circle
    std::error_code error;
    for (int i = 0; i < kMostLinks; ++i) {
        const auto target = fs::read_symlink(path, error);
        if (error) break;
        path = (fs::path(path).parent_path() / target).string();
    }
    return path;
}

/// Not every file system has renames that refuse to replace; links always refuse.
bool name_without_replacing(const char* hidden, const char* path) {
    if (renameat2(AT_FDCWD, hidden, AT_FDCWD, path, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (link(hidden, path) != 0) return false;
    unlink(hidden);
    return true;
}

}  // namespace

void refuse_replacing(const std::string& input, const std::string& output) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(output, ignored) &&
        std::filesystem::equivalent(output, input, ignored))
        throw UsageError(shown(input) +
                         " would be replaced by what is made of it: give another -o");
}

OutputFile::OutputFile(const std::string& path, Existing existing)
    : path_(path), existing_(existing) {
    if (path == "-") {
        path_ = "standard output";
        descriptor_ = STDOUT_FILENO;
        return;
    }
    path_ = target_of_links(path);
    struct stat status {};
    if (stat(path_.c_str(), &status) != 0) {
        if (errno == ELOOP) fail("cannot create");
        create_hidden(0666 & ~current_umask());
    } else if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        fail("cannot write");
    } else if (!S_ISREG(status.st_mode)) {
        descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) fail("cannot open");
    } else {
        if (existing == Existing::Refuse) {
            errno = EEXIST;
            fail("cannot write");
        }
        create_hidden(status.st_mode & 07777);
    }
}

void OutputFile::create_hidden(mode_t mode) {
    const auto slash = path_.rfind('/');
    const auto name_at = slash == std::string::npos ? 0 : slash + 1;
    const std::lock_guard lock(hidden_files_lock);
    hidden_ = path_.substr(0, name_at) + ".imgcnv-XXXXXX";
    descriptor_ = mkostemp(hidden_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        hidden_.clear();
        fail("cannot create");
    }
    hidden_files.insert(hidden_);
    fchmod(descriptor_, mode);
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
    if (hidden_.empty()) return;
    const std::lock_guard lock(hidden_files_lock);
    unlink(hidden_.c_str());
    hidden_files.erase(hidden_);
}

void OutputFile::fail(const char* doing) const {
    if (errno == EEXIST) throw AlreadyThere(shown(path_) + " is there already (--no-clobber)");
    throw Failure(std::string(doing) + " " + shown(path_) + ": " + std::strerror(errno));
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
    const bool named = existing_ == Existing::Refuse
                           ? name_without_replacing(hidden_.c_str(), path_.c_str())
                           : std::rename(hidden_.c_str(), path_.c_str()) == 0;
    if (!named) fail("cannot name");
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
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const auto clean_up_and_end = [signals] {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) return;
        hidden_files_lock.lock();
        for (const auto& file : hidden_files) unlink(file.c_str());
        std::signal(signal, SIG_DFL);
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        raise(signal);
    };
    try {
        std::thread(clean_up_and_end).detach();
    } catch (const std::system_error&) {
        // Without the memory for a thread, signals end the command as they end any other.
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    }
}

}  // namespace tool
