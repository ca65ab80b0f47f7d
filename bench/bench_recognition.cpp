// Recognition time and word accuracy of one recogniser on a screenshot whose text is known.
//   bench_recognition IMAGE KNOWN_TEXT [runs]
// Run through bench/run-screenshot-bench, which makes the images.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Core/ScreenshotWatcher.h"
#include "ocr/TesseractRecognizer.h"

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

// Known words found, in order, in what was read: the longest common subsequence.
std::size_t wordsMatched(const std::vector<std::string>& known, const std::vector<std::string>& read) {
    std::vector<std::size_t> previous(read.size() + 1, 0), current(read.size() + 1, 0);
    for (const auto& word : known) {
        for (std::size_t j = 0; j < read.size(); ++j)
            current[j + 1] = word == read[j] ? previous[j] + 1 : std::max(previous[j + 1], current[j]);
        std::swap(previous, current);
    }
    return previous[read.size()];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_recognition IMAGE KNOWN_TEXT [runs]\n");
        return 2;
    }
    const std::string image = argv[1];
    std::ifstream knownFile(argv[2]);
    const std::string knownText((std::istreambuf_iterator<char>(knownFile)), std::istreambuf_iterator<char>());
    const int runs = std::max(1, argc > 3 ? std::atoi(argv[3]) : 5);

    velko::TesseractRecognizer recognizer(1);
    // The recogniser thread's CPU time, read in the completion (which runs on that thread): the
    // wall time depends on what else the machine runs, as the thread yields to other work.
    double threadCpu = 0;
    const auto recognizeOnce = [&](double* seconds, double* cpu) {
        std::promise<std::string> text;
        const double cpuBefore = threadCpu;
        const auto t0 = Clock::now();
        recognizer.recognizeText(image, [&](std::optional<std::vector<velko::TextObservation>> observations) {
            timespec now{};
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
            threadCpu = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
            text.set_value(observations ? velko::ScreenshotWatcher::joinRecognizedLines(*observations) : "");
        });
        auto result = text.get_future().get();
        *seconds = std::chrono::duration<double>(Clock::now() - t0).count();
        *cpu = threadCpu - cpuBefore;
        return result;
    };

    double first = 0, firstCpu = 0;
    const std::string read = recognizeOnce(&first, &firstCpu);
    std::vector<double> times, cpuTimes;
    for (int i = 0; i < runs; ++i) {
        double seconds = 0, cpu = 0;
        recognizeOnce(&seconds, &cpu);
        times.push_back(seconds);
        cpuTimes.push_back(cpu);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpuTimes.begin(), cpuTimes.end());

    const auto known = wordsOf(knownText);
    const auto matched = wordsMatched(known, wordsOf(read));
    std::printf("%s: %zu words, %zu characters\n", image.c_str(), known.size(), knownText.size());
    std::printf("  first recognition (engine load included): %.2f s, %.2f s of CPU\n", first, firstCpu);
    std::printf("  recognition: median %.2f s, min %.2f s, max %.2f s over %d runs; median CPU %.2f s\n",
                times[times.size() / 2], times.front(), times.back(), runs, cpuTimes[cpuTimes.size() / 2]);
    std::printf("  word accuracy: %.2f %% (%zu of %zu words read in order)\n",
                100.0 * static_cast<double>(matched) / static_cast<double>(known.size()), matched, known.size());
    return 0;
}
