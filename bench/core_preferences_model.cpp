// Building the preferences window's model from its inputs (done once per window opened).
#include <benchmark/benchmark.h>

#include "Views/PreferencesWindowModel.h"

namespace {

void BM_BuildPreferencesModel(benchmark::State& state) {
    velko::PreferencesWindowModel::Inputs inputs;
    inputs.bundleVersion = "2.4.1";
    inputs.accessibilityGranted = state.range(0) != 0;
    inputs.mainApplicationPresent = true;
    inputs.features = velko::PreferencesWindowModel::features(true, false, true);
    inputs.ruleCount = 12;
    for (auto _ : state) benchmark::DoNotOptimize(velko::PreferencesWindowModel::build(inputs));
}
BENCHMARK(BM_BuildPreferencesModel)->Arg(0)->Arg(1);

}  // namespace
