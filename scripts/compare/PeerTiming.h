// SPDX-License-Identifier: MIT
// What every program of `make compare` shares: read the file given a few
// times, keep the median wall time, print one line for the table:
//   <file>\t<vertices>\t<triangles>\t<median ms>
// Each program builds its library's own welded mesh from the file; the
// vertex and triangle counts show that every side did the same work. The
// process's CPU time over all its threads is kept beside the wall time: on a
// busy machine it says more about the work done than the wall time does.
//   <file>\t<vertices>\t<triangles>\t<median ms>\t<median CPU ms>
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>
#include <vector>

namespace QEL::Compare {

struct SCounts {
    std::size_t vertices = 0;
    std::size_t triangles = 0;
};

// usage: <program> FILE [RUNS]; read(path) returns the counts of one read.
template <class Read>
int Main(int argc, char** argv, Read&& read) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [RUNS]\n", argv[0]);
        return 2;
    }
    int const runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    try {
        std::vector<double> times, cpu;
        SCounts counts;
        for (int r = 0; r < runs; ++r) {
            auto const start = std::chrono::steady_clock::now();
            std::clock_t const startCPU = std::clock();
            counts = read(argv[1]);
            std::clock_t const stopCPU = std::clock();
            auto const stop = std::chrono::steady_clock::now();
            times.push_back(std::chrono::duration<double, std::milli>(stop - start).count());
            cpu.push_back(1000.0 * double(stopCPU - startCPU) / CLOCKS_PER_SEC);
        }
        std::sort(times.begin(), times.end());
        std::sort(cpu.begin(), cpu.end());
        std::printf("%s\t%zu\t%zu\t%.0f\t%.0f\n", argv[1], counts.vertices, counts.triangles,
                    times[times.size() / 2], cpu[cpu.size() / 2]);
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        return 1;
    }
    return 0;
}

}  // namespace QEL::Compare
