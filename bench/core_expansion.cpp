// Cost of one typed character in the text expansion engine, with 10 to 100,000 triggers: the
// stroke goes from the tap through the buffer rules to the abbreviation lookup. Also the cost
// of building the table and the memory it takes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <set>

#include "fakes/FakeExpansionPlatform.h"

#include "BenchFigures.h"

namespace velko::test {
namespace {

// Runs every block at once, so one iteration is one whole stroke.
class ImmediateQueue : public MainQueue, public Clock {
public:
    void async(std::function<void()> fn) override { fn(); }
    void asyncAfter(double, std::function<void()> fn) override { fn(); }
    void scheduleRepeating(double, std::function<void()>) override {}
    double now() override { return 0; }
};

std::vector<SharedDataReader::SnippetTrigger> makeTriggers(std::size_t count) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> letter('a', 'z');
    std::uniform_int_distribution<int> length(3, 10);
    std::set<std::string> seen;
    std::vector<SharedDataReader::SnippetTrigger> triggers;
    while (triggers.size() < count) {
        std::string abbreviation = ";";
        for (int n = length(random); n > 0; --n) abbreviation += static_cast<char>(letter(random));
        if (seen.insert(abbreviation).second) triggers.push_back({abbreviation, "expansion", "plain", {}});
    }
    return triggers;
}

// Words of lower-case letters, a few accented, between spaces; never a semicolon, so nothing fires
// and every stroke pays the full lookup.
std::vector<std::string> makeStrokes() {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> letter('a', 'z');
    std::uniform_int_distribution<int> roll(0, 99);
    std::vector<std::string> strokes;
    while (strokes.size() < 4096) {
        const int r = roll(random);
        if (r < 15)
            strokes.push_back(" ");
        else if (r < 18)
            strokes.push_back("\xC3\xA9");
        else
            strokes.push_back(std::string(1, static_cast<char>(letter(random))));
    }
    return strokes;
}

long residentKiB() { return velko::bench::statusKiB("self", "VmRSS:"); }

struct Engine : ExpansionRig<ImmediateQueue> {
    explicit Engine(std::size_t triggers) {
        reader.snippetTriggers = makeTriggers(triggers);
        engine.start();
        focus.set(Focus{"org.gnome.TextEditor"});  // known, not a password field: asked per key
    }
};

void TypedCharacter(benchmark::State& state) {
    Engine e(static_cast<std::size_t>(state.range(0)));
    const auto strokes = makeStrokes();
    std::size_t i = 0;
    for (auto _ : state) e.tap.stroke(strokes[i++ % strokes.size()]);
    if (!e.pasteboard.log.empty()) state.SkipWithError("an expansion fired");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TypedCharacter)->Arg(10)->Arg(1000)->Arg(100000);

void BuildTable(benchmark::State& state) {
    const auto triggers = makeTriggers(static_cast<std::size_t>(state.range(0)));
    long grown = 0;
    for (auto _ : state) {
        const long before = residentKiB();
        AbbreviationIndex index;
        index.build(triggers);
        grown = std::max(grown, residentKiB() - before);
        benchmark::DoNotOptimize(index);
    }
    state.counters["table_KiB"] = static_cast<double>(grown);
}
BENCHMARK(BuildTable)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velko::test
