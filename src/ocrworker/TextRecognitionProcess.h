#pragma once
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "platform/TextRecognizer.h"

namespace velko {

// Text recognition in the program velko-ocr, started by the first image and sent away once it has
// had nothing to do for idleTime: Tesseract, its model and the forty libraries it loads are not
// kept in the helper between screenshots, and a crash among them costs one screenshot its text,
// not the helper. Each running program has a thread here that reads its answers.
class TextRecognitionProcess : public TextRecognizer {
public:
    using Duration = std::chrono::steady_clock::duration;

    // languages: Tesseract's list ("eng+deu"), given to each program started.
    // stallTime: how long a program with work may go without answering before it is ended.
    // memoryLimit: the address space each program may take, in bytes (0: no limit); an image that
    // needs more gets no text, or ends the program and the next image starts another.
    TextRecognitionProcess(std::string program, std::string languages, Duration idleTime, Duration stallTime,
                           std::uint64_t memoryLimit = 0);
    // Ends the programs at once; completions still pending are not called.
    ~TextRecognitionProcess() override;

    // done(nullopt) also when the program cannot be started, dies or stops answering.
    using TextRecognizer::recognizeText;
    void recognizeText(const std::string& imagePath, const std::string& name, Completion done) override;

private:
    struct Pending {
        Completion done;
        std::string name;
    };
    bool start();
    void read(int socket, pid_t pid);
    // Under the lock: ms until the reader of `socket` has to look again; -1 for never.
    int checkTimers(int socket, pid_t pid);

    const std::string program_;
    const std::string languages_;
    const Duration idleTime_;
    const Duration stallTime_;
    const std::uint64_t memoryLimit_;
    std::mutex mutex_;
    std::condition_variable readersDone_;
    int socket_ = -1;                           // of the program that takes requests; -1 when none does
    std::map<std::uint64_t, Pending> pending_;  // all of them that program's
    std::uint64_t nextId_ = 0;
    std::chrono::steady_clock::time_point lastRequest_;
    std::chrono::steady_clock::time_point lastProgress_;  // an answer, or work after none was pending
    std::set<pid_t> running_;
    int readers_ = 0;
    bool stopping_ = false;
};

}  // namespace velko
