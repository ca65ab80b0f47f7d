#include "ocr/TesseractRecognizer.h"
#include "platform/Log.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "ocr/PageLayout.h"
#include "ocr/ScreenPreparation.h"

namespace velko {

// One screenshot being read: its prepared image and areas, shared by the jobs that read them.
struct TesseractRecognizer::Screenshot {
    std::string path;
    std::string name;
    Completion done;
    std::uint64_t ticket = 0;
    PixPtr prepared, ink;
    std::mutex mutex;
    std::vector<PixelRect> pieces;  // of text lines, from each half laid out
    int halvesToLayOut = 0;
    std::vector<TextArea> areas;
    std::vector<std::vector<std::string>> lines;  // per area, each written by the job reading it
    std::atomic<std::size_t> unread{0};
};

TesseractRecognizer::TesseractRecognizer(std::string languages, std::size_t maxRecognizers)
    : pool_(maxRecognizers, std::move(languages)) {
    // Decoding failures are reported once, in the helper's own words.
    setMsgSeverity(L_SEVERITY_NONE);
}

// Running recognitions stop at their next word; the pool then drops what is queued.
TesseractRecognizer::~TesseractRecognizer() { cancel_ = true; }

std::size_t TesseractRecognizer::defaultPoolSize() {
    return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 4);
}

void TesseractRecognizer::recognizeText(const std::string& imagePath, const std::string& name, Completion done) {
    auto screenshot = std::make_shared<Screenshot>();
    screenshot->path = imagePath;
    screenshot->name = name;
    screenshot->done = std::move(done);
    screenshot->ticket = pool_.newTicket();
    pool_.post(screenshot->ticket, [this, screenshot](TesseractEngine& engine) { layOut(screenshot, engine); });
}

void TesseractRecognizer::layOut(const std::shared_ptr<Screenshot>& screenshot, TesseractEngine& engine) {
    if (!engine.ready()) {
        finish(*screenshot, std::nullopt);
        return;
    }
    PixPtr image = load(screenshot->path, screenshot->name);
    if (image) {
        screenshot->prepared = ScreenPreparation::prepare(image.get());
        if (!screenshot->prepared)
            log::warning("\"%s\" could not be prepared (out of memory?); staged without text",
                         screenshot->name.c_str());
    }
    image.reset();
    if (!screenshot->prepared) {
        finish(*screenshot, std::nullopt);
        return;
    }
    screenshot->ink = ScreenPreparation::ink(screenshot->prepared.get());
    if (!screenshot->ink) {
        finish(*screenshot, std::nullopt);
        return;
    }
    // The other half, if any, is laid out by another recogniser meanwhile.
    const int height = pixGetHeight(screenshot->ink.get());
    const auto halfway = PageLayout::halfwayRow(screenshot->ink.get());
    screenshot->halvesToLayOut = halfway ? 2 : 1;
    if (halfway) {
        pool_.post(screenshot->ticket, [this, screenshot, from = *halfway, height](TesseractEngine& engine) {
            layOutPart(screenshot, from, height, engine);
        });
    }
    layOutPart(screenshot, 0, halfway.value_or(height), engine);
}

void TesseractRecognizer::layOutPart(const std::shared_ptr<Screenshot>& screenshot, int top, int bottom,
                                     TesseractEngine& engine) {
    auto pieces = PageLayout::pieces(engine, screenshot->ink.get(), top, bottom);
    if (cancel_) return;
    {
        std::lock_guard lock(screenshot->mutex);
        screenshot->pieces.insert(screenshot->pieces.end(), pieces.begin(), pieces.end());
        if (--screenshot->halvesToLayOut != 0) return;
    }
    screenshot->areas = PageLayout::textAreas(screenshot->pieces, screenshot->ink.get(), pool_.size());
    if (screenshot->areas.empty()) {
        finish(*screenshot, std::vector<TextObservation>{});
        return;
    }
    screenshot->lines.resize(screenshot->areas.size());
    screenshot->unread = screenshot->areas.size();
    // Largest first, so that no recogniser is left with a big area while the others wait.
    std::vector<std::size_t> bySize(screenshot->areas.size());
    for (std::size_t area = 0; area < bySize.size(); ++area) bySize[area] = area;
    const auto size = [&](std::size_t area) {
        const TextArea& text = screenshot->areas[area];
        return static_cast<double>(text.rect.width()) * text.rect.height() * text.scale * text.scale;
    };
    std::stable_sort(bySize.begin(), bySize.end(), [&](std::size_t a, std::size_t b) { return size(a) > size(b); });
    for (const std::size_t area : bySize)
        pool_.post(screenshot->ticket,
                   [this, screenshot, area](TesseractEngine& engine) { read(screenshot, area, engine); });
}

void TesseractRecognizer::read(const std::shared_ptr<Screenshot>& screenshot, std::size_t area,
                               TesseractEngine& engine) {
    const TextArea& text = screenshot->areas[area];
    PixPtr image = ScreenPreparation::area(screenshot->prepared.get(), text.rect, text.scale);
    // An area that cannot be cut out or read gives its rows without text; the rest still counts.
    auto words = image ? engine.readWords(image.get(), cancel_) : std::nullopt;
    if (cancel_) return;
    screenshot->lines[area] = PageLayout::lines(text, words.value_or(std::vector<ReadWord>{}));
    if (--screenshot->unread != 0) return;

    std::vector<TextObservation> observations;
    for (auto& areaLines : screenshot->lines) {
        for (auto& line : areaLines) {
            TextObservation observation;
            // A line of nothing but spaces has no reading worth keeping.
            if (!line.empty()) observation.candidates.push_back(std::move(line));
            observations.push_back(std::move(observation));
        }
    }
    screenshot->prepared.reset();
    screenshot->ink.reset();
    finish(*screenshot, std::move(observations));
}

// Nothing is reported once the recogniser is going away.
void TesseractRecognizer::finish(Screenshot& screenshot, std::optional<std::vector<TextObservation>> observations) {
    if (!cancel_) screenshot.done(std::move(observations));
}

PixPtr TesseractRecognizer::load(const std::string& imagePath, const std::string& name) {
    l_int32 format = 0, width = 0, height = 0, bps = 0, spp = 0, colormap = 0;
    if (pixReadHeader(imagePath.c_str(), &format, &width, &height, &bps, &spp, &colormap) != 0) {
        log::warning("\"%s\" is not a readable image; staged without text", name.c_str());
        return nullptr;
    }
    // Told by the header alone, before a byte of the bitmap is made.
    if (static_cast<long long>(width) * height > maxPixels) {
        log::warning("\"%s\" is %dx%d pixels, more than the %lld million read; staged without text", name.c_str(),
                     width, height, maxPixels / 1'000'000);
        return nullptr;
    }
    PixPtr image(pixRead(imagePath.c_str()));
    if (!image) log::warning("\"%s\" could not be decoded; staged without text", name.c_str());
    return image;
}

}  // namespace velko
