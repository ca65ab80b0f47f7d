#include "Core/UUIDGenerator.h"

#include <cstdint>
#include <cstdio>
#include <random>

namespace velko {

std::string UUIDGenerator::random() {
    // Seeded once per thread from the system's entropy; no lock, no device read per identifier.
    thread_local std::mt19937_64 generator{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    std::uint64_t high = generator();
    std::uint64_t low = generator();
    high = (high & ~0xF000ULL) | 0x4000ULL;                       // version 4
    low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08llX-%04llX-%04llX-%04llX-%012llX", static_cast<unsigned long long>(high >> 32),
                  static_cast<unsigned long long>((high >> 16) & 0xFFFF),
                  static_cast<unsigned long long>(high & 0xFFFF), static_cast<unsigned long long>(low >> 48),
                  static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
}

}  // namespace velko
