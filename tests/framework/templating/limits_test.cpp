// Rendering stays bounded whatever the template and the data: in the text it
// produces, in the steps it takes, and in the thread's stack.

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "orv/templating/template.hpp"
#include "print.hpp"

namespace orv::templating {
namespace {

using Text = std::string;
using Missing = std::vector<MissingName>;

Text Repeat(Text const& piece, std::size_t count) {
  Text text;
  for (std::size_t i = 0; i < count; ++i) {
    text += piece;
  }
  return text;
}

Text LengthError(std::function<void()> const& action) {
  try {
    action();
  } catch (std::length_error const& error) {
    return error.what();
  }
  return "no exception";
}

TEST(RenderedSize, IsOneMebibyteByDefault) {
  Template const compiled("{{a}}");
  EXPECT_EQ(compiled.GetMaxRenderedSize(), kDefaultMaxRenderedSize);
  EXPECT_EQ(kDefaultMaxRenderedSize, 1048576U);
  EXPECT_EQ(compiled.Render(mstch::map{{"a", Text(kDefaultMaxRenderedSize, 'x')}}).size(), kDefaultMaxRenderedSize);
  EXPECT_EQ(LengthError([&] {
              compiled.Render(mstch::map{{"a", Text(kDefaultMaxRenderedSize + 1, 'x')}});
            }),
            "the rendered text would be longer than 1048576 bytes, the limit of one rendering");
}

// A list of 2000 texts, each written once for every element: 40 MB of text,
// stopped at the limit instead.
TEST(RenderedSize, StopsATemplateThatMultipliesAList) {
  mstch::array list(2000, Text("0123456789"));
  mstch::map const data{{"list", list}};
  Template const compiled("{{#list}}{{#list}}{{.}}{{/list}}{{/list}}", Escape::None);
  Text out;
  EXPECT_EQ(LengthError([&] { compiled.RenderTo(data, out); }),
            "the rendered text would be longer than 1048576 bytes, the limit of one rendering");
  EXPECT_LE(out.size(), kDefaultMaxRenderedSize);
  EXPECT_GT(out.size(), kDefaultMaxRenderedSize - 10);
}

TEST(RenderedSize, IsSetPerTemplate) {
  Template const original("{{a}}-", Escape::None);
  Template const small = original.WithMaxRenderedSize(4);
  EXPECT_EQ(small.GetMaxRenderedSize(), 4U);
  EXPECT_EQ(original.GetMaxRenderedSize(), kDefaultMaxRenderedSize);
  EXPECT_EQ(small.GetEscape(), Escape::None);
  EXPECT_EQ(small.Render(mstch::map{{"a", Text("abc")}}), "abc-");
  EXPECT_EQ(LengthError([&] {
              small.Render(mstch::map{{"a", Text("abcd")}});
            }),
            "the rendered text would be longer than 4 bytes, the limit of one rendering");
  EXPECT_EQ(original.Render(mstch::map{{"a", Text("abcd")}}), "abcd-");
  // Static text and numbers count too.
  EXPECT_EQ(LengthError([&] { Template("12345").WithMaxRenderedSize(4).Render(mstch::map{}); }),
            "the rendered text would be longer than 4 bytes, the limit of one rendering");
  EXPECT_EQ(LengthError([&] {
              Template("{{n}}{{n}}").WithMaxRenderedSize(5).Render(mstch::map{{"n", 123}});
            }),
            "the rendered text would be longer than 5 bytes, the limit of one rendering");
  EXPECT_EQ(LengthError([&] {
              Template("{{t}}{{t}}").WithMaxRenderedSize(7).Render(mstch::map{{"t", true}});
            }),
            "the rendered text would be longer than 7 bytes, the limit of one rendering");
}

TEST(RenderedSize, IsSetPerCall) {
  Template const compiled("{{a}}", Escape::None);
  mstch::map const data{{"a", Text("abcdef")}};
  mstch::node const node = data;
  EXPECT_EQ(compiled.Render(data, 6), "abcdef");
  EXPECT_EQ(compiled.Render(node, 6), "abcdef");
  EXPECT_EQ(LengthError([&] { compiled.Render(data, 5); }),
            "the rendered text would be longer than 5 bytes, the limit of one rendering");
  EXPECT_EQ(LengthError([&] { compiled.Render(node, 5); }),
            "the rendered text would be longer than 5 bytes, the limit of one rendering");
  // The call's limit replaces the template's, also when it is larger.
  EXPECT_EQ(compiled.WithMaxRenderedSize(1).Render(data, 6), "abcdef");
  // Zero allows the empty text only; the largest size, any text.
  EXPECT_EQ(Template("{{#a}}{{/a}}").Render(data, 0), "");
  EXPECT_EQ(compiled.Render(data, std::numeric_limits<std::size_t>::max()), "abcdef");
}

TEST(RenderedSize, CountsWhatRenderToAppends) {
  Template const compiled("{{a}}", Escape::None);
  mstch::map const data{{"a", Text("abc")}};
  Text out(100, '.');
  compiled.RenderTo(data, out, 3);
  EXPECT_EQ(out, Text(100, '.') + "abc");
  compiled.RenderTo(mstch::node(data), out, 3);
  EXPECT_EQ(out.size(), 106U);
  EXPECT_EQ(LengthError([&] { compiled.RenderTo(data, out, 2); }),
            "the rendered text would be longer than 2 bytes, the limit of one rendering");
  EXPECT_EQ(out.size(), 106U);
}

// Escaping can only lengthen a value: what is left after the error is cut
// to the limit.
TEST(RenderedSize, CountsEscapedText) {
  mstch::map const data{{"a", Text("<<<<")}};
  EXPECT_EQ(Template("{{a}}", Escape::Html).Render(data, 16), "&lt;&lt;&lt;&lt;");
  Text out;
  EXPECT_EQ(LengthError([&] { Template("{{a}}", Escape::Html).RenderTo(data, out, 15); }),
            "the rendered text would be longer than 15 bytes, the limit of one rendering");
  EXPECT_EQ(out, "&lt;&lt;&lt;&lt");
  EXPECT_EQ(LengthError([&] {
              Template("{{a}}", Escape::Url).Render(mstch::map{{"a", Text("  ")}}, 5);
            }),
            "the rendered text would be longer than 5 bytes, the limit of one rendering");
  EXPECT_EQ(Template("{{a}}", Escape::Json).Render(mstch::map{{"a", Text("\n")}}, 2), "\\n");
}

TEST(RenderedSize, CountsIndentation) {
  Template const compiled("    {{>p}}\n", Escape::None, {{"p", "a\nb\n"}});
  EXPECT_EQ(compiled.Render(mstch::map{}, 12), "    a\n    b\n");
  EXPECT_EQ(LengthError([&] { compiled.Render(mstch::map{}, 11); }),
            "the rendered text would be longer than 11 bytes, the limit of one rendering");
  EXPECT_EQ(LengthError([&] { compiled.Render(mstch::map{}, 7); }),
            "the rendered text would be longer than 7 bytes, the limit of one rendering");
}

// Thirty sections over a list of two elements would repeat the innermost
// body 2^30 times while writing nothing.
TEST(Steps, StopSectionsThatRepeatForYears) {
  EXPECT_EQ(kMinStepBudgetBytes, 16384U);
  mstch::map const data{{"a", mstch::array{Text("1"), Text("2")}}};
  Template const compiled(Repeat("{{#a}}", 30) + Repeat("{{/a}}", 30));
  // A limit below 16 KiB counts as 16 KiB: 64 steps per byte of it.
  EXPECT_EQ(LengthError([&] { compiled.Render(data, 0); }),
            "rendering stopped after 1048576 steps, the most allowed (64 per byte of the rendering limit, at least "
            "16 KiB): sections over lists repeat their bodies too often for this data");
  EXPECT_EQ(LengthError([&] { compiled.WithMaxRenderedSize(1000).FindMissingNames(data); }),
            "checking stopped after 1048576 steps, the most allowed (64 per byte of the rendering limit, at least "
            "16 KiB): sections over lists repeat their bodies too often for this data");
  EXPECT_EQ(LengthError([&] { compiled.Render(data, 20000); }),
            "rendering stopped after 1280000 steps, the most allowed (64 per byte of the rendering limit, at least "
            "16 KiB): sections over lists repeat their bodies too often for this data");
}

TEST(Steps, AllowLongListsWithLittleText) {
  // About 100,000 steps for 25,000 elements under a limit of 10 bytes.
  mstch::array list(25000, mstch::map{{"ok", false}});
  EXPECT_EQ(Template("{{#list}}{{#ok}}x{{/ok}}{{^ok}}{{/ok}}{{/list}}done").Render(mstch::map{{"list", list}}, 10),
            "done");
}

// Partials that nest 256 deep, each with 100 sections: 25,600 sections, on a
// stack of passes of the renderer's own.
Template DeepTemplate() {
  return Template("{{>p}}", Escape::None,
                  {{"p", Repeat("{{#a}}", 99) + "{{#next}}{{>p}}{{/next}}{{v}}" + Repeat("{{/a}}", 99)}});
}

// `levels` maps nested under "next" below the root.
mstch::map DeepData(int levels) {
  mstch::map data{{"a", true}, {"v", Text("v")}, {"next", false}};
  for (int i = 0; i < levels; ++i) {
    data = mstch::map{{"a", true}, {"v", Text("v")}, {"next", std::move(data)}};
  }
  return data;
}

TEST(Nesting, DeepPartialsAndSectionsRender) {
  Template const deep = DeepTemplate();
  EXPECT_EQ(deep.Render(DeepData(255)), Repeat("v", 256));
  EXPECT_EQ(LengthError([&] { deep.Render(DeepData(256)); }), "partial \"p\" nests more than 256 partials deep");
  // The check follows partials as deep as rendering does, and no deeper.
  EXPECT_EQ(deep.FindMissingNames(DeepData(300)), Missing{});
}

// The same on a thread with a stack of 256 KiB, which the 25,600 levels of a
// recursive renderer would overflow.
TEST(Nesting, NeedsLittleOfTheThreadsStack) {
  struct Job {
    Template const deep = DeepTemplate();
    mstch::map const data = DeepData(255);
    Text text;
    Missing missing{{"unset", "", 0, 0}};
  } job;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void* argument) -> void* {
                  auto& own = *static_cast<Job*>(argument);
                  own.text = own.deep.Render(own.data);
                  own.missing = own.deep.FindMissingNames(own.data);
                  return nullptr;
                },
                &job),
            0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(job.text, Repeat("v", 256));
  EXPECT_EQ(job.missing, Missing{});
}

}  // namespace
}  // namespace orv::templating
