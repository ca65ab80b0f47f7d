// velko-test-wayland-slow-owner MIN-MAX TYPE=FILE...: owns the Wayland clipboard through data-control
// with these types and takes MIN to MAX milliseconds before giving each requested one, one request
// after the other. Prints "owned" once the compositor has the selection, and serves until killed.
#include <unistd.h>
#include <wayland-client.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "wayland/wlr-data-control-unstable-v1-client-protocol.h"

namespace {

struct Owner {
    zwlr_data_control_manager_v1* manager = nullptr;
    wl_seat* seat = nullptr;
    std::map<std::string, std::string> types;
    int minMs = 0, maxMs = 0;
    std::mt19937 random{std::random_device{}()};
};

void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
    auto* owner = static_cast<Owner*>(data);
    if (std::strcmp(interface, zwlr_data_control_manager_v1_interface.name) == 0)
        owner->manager = static_cast<zwlr_data_control_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_data_control_manager_v1_interface, 1));
    if (std::strcmp(interface, wl_seat_interface.name) == 0 && !owner->seat)
        owner->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
}
void globalRemove(void*, wl_registry*, std::uint32_t) {}
constexpr wl_registry_listener registryListener{global, globalRemove};

void send(void* data, zwlr_data_control_source_v1*, const char* type, std::int32_t fd) {
    auto* owner = static_cast<Owner*>(data);
    std::uniform_int_distribution<int> delay(owner->minMs, owner->maxMs);
    std::this_thread::sleep_for(std::chrono::milliseconds(delay(owner->random)));
    const std::string& bytes = owner->types[type];
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + written, bytes.size() - written);
        if (n <= 0) break;
        written += static_cast<std::size_t>(n);
    }
    close(fd);
}
void cancelled(void*, zwlr_data_control_source_v1*) { std::exit(0); }
constexpr zwlr_data_control_source_v1_listener sourceListener{send, cancelled};

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);  // a reader that gave up closes its end
    Owner owner;
    if (argc < 3 || std::sscanf(argv[1], "%d-%d", &owner.minMs, &owner.maxMs) != 2) return 2;
    wl_display* display = wl_display_connect(nullptr);
    if (!display) return 1;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, &owner);
    wl_display_roundtrip(display);
    if (!owner.manager || !owner.seat) return 1;
    auto* source = zwlr_data_control_manager_v1_create_data_source(owner.manager);
    zwlr_data_control_source_v1_add_listener(source, &sourceListener, &owner);
    for (int i = 2; i < argc; ++i) {
        const std::string entry = argv[i];
        const auto equals = entry.rfind('=');
        std::ifstream file(entry.substr(equals + 1), std::ios::binary);
        owner.types[entry.substr(0, equals)] = std::string(std::istreambuf_iterator<char>(file), {});
        zwlr_data_control_source_v1_offer(source, entry.substr(0, equals).c_str());
    }
    auto* device = zwlr_data_control_manager_v1_get_data_device(owner.manager, owner.seat);
    zwlr_data_control_device_v1_set_selection(device, source);
    wl_display_roundtrip(display);
    std::puts("owned");
    std::fflush(stdout);
    while (wl_display_dispatch(display) >= 0) {
    }
    return 0;
}
