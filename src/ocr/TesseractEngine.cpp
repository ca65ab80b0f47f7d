#include "ocr/TesseractEngine.h"
#include "platform/Log.h"

#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>

#include <cstdio>
#include <mutex>

namespace velko {
namespace {

bool stopRequested(void* stop, int) { return static_cast<const std::atomic<bool>*>(stop)->load(); }

// Codes of letters, digits and '_' joined by '+': a path or an option never reaches Tesseract.
bool isLanguageList(const std::string& languages) {
    bool code = false;
    for (const char c : languages) {
        if (c == '+' && code) {
            code = false;
        } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_') {
            code = true;
        } else {
            return false;
        }
    }
    return code;
}

// The list of what was loaded, "eng+deu".
std::string loaded(tesseract::TessBaseAPI& api) {
    std::vector<std::string> languages;
    api.GetLoadedLanguagesAsVector(&languages);
    std::string out;
    for (const auto& language : languages) out += (out.empty() ? "" : "+") + language;
    return out;
}

}  // namespace

TesseractEngine::TesseractEngine(std::string languages) : languages_(std::move(languages)) {}
TesseractEngine::~TesseractEngine() = default;

bool TesseractEngine::ready() {
    if (api_ || failed_) return !failed_;
    auto api = std::make_unique<tesseract::TessBaseAPI>();
    static std::once_flag saidLanguages, saidEnglish;
    const bool valid = isLanguageList(languages_);
    if (valid && api->Init(nullptr, languages_.c_str(), tesseract::OEM_LSTM_ONLY) == 0) {
        // A model it cannot load is left out of the list, not an error.
        if (const std::string read = loaded(*api); read != languages_)
            std::call_once(saidLanguages, [&] {
                log::warning("Tesseract has no model for some of %s; reading in %s", languages_.c_str(), read.c_str());
            });
    } else {
        if (languages_ != "eng")
            std::call_once(saidLanguages, [&] {
                log::warning("Tesseract cannot read in %s%s; reading in English", valid ? "" : "the bad language list ",
                             languages_.c_str());
            });
        api = std::make_unique<tesseract::TessBaseAPI>();
        if (api->Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0) {
            std::call_once(saidEnglish, [] {
                log::warning("Tesseract has no English LSTM model; screenshots are staged without text");
            });
            failed_ = true;
            return false;
        }
    }
    api->SetVariable("debug_file", "/dev/null");  // its chatter is not the user's concern
    // Prepared images are dark on light everywhere; reading a doubtful line again inverted only
    // costs time.
    api->SetVariable("tessedit_do_invert", "0");
    api_ = std::move(api);
    return true;
}

// Sparse-text layout finds every piece of text, also in tables and toolbars, and no columns: the
// reading order is worked out from the pieces.
std::vector<PixelRect> TesseractEngine::lineBoxes(Pix* ink) {
    std::vector<PixelRect> boxes;
    if (!ready()) return boxes;
    api_->SetPageSegMode(tesseract::PSM_SPARSE_TEXT);
    api_->SetImage(ink);
    std::unique_ptr<tesseract::PageIterator> line(api_->AnalyseLayout());
    if (line && !line->Empty(tesseract::RIL_TEXTLINE)) {
        do {
            PixelRect box;
            if (PTIsTextType(line->BlockType()) &&
                line->BoundingBox(tesseract::RIL_TEXTLINE, &box.left, &box.top, &box.right, &box.bottom))
                boxes.push_back(box);
        } while (line->Next(tesseract::RIL_TEXTLINE));
    }
    line.reset();
    api_->Clear();
    return boxes;
}

std::optional<std::vector<ReadWord>> TesseractEngine::readWords(Pix* image, const std::atomic<bool>& stop,
                                                                Reading reading) {
    if (!ready()) return std::nullopt;
    const bool plain = reading == Reading::plain;
    api_->SetPageSegMode(plain ? tesseract::PSM_AUTO : tesseract::PSM_SINGLE_BLOCK);
    api_->SetVariable("tessedit_do_invert", plain ? "1" : "0");
    api_->SetImage(image);
    tesseract::ETEXT_DESC monitor;
    monitor.cancel = &stopRequested;
    monitor.cancel_this = const_cast<std::atomic<bool>*>(&stop);
    std::optional<std::vector<ReadWord>> words;
    if (api_->Recognize(&monitor) == 0 && !stop) {
        words.emplace();
        std::unique_ptr<tesseract::ResultIterator> word(api_->GetIterator());
        std::size_t line = 0;
        if (word && !word->Empty(tesseract::RIL_WORD)) {
            do {
                if (word->IsAtBeginningOf(tesseract::RIL_TEXTLINE) && !words->empty()) ++line;
                ReadWord read;
                std::unique_ptr<char[]> text(word->GetUTF8Text(tesseract::RIL_WORD));
                read.text = text ? text.get() : "";
                read.line = line;
                read.confidence = word->Confidence(tesseract::RIL_WORD);
                if (!read.text.empty() && word->BoundingBox(tesseract::RIL_WORD, &read.box.left, &read.box.top,
                                                            &read.box.right, &read.box.bottom))
                    words->push_back(std::move(read));
            } while (word->Next(tesseract::RIL_WORD));
        }
    }
    api_->Clear();
    return words;
}

}  // namespace velko
