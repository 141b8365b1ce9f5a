// How compiling and rendering grow with the size of a template: many tags on
// one line (configuration templates are single-line JSON strings), many tags
// on many lines, an error found at the end of a long line, and sections
// nested deep through a partial that includes itself.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include "orv/templating/template.hpp"

namespace {

using orv::templating::Escape;
using orv::templating::Partials;
using orv::templating::SyntaxError;
using orv::templating::Template;

std::string Repeat(std::string const& piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) {
    text += piece;
  }
  return text;
}

void Compile(benchmark::State& state, std::string const& text, Partials const& partials = {}) {
  for (auto _ : state) {
    Template compiled(text, Escape::None, partials);
    benchmark::DoNotOptimize(compiled);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void CompileTagsOnOneLine(benchmark::State& state) {
  Compile(state, Repeat("{{a}} ", static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(CompileTagsOnOneLine)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void CompileTagsOnManyLines(benchmark::State& state) {
  Compile(state, Repeat("{{a}}\n", static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(CompileTagsOnManyLines)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// A partial is split into lines for its indentation, which must not rescan
// the rest of a long line for every tag.
void CompilePartialTagsOnOneLine(benchmark::State& state) {
  Compile(state, "{{>p}}", {{"p", Repeat("{{a}} ", static_cast<std::size_t>(state.range(0)))}});
}
BENCHMARK(CompilePartialTagsOnOneLine)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The error names the line and column of a tag far from the last one placed.
void ReportUnclosedSectionAtTheEnd(benchmark::State& state) {
  std::string const text = Repeat("{{a}} ", static_cast<std::size_t>(state.range(0))) + "{{#b}}";
  for (auto _ : state) {
    try {
      Template compiled(text, Escape::None);
      state.SkipWithError("no syntax error");
    } catch (SyntaxError const& error) {
      benchmark::DoNotOptimize(error.GetColumn());
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ReportUnclosedSectionAtTheEnd)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// {"flag": true, "next": {"next": ... {"next": false, "end": "x"}}} with
// `levels` maps under "next".
mstch::map NestedData(std::size_t levels) {
  mstch::map data{{"flag", true}};
  mstch::map* inner = &data;
  for (std::size_t i = 0; i < levels; ++i) {
    mstch::node& next = (*inner)["next"] = mstch::map{};
    inner = &boost::get<mstch::map>(next);
  }
  (*inner)["next"] = false;
  (*inner)["end"] = std::string("x");
  return data;
}

// Every level of the partial opens 50 sections over the root's "flag" and
// one over the next "next" map: `levels` levels nest 51 sections each, and
// every "flag" is found at the bottom of the context stack.
void RenderNestedSections(benchmark::State& state) {
  auto const levels = static_cast<std::size_t>(state.range(0));
  std::string const level = Repeat("{{#flag}}", 50) + "{{#next}}{{>level}}{{/next}}{{end}}" + Repeat("{{/flag}}", 50);
  Template const compiled("{{>level}}", Escape::None, {{"level", level}});
  mstch::map const data = NestedData(levels);
  for (auto _ : state) {
    std::string text = compiled.Render(data);
    benchmark::DoNotOptimize(text);
  }
  state.counters["sections"] = static_cast<double>(51 * (levels + 1));
}
BENCHMARK(RenderNestedSections)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMillisecond);

}  // namespace
