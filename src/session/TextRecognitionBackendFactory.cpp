#include "session/TextRecognitionBackendFactory.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "ocrworker/TextRecognitionProcess.h"

namespace velko {

TextRecognitionBackendFactory::Choice TextRecognitionBackendFactory::choose() {
    using namespace std::chrono_literals;
    // Installed under the prefix's lib/velko-helper; beside the helper in the build tree.
    const QString dir = QCoreApplication::applicationDirPath();
    const QString installed = dir + "/../lib/velko-helper/velko-ocr", built = dir + "/velko-ocr";
    const QFileInfo program(QFileInfo(installed).isExecutable() || !QFileInfo(built).isExecutable() ? installed
                                                                                                    : built);
    // Ten seconds keeps a series of screenshots on one engine; two minutes without an answer is a
    // recognition that hangs, not a slow one. Two GiB of address space holds four 8K screens
    // read at once (each about 250 MB) beside the engines; no image can take the machine.
    constexpr std::uint64_t memoryLimit = 2ull << 30;
    auto recognizer =
        std::make_unique<TextRecognitionProcess>(program.absoluteFilePath().toStdString(), 10s, 120s, memoryLimit);
    if (!program.isExecutable())
        return {std::move(recognizer),
                {"Text recognition", "off",
                 program.absoluteFilePath().toStdString() + " is missing; no screenshot gets text"}};
    return {std::move(recognizer),
            {"Text recognition", "Tesseract (LSTM, English)", "in velko-ocr, started for the first screenshot"}};
}

}  // namespace velko
