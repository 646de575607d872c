#pragma once

/// What the benchmark programs share: how a comparison is registered, and how answers are checked.

#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/dom.hpp>
#include <ostra/io/json/tree/node_vector.hpp>

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <tbb/global_control.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace tree = ostra::io::json::tree;

/// Ends the program if an answer is wrong: a fast wrong answer is not a result.
inline void require(bool right, const char* what) {
    if (!right) {
        (void)std::fprintf(stderr, "wrong answer: %s\n", what);
        std::exit(1);
    }
}

/// What `run` gives if oneTBB may use the calling thread only.
template <class Run>
auto onOneThread(const Run& run) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
    return run();
}

/// Registers one side of a comparison.
///
/// @param name  "topic/case/side"; the sides of one case are compared by scripts/bench.
/// @param run   does the whole job once and returns its result, which is destroyed in the measured
///              time on every side alike.
template <class Run>
void side(const std::string& name, const Run& run) {
    constexpr int repetitions = 5; // the best of them counts: the machines are noisy
    constexpr double secondsEach = 0.05;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [run](benchmark::State& state) {
                                     for (auto _ : state) {
                                         benchmark::DoNotOptimize(run());
                                     }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->MinTime(secondsEach)
        ->Repetitions(repetitions);
}

/// Registers one side of a comparison that uses its input up: each run gets a fresh one, made and
/// destroyed outside the measured time.
template <class Fresh, class Run>
void freshSide(const std::string& name, const Fresh& fresh, const Run& run) {
    constexpr int repetitions = 7;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [fresh, run](benchmark::State& state) {
                                     for (auto _ : state) {
                                         state.PauseTiming();
                                         auto input = std::make_unique<decltype(fresh())>(fresh());
                                         state.ResumeTiming();
                                         run(*input);
                                         state.PauseTiming();
                                         input.reset();
                                         state.ResumeTiming();
                                     }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->Iterations(1)
        ->Repetitions(repetitions);
}

/// Registers one side of a comparison of first loads: each run starts with a heap that has given
/// its free memory back to the system, and its result is destroyed outside the measured time.
template <class Run>
void coldSide(const std::string& name, const Run& run) {
    constexpr int repetitions = 7;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [run](benchmark::State& state) {
                                     for (auto _ : state) {
                                         state.PauseTiming();
                                         malloc_trim(0);
                                         state.ResumeTiming();
                                         auto result = run();
                                         benchmark::DoNotOptimize(result);
                                         state.PauseTiming();
                                         { [[maybe_unused]] const auto gone = std::move(result); }
                                         state.ResumeTiming();
                                     }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->Iterations(1)
        ->Repetitions(repetitions);
}

/// Registers one side of a comparison on one thread whose memory is warm: what a run frees is there
/// for the next. Counts the thread's CPU time, which a busy machine disturbs less.
///
/// @param run  as for `side`.
template <class Run>
void warmSide(const std::string& name, const Run& run) {
    constexpr int repetitions = 5;
    constexpr double secondsEach = 0.05;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [run](benchmark::State& state) {
                                     onOneThread([&] {
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(run());
                                         }
                                         return 0;
                                     });
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(secondsEach)
        ->Repetitions(repetitions);
}

inline int runSides(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

/// A path for a file of this process alone.
inline std::filesystem::path temporaryPath() {
    return std::filesystem::temp_directory_path() /
           ("tviojsontree-bench-" + std::to_string(::getpid()) + ".json");
}

inline std::vector<char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The elements of the array that a text holds, as a binding would hand them to a node vector.
inline tree::NodeVector elementsOf(const std::string& text) {
    const std::shared_ptr<tree::DOM> dom = tree::make_dom_ptr();
    *dom = tree::read_string(fl::i18n::utf8_to_ustring(text), {});
    return tree::NodeVector(dom, {&dom->document}).get_children();
}

} // namespace bench
