#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "ocr/TesseractEngine.h"
#include "posix/JobThreads.h"

namespace velko {

// Recogniser threads, each with an engine of its own, taking jobs by ticket: every job of an
// earlier ticket goes before any of a later one, and a ticket's jobs go in the order posted. With
// a ticket per screenshot, one screenshot's lines keep every thread busy while a burst is still
// read in the order it came, each screenshot waiting only for the one being read before it.
// Threads start as jobs need them, up to the limit, at a lower priority and with one core each.
class RecognitionPool {
public:
    using Job = std::function<void(TesseractEngine&)>;

    // languages: what every engine reads, in Tesseract's words ("eng+deu").
    RecognitionPool(std::size_t maxThreads, std::string languages);

    std::size_t size() const { return threads_.maxThreads(); }
    // A ticket later than every one handed out before.
    std::uint64_t newTicket() { return threads_.newTicket(); }
    // Queues job under ticket; it runs on one of the threads with that thread's engine. Dropped
    // once the pool is being destroyed, which lets running jobs finish.
    void post(std::uint64_t ticket, Job job);

private:
    const std::string languages_;
    JobThreads threads_;
};

}  // namespace velko
