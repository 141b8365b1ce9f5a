// A plug-in with nothing to initialise: the trial's fixed cost.
extern "C" int orv_bench_empty_value() { return 1; }
