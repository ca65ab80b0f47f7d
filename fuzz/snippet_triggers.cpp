// The snippet triggers' JSON from the shared suite: any bytes give the whole list or nothing with
// a reason, and a list survives velkoctl's encoding unchanged.
#include <cstddef>
#include <cstdint>

#include "Core/SharedDataReader.h"
#include "Require.h"

using namespace velko;
using Trigger = SharedDataReader::SnippetTrigger;

namespace {

bool same(const std::vector<Trigger>& a, const std::vector<Trigger>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].abbreviation != b[i].abbreviation || a[i].expansion != b[i].expansion || a[i].format != b[i].format ||
            a[i].appScope != b[i].appScope)
            return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto triggers = SharedDataReader::decodeTriggers(Bytes(data, data + size));
    if (!triggers) {
        fuzz::require(!triggers.error().empty(), "a refused list says why");
        return 0;
    }
    const std::string encoded = SharedDataReader::encodeTriggers(*triggers);
    const auto again = SharedDataReader::decodeTriggers(Bytes(encoded.begin(), encoded.end()));
    fuzz::require(bool(again), "an encoded list decodes");
    fuzz::require(same(*triggers, *again), "an encoded list decodes to the same triggers");
    return 0;
}
