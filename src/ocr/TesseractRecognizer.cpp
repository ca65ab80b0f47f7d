#include "ocr/TesseractRecognizer.h"
#include "platform/Log.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "ocr/PageLayout.h"
#include "ocr/ScreenPreparation.h"

namespace velko {
namespace {

// A reading whose characters Tesseract is on average less sure of than this may have lost what
// preparation could not make out (a heading in grey too thick for a stroke): the whole image is
// read again as it is, and the surer reading is kept.
constexpr double doubtfulBelow = 0.75;

}  // namespace

// Characters read, and the same weighted by Tesseract's confidence in their words.
struct TesseractRecognizer::Sureness {
    double characters = 0, sure = 0;
    void add(const std::vector<ReadWord>& words) {
        for (const ReadWord& word : words) {
            const auto length = static_cast<double>(word.text.size());
            characters += length;
            sure += length * word.confidence / 100.0;
        }
    }
    bool doubtful() const { return sure < doubtfulBelow * characters || characters == 0; }
    // Sure characters count for a reading, unsure ones against it: a line of guessed dashes is
    // worse than a short word read well.
    double worth() const { return sure - (characters - sure); }
};

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
    std::vector<Sureness> sureness;               // per area, likewise
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
        screenshot->prepared.reset();
        screenshot->ink.reset();
        finish(*screenshot, readPlainIfSurer(*screenshot, {}, Sureness{}, engine));
        return;
    }
    screenshot->lines.resize(screenshot->areas.size());
    screenshot->sureness.resize(screenshot->areas.size());
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
    if (words) screenshot->sureness[area].add(*words);
    if (--screenshot->unread != 0) return;

    std::vector<TextObservation> observations;
    Sureness sureness;
    for (std::size_t a = 0; a < screenshot->lines.size(); ++a) {
        sureness.characters += screenshot->sureness[a].characters;
        sureness.sure += screenshot->sureness[a].sure;
        for (auto& line : screenshot->lines[a]) observations.push_back(observation(std::move(line)));
    }
    screenshot->prepared.reset();
    screenshot->ink.reset();
    finish(*screenshot, readPlainIfSurer(*screenshot, std::move(observations), sureness, engine));
}

TextObservation TesseractRecognizer::observation(std::string line) {
    TextObservation observation;
    // A line of nothing but spaces has no reading worth keeping.
    if (!line.empty()) observation.candidates.push_back(std::move(line));
    return observation;
}

std::optional<std::vector<TextObservation>> TesseractRecognizer::readPlainIfSurer(Screenshot& screenshot,
                                                                                  std::vector<TextObservation> prepared,
                                                                                  const Sureness& sureness,
                                                                                  TesseractEngine& engine) {
    if (!sureness.doubtful() || cancel_) return prepared;
    PixPtr image = load(screenshot.path, screenshot.name);
    auto words = image ? engine.readWords(image.get(), cancel_, TesseractEngine::Reading::plain) : std::nullopt;
    Sureness plain;
    if (words) plain.add(*words);
    if (plain.worth() <= sureness.worth()) return prepared;
    std::vector<TextObservation> observations;
    std::string line;
    for (std::size_t w = 0; w < words->size(); ++w) {
        line += (line.empty() ? "" : " ") + (*words)[w].text;
        if (w + 1 == words->size() || (*words)[w + 1].line != (*words)[w].line)
            observations.push_back(observation(std::exchange(line, {})));
    }
    return observations;
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
