// velko-ocr: reads the text of the images the helper names on standard input, one request a line,
// and answers each on standard output as its recognition ends (not necessarily in order). At the
// end of its input it finishes what it was given and exits. Started by the helper, never by a user:
// velko-ocr [--languages eng+deu]
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>
#include <string_view>

#include "ocr/TesseractRecognizer.h"
#include "ocrworker/RecognitionMessages.h"
#include "platform/Log.h"

int main(int argc, char** argv) {
    velko::log::programName() = "velko-ocr";
    // Whatever it is given, it reads: in English when the languages are wrong.
    std::string languages = "eng";
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--languages" && i + 1 < argc)
            languages = argv[++i];
        else
            velko::log::warning("ignoring the argument \"%s\"", argv[i]);
    }
    std::mutex mutex;
    std::condition_variable finished;
    int running = 0;
    {
        velko::TesseractRecognizer recognizer(languages);
        for (std::string line; std::getline(std::cin, line);) {
            const auto request = velko::RecognitionMessages::readRequest(line);
            if (!request) {
                // Nothing to answer without an id; the helper gives up on it when this program ends.
                velko::log::warning("a request that is not one; ignored");
                continue;
            }
            {
                std::lock_guard lock(mutex);
                ++running;
            }
            recognizer.recognizeText(request->imagePath, request->name, [&, id = request->id](auto observations) {
                const std::string answer = velko::RecognitionMessages::result({id, std::move(observations)});
                std::lock_guard lock(mutex);
                std::fwrite(answer.data(), 1, answer.size(), stdout);
                std::fflush(stdout);
                --running;
                finished.notify_all();
            });
        }
        // The recogniser cancels what still runs when it goes: wait for it first.
        std::unique_lock lock(mutex);
        finished.wait(lock, [&] { return running == 0; });
    }
    return 0;
}
