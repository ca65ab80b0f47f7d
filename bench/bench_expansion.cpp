// Last key of an abbreviation to the expansion visible in a GTK text field, on a running X
// server with the helper and a focused zenity entry (see run-expansion-bench).
//
// The abbreviation is typed through XTEST. RECORD then watches the field's own X client: its
// request for the clipboard (the paste arriving), its read of the pasted text, and the first
// drawing request after that, when the expansion is on screen.
#include <xcb/record.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "BenchFigures.h"

namespace {

using namespace velko::bench;

struct Request {
    std::uint8_t major;
    std::uint8_t minor;
    Clock::time_point seen;
};

// Every request one client sends, as RECORD reports it.
class ClientRequests {
public:
    bool start(std::uint32_t clientResource) {
        control_ = xcb_connect(nullptr, nullptr);
        data_ = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(control_) || xcb_connection_has_error(data_)) return false;
        const auto context = xcb_generate_id(control_);
        xcb_record_range_t range{};
        range.core_requests.first = 1;
        range.core_requests.last = 127;
        range.ext_requests.major.first = 128;
        range.ext_requests.major.last = 255;
        range.ext_requests.minor.first = 0;
        range.ext_requests.minor.last = 0xFFFF;
        xcb_record_client_spec_t client = clientResource;
        if (auto* error = xcb_request_check(
                control_, xcb_record_create_context_checked(control_, context, 0, 1, 1, &client, &range))) {
            std::free(error);
            return false;
        }
        const auto cookie = xcb_record_enable_context(data_, context);
        std::free(xcb_record_enable_context_reply(data_, cookie, nullptr));  // start of data
        thread_ = std::thread([this, cookie] {
            while (auto* reply = xcb_record_enable_context_reply(data_, cookie, nullptr)) {
                const auto now = Clock::now();
                if (reply->category == 1) {  // from the client
                    const std::uint8_t* bytes = xcb_record_enable_context_data(reply);
                    const int length = xcb_record_enable_context_data_length(reply);
                    std::lock_guard lock(mutex_);
                    for (int i = 0; i + 4 <= length;) {
                        std::uint32_t words = bytes[i + 2] | (bytes[i + 3] << 8);
                        if (words == 0 && i + 8 <= length)  // BIG-REQUESTS
                            std::memcpy(&words, bytes + i + 4, 4);
                        requests_.push_back({bytes[i], bytes[i + 1], now});
                        i += static_cast<int>(std::max<std::uint32_t>(words, 1) * 4);
                    }
                    seen_.notify_all();
                }
                std::free(reply);
            }
        });
        return true;
    }
    std::size_t count() {
        std::lock_guard lock(mutex_);
        return requests_.size();
    }
    // The first request from index `from` on that satisfies match, waiting up to timeout.
    std::optional<std::size_t> waitFor(std::size_t from, const std::function<bool(const Request&)>& match,
                                       std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        const auto deadline = Clock::now() + timeout;
        for (std::size_t i = from;; ++i) {
            if (!seen_.wait_until(lock, deadline, [&] { return requests_.size() > i; })) return std::nullopt;
            if (match(requests_[i])) return i;
        }
    }
    Request at(std::size_t i) {
        std::lock_guard lock(mutex_);
        return requests_[i];
    }
    void dump(std::size_t from, Clock::time_point t0) {
        std::lock_guard lock(mutex_);
        for (std::size_t i = from; i < requests_.size(); ++i)
            std::fprintf(stderr, "  %7.2f ms  request %u/%u\n", ms(requests_[i].seen - t0), requests_[i].major,
                         requests_[i].minor);
    }
    void detach() { thread_.detach(); }

private:
    xcb_connection_t* control_ = nullptr;
    xcb_connection_t* data_ = nullptr;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable seen_;
    std::vector<Request> requests_;
};

std::uint8_t extensionMajor(xcb_connection_t* c, const char* name) {
    auto* reply = xcb_query_extension_reply(c, xcb_query_extension(c, std::strlen(name), name), nullptr);
    const std::uint8_t major = reply && reply->present ? reply->major_opcode : 0;
    std::free(reply);
    return major;
}

void key(xcb_connection_t* c, std::uint8_t keycode) {
    xcb_test_fake_input(c, XCB_KEY_PRESS, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_test_fake_input(c, XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_flush(c);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_expansion FIELD-WINDOW-ID [rounds] [verbose]\n");
        return 2;
    }
    const auto field = static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 0));
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 20;
    const bool verbose = argc > 3;

    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) return 1;
    // Core drawing requests, and every request of the extensions GTK draws with.
    const std::uint8_t render = extensionMajor(c, "RENDER");
    const std::uint8_t shm = extensionMajor(c, "MIT-SHM");
    const std::uint8_t present = extensionMajor(c, "Present");
    auto draws = [&](const Request& r) {
        return r.major == XCB_PUT_IMAGE || r.major == XCB_COPY_AREA || r.major == XCB_POLY_FILL_RECTANGLE ||
               r.major == XCB_CLEAR_AREA || (render && r.major == render) || (shm && r.major == shm) ||
               (present && r.major == present);
    };

    ClientRequests requests;
    if (!requests.start(field)) {
        std::fprintf(stderr, "bench_expansion: the X server offers no RECORD for that window\n");
        return 1;
    }

    // ";sig" on the US layout's keys (evdev + 8): semicolon, s, i, g; space between rounds.
    const std::uint8_t abbreviation[] = {47, 39, 31, 42};
    const std::uint8_t space = 65;
    std::vector<double> toConvert, toVisible;
    int lost = 0;
    for (int round = 0; round < rounds; ++round) {
        key(c, space);
        for (std::size_t k = 0; k + 1 < sizeof abbreviation; ++k) {
            key(c, abbreviation[k]);
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // let the echo of the typing settle
        const std::size_t before = requests.count();
        const auto t0 = Clock::now();
        key(c, abbreviation[sizeof abbreviation - 1]);

        // The paste: the field asks for the clipboard, reads what came, then draws.
        const auto convert = requests.waitFor(
            before, [](const Request& r) { return r.major == XCB_CONVERT_SELECTION; }, std::chrono::seconds(2));
        const auto read = convert ? requests.waitFor(
                                        *convert, [](const Request& r) { return r.major == XCB_GET_PROPERTY; },
                                        std::chrono::seconds(2))
                                  : std::nullopt;
        const auto drawn = read ? requests.waitFor(*read, draws, std::chrono::seconds(2)) : std::nullopt;
        if (verbose) requests.dump(before, t0);
        if (!drawn) {
            ++lost;
        } else {
            toConvert.push_back(ms(requests.at(*convert).seen - t0));
            toVisible.push_back(ms(requests.at(*drawn).seen - t0));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(900));  // past the restore and the rate limit
    }
    std::printf("last key -> field asks for the pasted text: median %.1f ms (min %.1f, max %.1f)\n",
                percentile(toConvert, 0.5), percentile(toConvert, 0), percentile(toConvert, 1));
    std::printf(
        "last key -> expansion drawn in the field:   median %.1f ms (min %.1f, max %.1f) over %zu rounds, "
        "%d lost\n",
        percentile(toVisible, 0.5), percentile(toVisible, 0), percentile(toVisible, 1), toVisible.size(), lost);
    std::fflush(stdout);
    requests.detach();
    std::_Exit(0);
}
