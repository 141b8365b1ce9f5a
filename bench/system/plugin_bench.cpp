// What trying a plug-in costs: LoadAll of one already loaded file is the trial
// in the scanner (spawn, load, verdict, reap) and a dlopen that finds the file
// loaded. For comparison, the trial it replaced: fork this process and dlopen
// in the child, which is unsafe once other threads hold locks.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/path.hpp>
#include <stdexcept>
#include <string>

#include "orv/action/registry.hpp"
#include "orv/system/library_path.hpp"
#include "orv/system/plugin.hpp"

namespace {

namespace fs = boost::filesystem;
namespace plugin = orv::system::plugin;

fs::path const kPlugins(ORV_BENCH_PLUGINS);

void Check(plugin::Report const& report, benchmark::State& state) {
  if (report.loaded.size() != 1 || !report.failed.empty()) {
    state.SkipWithError(report.failed.empty() ? "nothing loaded" : report.failed.front().error.c_str());
  }
}

void BM_TrialOfAnEmptyPlugIn(benchmark::State& state) {
  for (auto _ : state) {
    Check(plugin::LoadAll("orv_bench_empty", {kPlugins}), state);
  }
}
BENCHMARK(BM_TrialOfAnEmptyPlugIn)->Unit(benchmark::kMillisecond)->UseRealTime();

// With liborv_action preloaded in the scanner, as the action loader does.
void BM_TrialOfAnActionPlugIn(benchmark::State& state) {
  orv::action::registry::Get();  // so that this program holds liborv_action
  plugin::Options options;
  options.preload = {orv::system::GetLibraryPath("orv_action")};
  for (auto _ : state) {
    Check(plugin::LoadAll("orv_bench_action", {kPlugins}, options), state);
  }
}
BENCHMARK(BM_TrialOfAnActionPlugIn)->Unit(benchmark::kMillisecond)->UseRealTime();

void ForkTrial(fs::path const& file) {
  pid_t const child = fork();
  if (child == 0) {
    _exit(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("the forked trial failed");
  }
}

void BM_ForkedTrialOfAnActionPlugInForComparison(benchmark::State& state) {
  fs::path const file = kPlugins / "liborv_bench_action.so";
  for (auto _ : state) {
    ForkTrial(file);
  }
}
BENCHMARK(BM_ForkedTrialOfAnActionPlugInForComparison)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
