// Rendering the sample mail over event-shaped template data: Template against
// mstch::render of the same tree and template, and against building the tree.

#include <benchmark/benchmark.h>

#include <string>

#include "orv/templating/template.hpp"
#include "sample_event.hpp"

namespace {

using orv::templating::Escape;
using orv::templating::Template;
namespace sample = orv::templating::sample;

void BuildTree(benchmark::State& state) {
  for (auto _ : state) {
    mstch::map event = sample::MakeEvent();
    benchmark::DoNotOptimize(event);
  }
  state.counters["nodes"] = static_cast<double>(sample::CountNodes(sample::MakeEvent()));
}
BENCHMARK(BuildTree);

void Compile(benchmark::State& state) {
  for (auto _ : state) {
    Template compiled(sample::kMailTemplate, Escape::Html);
    benchmark::DoNotOptimize(compiled);
  }
}
BENCHMARK(Compile);

void Render(benchmark::State& state) {
  Template const mail(sample::kMailTemplate, Escape::Html);
  mstch::map const event = sample::MakeEvent();
  for (auto _ : state) {
    std::string text = mail.Render(event);
    benchmark::DoNotOptimize(text);
  }
  state.counters["bytes"] = static_cast<double>(mail.Render(event).size());
}
BENCHMARK(Render);

void RenderPlainText(benchmark::State& state) {
  Template const mail(sample::kMailTemplate, Escape::None);
  mstch::map const event = sample::MakeEvent();
  for (auto _ : state) {
    std::string text = mail.Render(event);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(RenderPlainText);

void MstchRender(benchmark::State& state) {
  mstch::map const event = sample::MakeEvent();
  for (auto _ : state) {
    std::string text = mstch::render(sample::kMailTemplate, event);
    benchmark::DoNotOptimize(text);
  }
  state.counters["bytes"] = static_cast<double>(mstch::render(sample::kMailTemplate, event).size());
}
BENCHMARK(MstchRender);

void BuildTreeAndRender(benchmark::State& state) {
  Template const mail(sample::kMailTemplate, Escape::Html);
  for (auto _ : state) {
    std::string text = mail.Render(sample::MakeEvent());
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BuildTreeAndRender);

void FindMissingNames(benchmark::State& state) {
  Template const mail(sample::kMailTemplate, Escape::Html);
  mstch::map const event = sample::MakeEvent();
  for (auto _ : state) {
    auto missing = mail.FindMissingNames(event);
    benchmark::DoNotOptimize(missing);
  }
}
BENCHMARK(FindMissingNames);

}  // namespace
