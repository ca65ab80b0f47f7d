// Recall, reading order, time and CPU of the recogniser on a set of screenshots whose text is
// known, per kind of screen; then the whole set dropped at once, as a burst.
//   bench_recognition DIR [runs] [--keep-text]
// DIR holds KIND.VARIANT.png with KIND.VARIANT.txt (bench/screens/make-screens makes them); with
// --keep-text what was read goes to KIND.VARIANT.read beside them. Run through
// bench/run-screenshot-bench.
#include <time.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "BenchFigures.h"
#include "Core/ScreenshotWatcher.h"
#include "ocr/TesseractRecognizer.h"

namespace {

using velko::bench::Clock;

// A word is a run of letters and digits: what a reader copies, without judging punctuation.
std::vector<std::string> wordsOf(const std::string& text) {
    // Letters beyond ASCII (ä, é, ж) belong to their words; quotes and dashes beyond it do not.
    std::string spaced = text;
    for (const std::string_view mark :
         {"\u00ab", "\u00bb", "\u2013", "\u2014", "\u2018", "\u2019", "\u201c", "\u201d", "\u2026"})
        for (auto at = spaced.find(mark); at != std::string::npos; at = spaced.find(mark, at))
            spaced.replace(at, mark.size(), " ");
    std::vector<std::string> words;
    std::string word;
    for (const char c : spaced + ' ') {
        if (std::isalnum(static_cast<unsigned char>(c)) || static_cast<unsigned char>(c) >= 0x80) {
            word += c;
        } else if (!word.empty()) {
            words.push_back(std::move(word));
            word.clear();
        }
    }
    return words;
}

// Known words found anywhere in what was read, each as often as it occurs.
std::size_t wordsFound(const std::vector<std::string>& known, const std::vector<std::string>& read) {
    std::map<std::string, long> count;
    for (const auto& word : known) ++count[word];
    std::size_t found = 0;
    for (const auto& word : read)
        if (auto it = count.find(word); it != count.end() && it->second-- > 0) ++found;
    return found;
}

// Known words found in order: the longest common subsequence.
std::size_t wordsInOrder(const std::vector<std::string>& known, const std::vector<std::string>& read) {
    std::vector<std::size_t> previous(read.size() + 1, 0), current(read.size() + 1, 0);
    for (const auto& word : known) {
        for (std::size_t j = 0; j < read.size(); ++j)
            current[j + 1] = word == read[j] ? previous[j] + 1 : std::max(previous[j + 1], current[j]);
        std::swap(previous, current);
    }
    return previous[read.size()];
}

double processCpu() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string loadAverage() {
    std::ifstream in("/proc/loadavg");
    std::string one;
    in >> one;
    return one;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

struct Page {
    std::string name, kind, image;
    std::vector<std::string> known;
    std::string read;
    std::size_t found = 0, inOrder = 0;
    std::vector<double> seconds, cpu;
};

struct Totals {
    std::size_t pages = 0, known = 0, found = 0, inOrder = 0, readWords = 0;
    double seconds = 0, cpu = 0;
    void add(const Page& page) {
        ++pages;
        known += page.known.size();
        found += page.found;
        inOrder += page.inOrder;
        readWords += wordsOf(page.read).size();
        seconds += velko::bench::percentile(page.seconds, 0.5);
        cpu += velko::bench::percentile(page.cpu, 0.5);
    }
    void print(const std::string& label) const {
        const auto percent = [](std::size_t part, std::size_t whole) {
            return whole ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 100.0;
        };
        std::printf("%-14s %5zu %6zu %8.1f %8.1f %9.2f %9.2f\n", label.c_str(), pages, known, percent(found, known),
                    percent(inOrder, known), seconds / static_cast<double>(pages), cpu / static_cast<double>(pages));
        if (known == 0) std::printf("%-14s (no text: %zu words read)\n", "", readWords);
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr,
                     "usage: bench_recognition DIR [runs] [--keep-text]\n"
                     "  VELKO_OCR_LANGUAGES: Tesseract's language list (eng)\n");
        return 2;
    }
    const std::filesystem::path dir = argv[1];
    const int runs = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    const bool keepText = argc > 3 && std::strcmp(argv[3], "--keep-text") == 0;

    std::vector<Page> pages;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().extension() != ".png") continue;
        Page page;
        page.name = entry.path().stem().string();
        page.kind = page.name.substr(0, page.name.find('.'));
        page.image = entry.path().string();
        page.known = wordsOf(readFile(std::filesystem::path(entry.path()).replace_extension(".txt")));
        pages.push_back(std::move(page));
    }
    std::sort(pages.begin(), pages.end(), [](const Page& a, const Page& b) { return a.name < b.name; });
    if (pages.empty()) {
        std::fprintf(stderr, "bench_recognition: no screenshots in %s\n", dir.c_str());
        return 1;
    }

    const char* languages = std::getenv("VELKO_OCR_LANGUAGES");
    velko::TesseractRecognizer recognizer(languages && *languages ? languages : "eng");
    const auto recognize = [&](const std::string& image) {
        std::promise<std::string> text;
        recognizer.recognizeText(image, [&](std::optional<std::vector<velko::TextObservation>> observations) {
            text.set_value(observations ? velko::ScreenshotWatcher::joinRecognizedLines(*observations) : "");
        });
        return text.get_future().get();
    };

    std::printf("load average at the start: %s\n", loadAverage().c_str());
    for (auto& page : pages) recognize(page.image);  // engines loaded, caches warm
    for (int run = 0; run < runs; ++run) {
        for (auto& page : pages) {
            const double cpuBefore = processCpu();
            const auto t0 = Clock::now();
            page.read = recognize(page.image);
            page.seconds.push_back(std::chrono::duration<double>(Clock::now() - t0).count());
            page.cpu.push_back(processCpu() - cpuBefore);
        }
    }
    for (auto& page : pages) {
        const auto read = wordsOf(page.read);
        page.found = wordsFound(page.known, read);
        page.inOrder = wordsInOrder(page.known, read);
        if (keepText) std::ofstream(dir / (page.name + ".read")) << page.read << '\n';
    }

    std::printf("\nmedian of %d runs, one screenshot at a time; recall and order in %% of the known words\n", runs);
    std::printf("%-28s %6s %8s %8s %9s %9s\n", "screenshot", "words", "recall", "order", "time s", "CPU s");
    for (const auto& page : pages)
        std::printf("%-28s %6zu %8.1f %8.1f %9.2f %9.2f\n", page.name.c_str(), page.known.size(),
                    page.known.empty() ? 100.0 : 100.0 * static_cast<double>(page.found) / page.known.size(),
                    page.known.empty() ? 100.0 : 100.0 * static_cast<double>(page.inOrder) / page.known.size(),
                    velko::bench::percentile(page.seconds, 0.5), velko::bench::percentile(page.cpu, 0.5));

    std::printf("\nper kind (time and CPU per screenshot)\n");
    std::printf("%-14s %5s %6s %8s %8s %9s %9s\n", "kind", "pages", "words", "recall", "order", "time s", "CPU s");
    std::map<std::string, Totals> kinds;
    Totals all;
    for (const auto& page : pages) {
        kinds[page.kind].add(page);
        all.add(page);
    }
    for (const auto& [kind, totals] : kinds) totals.print(kind);
    all.print("whole set");

    // Every screenshot at once, as when a folder of them arrives: when each is done.
    std::mutex mutex;
    std::vector<std::pair<double, std::string>> finished;
    std::promise<void> allDone;
    const auto t0 = Clock::now();
    for (const auto& page : pages) {
        recognizer.recognizeText(page.image, [&, name = page.name](auto) {
            std::lock_guard lock(mutex);
            finished.emplace_back(std::chrono::duration<double>(Clock::now() - t0).count(), name);
            if (finished.size() == pages.size()) allDone.set_value();
        });
    }
    allDone.get_future().wait();
    std::printf("\nburst of %zu screenshots queued in name order, done after:", pages.size());
    for (const auto& [seconds, name] : finished) std::printf(" %s %.2f s;", name.c_str(), seconds);
    std::printf("\nload average at the end: %s\n", loadAverage().c_str());
    return 0;
}
