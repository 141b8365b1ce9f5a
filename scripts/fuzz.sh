#!/usr/bin/env bash
# Builds the libFuzzer targets (preset "fuzz": clang, ASan + UBSan, build-fuzz/)
# and runs each of them for SECONDS seconds (default 60), two at a time on a
# machine of two or more cores. Fails when a target crashes, hangs, leaks or
# breaks one of its checks, and prints where the input that did it was saved.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]   run every target, or the ones named
#   scripts/fuzz.sh --seeds                 remake the seed corpus: the inputs made by
#                                           fuzz/make_seeds.py and those found so far,
#                                           minimised into fuzz/corpus/seed/
#
# Each target starts from its committed seeds in fuzz/corpus/seed/<target>/ and
# keeps what it finds in fuzz/corpus/run/<target>/ (not committed), so later
# runs go on from there. Options: FUZZ_JOBS (targets run at once), FUZZ_SEED
# (libFuzzer's random seed, for runs that mutate the same way each time).
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"

# Per target: the longest input, the time one input may take (s), the memory
# it may use (MiB), and its dictionary.
declare -A max_len=([fuzz_event]=16384 [fuzz_config]=16384 [fuzz_property]=4096 [fuzz_template]=8192
  [fuzz_partials]=8192 [fuzz_mime]=8192 [fuzz_replies]=4096 [fuzz_outbox]=1024
  [fuzz_studio]=16384 [fuzz_lines]=4096)
declare -A time_limit=([fuzz_event]=10 [fuzz_config]=10 [fuzz_property]=10 [fuzz_template]=10
  [fuzz_partials]=10 [fuzz_mime]=10 [fuzz_replies]=10 [fuzz_outbox]=30
  [fuzz_studio]=10 [fuzz_lines]=10)
declare -A memory=([fuzz_event]=2048 [fuzz_config]=2048 [fuzz_property]=2048 [fuzz_template]=2048
  [fuzz_partials]=2048 [fuzz_mime]=2048 [fuzz_replies]=2048 [fuzz_outbox]=2048
  [fuzz_studio]=2048 [fuzz_lines]=2048)
declare -A dictionary=([fuzz_event]=event.dict [fuzz_config]=config.dict [fuzz_property]=mustache.dict
  [fuzz_template]=mustache.dict [fuzz_partials]=mustache.dict [fuzz_studio]=event.dict)
all_targets=(fuzz_event fuzz_config fuzz_property fuzz_template fuzz_partials fuzz_mime fuzz_replies fuzz_outbox
  fuzz_studio fuzz_lines)

seeds=false
seconds=60
if [ "${1:-}" = "--seeds" ]; then
  seeds=true
  shift
elif [ $# -gt 0 ]; then
  seconds="$1"
  shift
fi
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=("${all_targets[@]}")
for target in "${targets[@]}"; do
  if [ -z "${max_len[$target]:-}" ]; then
    echo "fuzz.sh: unknown target '$target'; the targets are ${all_targets[*]}" >&2
    exit 2
  fi
done

bash scripts/install-deps.sh fuzz
cmake --preset fuzz
cmake --build --preset fuzz

bin="$root/build-fuzz/bin"
logs="$root/build-fuzz/fuzz-logs"
artifacts="$root/build-fuzz/fuzz-artifacts"
mkdir -p "$logs" "$artifacts"
# Debian's libraries (GMime, GLib, libcurl, SQLite) are not instrumented; the
# suppressions name exactly their allocations that live as long as the process.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:symbolize=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export LSAN_OPTIONS="suppressions=$root/fuzz/lsan.supp:print_suppressions=0${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

options() {
  local target="$1"
  local list=(-max_len="${max_len[$target]}" -timeout="${time_limit[$target]}" -rss_limit_mb="${memory[$target]}"
    -print_final_stats=1)
  if [ -n "${dictionary[$target]:-}" ]; then
    list+=(-dict="$root/fuzz/dict/${dictionary[$target]}")
  fi
  printf '%s\n' "${list[@]}"
}

if $seeds; then
  made="$(mktemp -d)"
  trap 'rm -rf "$made"' EXIT
  /usr/bin/python3 fuzz/make_seeds.py "$made"
  for target in "${targets[@]}"; do
    mapfile -t list < <(options "$target")
    mkdir -p "fuzz/corpus/seed/$target" "fuzz/corpus/run/$target" "$made/$target" "$made/merged-$target"
    "$bin/$target" "${list[@]}" -merge=1 "$made/merged-$target" "fuzz/corpus/seed/$target" "$made/$target" \
      "fuzz/corpus/run/$target" > "$logs/$target-merge.log" 2>&1 ||
      { tail -40 "$logs/$target-merge.log"; exit 1; }
    rm -rf "fuzz/corpus/seed/$target"
    mv "$made/merged-$target" "fuzz/corpus/seed/$target"
    echo "$target: $(ls "fuzz/corpus/seed/$target" | wc -l) seeds, $(du -sk "fuzz/corpus/seed/$target" | cut -f1) KiB"
  done
  exit 0
fi

# Runs one target; its log and outcome go to build-fuzz/fuzz-logs/.
run() {
  local target="$1"
  local list
  mapfile -t list < <(options "$target")
  mkdir -p "fuzz/corpus/seed/$target" "fuzz/corpus/run/$target"
  local status=0
  # The fuzzer stops itself after SECONDS; the time-out only ends a run that
  # cannot (a hang outside any one input).
  local seed=()
  if [ -n "${FUZZ_SEED:-}" ]; then
    seed=(-seed="$FUZZ_SEED")
  fi
  timeout --kill-after=10 $((seconds + 120)) "$bin/$target" "${list[@]}" "${seed[@]}" -max_total_time="$seconds" \
    -artifact_prefix="$artifacts/$target-" "fuzz/corpus/run/$target" "fuzz/corpus/seed/$target" \
    > "$logs/$target.log" 2>&1 || status=$?
  echo "$status" > "$logs/$target.status"
}

jobs="${FUZZ_JOBS:-$(( $(nproc) >= 2 ? 2 : 1 ))}"
echo "Fuzzing ${targets[*]} for $seconds s each, $jobs at a time"
for target in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do
    wait -n || true
  done
  run "$target" &
done
wait

failed=0
printf '%-15s %12s %10s %8s  %s\n' target executions exec/s seconds outcome
for target in "${targets[@]}"; do
  log="$logs/$target.log"
  status="$(cat "$logs/$target.status")"
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
  rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
  outcome=ok
  if [ "$status" != 0 ]; then
    outcome="FAILED (exit $status)"
    failed=1
  fi
  printf '%-15s %12s %10s %8s  %s\n' "$target" "${runs:-?}" "${rate:-?}" "$seconds" "$outcome"
done
if [ "$failed" != 0 ]; then
  for target in "${targets[@]}"; do
    if [ "$(cat "$logs/$target.status")" != 0 ]; then
      echo
      echo "=== $target (build-fuzz/fuzz-logs/$target.log) ==="
      grep -v '^#[0-9]' "$logs/$target.log" | tail -60
    fi
  done
  echo
  echo "fuzz.sh: a target failed; the input is saved under build-fuzz/fuzz-artifacts/" >&2
  exit 1
fi
