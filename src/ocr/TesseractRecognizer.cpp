#include "ocr/TesseractRecognizer.h"

#include <leptonica/allheaders.h>
#include <omp.h>
#include <sys/resource.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace velko {
namespace {

// Nice value of the recogniser threads: background work that must not slow the desktop.
constexpr int utilityNice = 10;

std::string withoutTrailingSpace(const char* text) {
    std::string line(text ? text : "");
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ' || line.back() == '\t' || line.back() == '\r'))
        line.pop_back();
    return line;
}

struct PixDeleter {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};

}  // namespace

TesseractRecognizer::TesseractRecognizer(std::size_t maxRecognizers)
    : pool_("velko-ocr", maxRecognizers, [] {
          ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), utilityNice);
          // No OpenMP team for this thread's parallel regions (a per-thread setting): one core per
          // recognition, as the class comment explains.
          omp_set_max_active_levels(0);
      }) {
    // Decoding failures are reported once, in the helper's own words.
    setMsgSeverity(L_SEVERITY_NONE);
}

// Running recognitions stop at their next word; the pool then drops what is queued.
TesseractRecognizer::~TesseractRecognizer() { cancel_ = true; }

std::size_t TesseractRecognizer::defaultPoolSize() { return std::thread::hardware_concurrency() > 1 ? 2 : 1; }

void TesseractRecognizer::recognizeText(const std::string& imagePath, Completion done) {
    pool_.async([this, imagePath, done = std::move(done)] { recognize(imagePath, done); });
}

bool TesseractRecognizer::cancelRequested(void* self, int) {
    return static_cast<TesseractRecognizer*>(self)->cancel_.load();
}

void TesseractRecognizer::recognize(const std::string& imagePath, const Completion& done) {
    // One engine per pool thread, loaded by its first job.
    thread_local std::unique_ptr<tesseract::TessBaseAPI> engine;
    thread_local bool engineFailed = false;
    if (!engine && !engineFailed) {
        engine = std::make_unique<tesseract::TessBaseAPI>();
        if (engine->Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0) {
            std::fputs("velko-helper: Tesseract has no English LSTM model; screenshots are staged without text\n",
                       stderr);
            engine.reset();
            engineFailed = true;
        } else {
            engine->SetPageSegMode(tesseract::PSM_AUTO);
            engine->SetVariable("debug_file", "/dev/null");  // its chatter is not the user's concern
        }
    }
    if (!engine) {
        done(std::nullopt);
        return;
    }

    l_int32 format = 0, width = 0, height = 0, bps = 0, spp = 0, colormap = 0;
    if (pixReadHeader(imagePath.c_str(), &format, &width, &height, &bps, &spp, &colormap) != 0) {
        std::fputs("velko-helper: a screenshot is not a readable image; staged without text\n", stderr);
        done(std::nullopt);
        return;
    }
    if (static_cast<long long>(width) * height > maxPixels) {
        std::fprintf(stderr, "velko-helper: a %dx%d screenshot is too large to read; staged without text\n", width,
                     height);
        done(std::nullopt);
        return;
    }
    std::unique_ptr<Pix, PixDeleter> pix(pixRead(imagePath.c_str()));
    if (!pix) {
        std::fputs("velko-helper: a screenshot could not be decoded; staged without text\n", stderr);
        done(std::nullopt);
        return;
    }

    engine->SetImage(pix.get());
    tesseract::ETEXT_DESC monitor;
    monitor.cancel = &TesseractRecognizer::cancelRequested;
    monitor.cancel_this = this;
    const bool recognized = engine->Recognize(&monitor) == 0;
    if (cancel_) return;

    std::optional<std::vector<TextObservation>> observations;
    if (recognized) {
        observations.emplace();
        std::unique_ptr<tesseract::ResultIterator> line(engine->GetIterator());
        if (line && !line->Empty(tesseract::RIL_TEXTLINE)) {
            do {
                std::unique_ptr<char[]> text(line->GetUTF8Text(tesseract::RIL_TEXTLINE));
                TextObservation observation;
                // A line of nothing but spaces has no reading worth keeping.
                if (auto reading = withoutTrailingSpace(text.get()); !reading.empty())
                    observation.candidates.push_back(std::move(reading));
                observations->push_back(std::move(observation));
            } while (line->Next(tesseract::RIL_TEXTLINE));
        }
    }
    engine->Clear();
    pix.reset();
    done(std::move(observations));
}

}  // namespace velko
