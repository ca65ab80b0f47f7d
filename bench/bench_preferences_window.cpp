// Cost of opening the preferences window: building its widgets, and building plus drawing them
// once (what "Preferences..." costs before the window can appear); and the memory a window holds.
// Runs on any Qt platform; QT_QPA_PLATFORM=offscreen needs no display.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <cstdio>
#include <memory>
#include <vector>

#include "qt/BundledImages.h"
#include "qt/QtPreferencesWindow.h"

#include "BenchFigures.h"

namespace {

struct Ignore : velko::ButtonTarget {
    void perform(velko::ButtonAction) override {}
} target;

velko::PreferencesWindowModel model() {
    velko::PreferencesWindowModel::Inputs inputs;
    inputs.bundleVersion = "2.4.1";
    inputs.features = velko::PreferencesWindowModel::features(false, false, true);
    return velko::PreferencesWindowModel::build(inputs);
}

void BM_BuildWindow(benchmark::State& state) {
    const auto m = model();
    for (auto _ : state) {
        velko::QtPreferencesWindow window(m, target);
        benchmark::DoNotOptimize(&window);
    }
}
BENCHMARK(BM_BuildWindow)->Unit(benchmark::kMillisecond);

void BM_BuildAndDrawWindow(benchmark::State& state) {
    const auto m = model();
    for (auto _ : state) {
        velko::QtPreferencesWindow window(m, target);
        benchmark::DoNotOptimize(window.widget().grab());
    }
}
BENCHMARK(BM_BuildAndDrawWindow)->Unit(benchmark::kMillisecond);

long residentKiB() { return velko::bench::statusKiB("self", "VmRSS:"); }

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();

    // Memory held by open windows, after a first one has loaded fonts and the style.
    const auto m = model();
    std::vector<std::unique_ptr<velko::QtPreferencesWindow>> windows;
    windows.push_back(std::make_unique<velko::QtPreferencesWindow>(m, target));
    windows.back()->widget().grab();
    const long before = residentKiB();
    for (int i = 0; i < 20; ++i) {
        windows.push_back(std::make_unique<velko::QtPreferencesWindow>(m, target));
        windows.back()->widget().grab();
    }
    std::printf("resident memory per additional drawn window: %.0f KiB\n", (residentKiB() - before) / 20.0);
    return 0;
}
