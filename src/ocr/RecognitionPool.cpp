#include "ocr/RecognitionPool.h"

#include <dlfcn.h>
#include <omp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>

// Tesseract's LSTM runs the four gates of every time step as OpenMP parallel sections. With one
// thread per engine, libgomp still builds a team and ends it with a futex wake each time: some
// 300,000 system calls for a dense screen, a seventh of its recognition time. Defined in the
// helper itself, these take precedence over libgomp's for libtesseract, and run the sections in
// order on the calling thread, which is what a team of one does. Sections met outside these
// (a parallel region with a sections construct inside) are still libgomp's.
namespace {
thread_local bool inSections = false;
thread_local unsigned sectionCount = 0, nextSection = 0;

template <typename Function>
Function libgomp(const char* name) {
    static_assert(sizeof(Function) == sizeof(void*));
    void* symbol = dlsym(RTLD_NEXT, name);
    Function function;
    std::memcpy(&function, &symbol, sizeof function);
    return function;
}
}  // namespace

extern "C" void GOMP_parallel_sections(void (*run)(void*), void* data, unsigned, unsigned count, unsigned) {
    const bool outerIn = inSections;
    const unsigned outerCount = sectionCount, outerNext = nextSection;
    inSections = true;
    sectionCount = count;
    nextSection = 1;
    run(data);
    inSections = outerIn;
    sectionCount = outerCount;
    nextSection = outerNext;
}
extern "C" unsigned GOMP_sections_next() {
    if (!inSections) {
        static const auto next = libgomp<unsigned (*)()>("GOMP_sections_next");
        return next();
    }
    return nextSection <= sectionCount ? nextSection++ : 0;
}
extern "C" void GOMP_sections_end_nowait() {
    if (!inSections) {
        static const auto endNowait = libgomp<void (*)()>("GOMP_sections_end_nowait");
        endNowait();
    }
}

namespace velko {
namespace {

// Nice value of the recogniser threads: background work that must not slow the desktop.
constexpr int utilityNice = 10;

// Each thread's own engine, loaded by its first job and gone with the thread.
TesseractEngine& threadEngine(const std::string& languages) {
    thread_local TesseractEngine engine(languages);
    return engine;
}

void startRecognizerThread() {
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), utilityNice);
    // No OpenMP team for this thread's parallel regions (a per-thread setting): on a small machine
    // one engine per core is several times faster than OpenMP spreading one engine over them.
    omp_set_max_active_levels(0);
}

}  // namespace

RecognitionPool::RecognitionPool(std::size_t maxThreads, std::string languages)
    : languages_(std::move(languages)), threads_("velko-ocr", maxThreads, startRecognizerThread) {}

void RecognitionPool::post(std::uint64_t ticket, Job job) {
    threads_.post(ticket, [this, job = std::move(job)] { job(threadEngine(languages_)); });
}

}  // namespace velko
