#pragma once

/// Sides of a comparison that run in a process each, so that its heap is fresh and its peak memory
/// is its own.

#include "side.hpp"

#include <sys/mman.h>

#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace bench {

/// Makes the machine fetch memory from its host before anything is timed.
///
/// A virtual machine's free memory goes back to its host, and the next use waits for the host to
/// hand pages out again: the same run took 0.17 to 1.0 s, depending on what had run before.
inline void fetchMemory() {
    constexpr std::size_t size = std::size_t{1} << 30U; // more than any side needs
    void* const memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED, "memory");
    ::madvise(memory, size, MADV_HUGEPAGE); // comes back first when it was given back whole
    std::memset(memory, 1, size);
    ::munmap(memory, size);
    std::ofstream("/proc/self/clear_refs") << "5"; // forgets the peak
}

inline double peakMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stod(line.substr(line.find(':') + 1)) / 1024;
        }
    }
    require(false, "peak memory");
    return 0;
}

/// What a side's process tells the one that started it.
struct Report {
    double seconds;
    double peakMegabytes;
    std::size_t signature;
};

/// @param run        does the whole job once; only this is measured.
/// @param signature  of its result: a hash of every bit, equal for equal answers.
template <class Run, class Signature>
Report measure(const Run& run, const Signature& signature) {
    using Clock = std::chrono::steady_clock;
    fetchMemory();
    const auto begin = Clock::now();
    const auto result = run();
    Report report{};
    report.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    report.peakMegabytes = peakMegabytes();
    report.signature = signature(result);
    return report;
}

inline Report inOwnProcess(const char* program, const std::string& side, const std::string& path) {
    const std::string command = std::string(program) + " --side '" + side + "' " + path;
    FILE* pipe = ::popen(command.c_str(), "r");
    require(pipe != nullptr, "starting a side");
    Report report{};
    require(std::fread(&report, sizeof report, 1, pipe) == 1, "result of a side");
    require(::pclose(pipe) == 0, "end of a side");
    return report;
}

/// Hands a side's report to the process that started it.
/// @return the exit status.
inline int tell(const Report& report) {
    return std::fwrite(&report, sizeof report, 1, stdout) == 1 ? 0 : 1;
}

/// The best run of each side; every answer must be that of the first.
inline std::vector<Report> bestOf(const char* program, std::span<const char* const> sides,
                                  const std::string& path, int rounds) {
    std::vector<Report> best;
    for (const char* const side : sides) {
        best.push_back(inOwnProcess(program, side, path));
        require(best.back().signature == best.front().signature, side);
    }
    for (Report& report : best) {
        report.seconds = std::numeric_limits<double>::infinity(); // the first ones do not count
    }
    for (int r = 0; r < rounds; ++r) {
        for (std::size_t s = 0; s < sides.size(); ++s) {
            const Report report = inOwnProcess(program, sides[s], path);
            require(report.signature == best.front().signature, sides[s]);
            if (report.seconds < best[s].seconds) {
                best[s] = report;
            }
        }
    }
    return best;
}

/// Prints the best runs of a case in the shape of Google Benchmark's report, as far as
/// scripts/bench_report.py reads it.
inline void printRuns(const std::string& name, std::span<const char* const> sides,
                      std::span<const Report> best, bool first) {
    for (std::size_t s = 0; s < sides.size(); ++s) {
        std::printf("%s{\"name\": \"%s/%s\", \"run_type\": \"iteration\", \"real_time\": %.1f, "
                    "\"peak_megabytes\": %.0f}\n",
                    s == 0 && first ? "" : ",", name.c_str(), sides[s], best[s].seconds * 1e6,
                    best[s].peakMegabytes);
    }
}

} // namespace bench
