#include "ocrworker/TextRecognitionProcess.h"
#include "platform/Log.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

#include "ocrworker/RecognitionMessages.h"

namespace velko {
namespace {

using Clock = std::chrono::steady_clock;

std::string describe(int status) {
    if (WIFSIGNALED(status)) return "killed by signal " + std::to_string(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

long seconds(Clock::duration d) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(d).count());
}

}  // namespace

TextRecognitionProcess::TextRecognitionProcess(std::string program, std::string languages, Duration idleTime,
                                               Duration stallTime, std::uint64_t memoryLimit)
    : program_(std::move(program)),
      languages_(std::move(languages)),
      idleTime_(idleTime),
      stallTime_(stallTime),
      memoryLimit_(memoryLimit) {}

TextRecognitionProcess::~TextRecognitionProcess() {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    for (const pid_t pid : running_) ::kill(pid, SIGTERM);
    readersDone_.wait(lock, [this] { return readers_ == 0; });
}

void TextRecognitionProcess::recognizeText(const std::string& imagePath, const std::string& name, Completion done) {
    Completion failed;
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        if (socket_ < 0 && !start()) {
            failed = std::move(done);
        } else {
            const std::uint64_t id = ++nextId_;
            const std::string line = RecognitionMessages::request({id, imagePath, name});
            const auto now = Clock::now();
            if (pending_.empty()) lastProgress_ = now;
            lastRequest_ = now;
            // Never waits: a program that stopped reading is its reader's to end.
            if (::send(socket_, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
                static_cast<ssize_t>(line.size()))
                pending_.emplace(id, Pending{std::move(done), name});
            else
                failed = std::move(done);
        }
    }
    if (failed) failed(std::nullopt);
}

bool TextRecognitionProcess::start() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        log::warning("cannot start %s: %s; the screenshot is staged without text", program_.c_str(),
                     std::strerror(errno));
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    char* argv[] = {const_cast<char*>(program_.c_str()), const_cast<char*>("--languages"),
                    const_cast<char*>(languages_.c_str()), nullptr};
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, program_.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
        ::close(ends[0]);
        log::warning("cannot start %s: %s; the screenshot is staged without text", program_.c_str(),
                     std::strerror(error));
        return false;
    }
    // Set before the first request is sent, so no image is ever read without it.
    if (memoryLimit_ > 0) {
        const rlimit limit{memoryLimit_, memoryLimit_};
        if (::prlimit(pid, RLIMIT_AS, &limit, nullptr) != 0)
            log::warning("velko-ocr runs without a memory limit: %s", std::strerror(errno));
    }
    log::info("text recognition started (velko-ocr, pid %d, %s)", static_cast<int>(pid), languages_.c_str());
    socket_ = ends[0];
    running_.insert(pid);
    ++readers_;
    lastRequest_ = lastProgress_ = Clock::now();
    std::thread(&TextRecognitionProcess::read, this, ends[0], pid).detach();
    return true;
}

int TextRecognitionProcess::checkTimers(int socket, pid_t pid) {
    // A program let go finishes and closes its end on its own.
    if (stopping_ || socket_ != socket) return -1;
    const auto now = Clock::now();
    Clock::duration left;
    if (pending_.empty()) {
        left = std::max(lastRequest_, lastProgress_) + idleTime_ - now;
        if (left <= Clock::duration::zero()) {
            log::info("text recognition idle for %ld s; velko-ocr ends until the next image", seconds(idleTime_));
            socket_ = -1;
            ::shutdown(socket, SHUT_WR);
            return -1;
        }
    } else {
        left = lastProgress_ + stallTime_ - now;
        if (left <= Clock::duration::zero()) {
            log::warning("velko-ocr answered nothing for %ld s; ending it", seconds(stallTime_));
            ::kill(pid, SIGKILL);
            return -1;
        }
    }
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count()) + 1;
}

void TextRecognitionProcess::read(int socket, pid_t pid) {
    pthread_setname_np(pthread_self(), "velko-ocr-read");
    std::string buffer;
    char chunk[4096];
    for (;;) {
        int timeout;
        {
            std::lock_guard lock(mutex_);
            timeout = checkTimers(socket, pid);
        }
        pollfd readable{socket, POLLIN, 0};
        if (::poll(&readable, 1, timeout) <= 0) continue;  // a timer to look at, or EINTR
        const ssize_t got = ::read(socket, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        buffer.append(chunk, static_cast<std::size_t>(got));
        for (std::size_t end; (end = buffer.find('\n')) != std::string::npos;) {
            auto result = RecognitionMessages::readResult(std::string_view(buffer).substr(0, end));
            buffer.erase(0, end + 1);
            Completion done;
            {
                std::lock_guard lock(mutex_);
                if (!result) {
                    log::warning("velko-ocr answered something unreadable; ending it");
                    ::kill(pid, SIGKILL);
                    continue;
                }
                const auto it = pending_.find(result->id);
                if (stopping_ || socket_ != socket || it == pending_.end()) continue;
                done = std::move(it->second.done);
                pending_.erase(it);
                lastProgress_ = Clock::now();
            }
            done(std::move(result->observations));
        }
    }

    std::map<std::uint64_t, Pending> unanswered;
    bool quiet;
    {
        std::lock_guard lock(mutex_);
        running_.erase(pid);  // before it is reaped, so that its number is never signalled again
        if (socket_ == socket) {
            socket_ = -1;
            unanswered.swap(pending_);
        }
        quiet = stopping_;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    ::close(socket);
    if (!quiet && !unanswered.empty()) {
        std::string names;
        for (const auto& [id, pending] : unanswered) names += (names.empty() ? "\"" : ", \"") + pending.name + "\"";
        log::warning("velko-ocr ended (%s) before reading %s; staged without text", describe(status).c_str(),
                     names.c_str());
        for (auto& [id, pending] : unanswered) pending.done(std::nullopt);
    }
    std::lock_guard lock(mutex_);
    --readers_;
    readersDone_.notify_all();
}

}  // namespace velko
