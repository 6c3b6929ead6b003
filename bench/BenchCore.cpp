// The core's cost on a large image: reading, handing in and writing an
// 8000x6000 RGB composite, each against a plain baseline in the same run.

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "BenchSupport.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long WIDTH = 8000;
const unsigned long HEIGHT = 6000;
const unsigned long PLANE = WIDTH * HEIGHT;

const std::vector<char>& Planes() {
    static std::vector<char> planes = psdbench::MakePlanes(WIDTH, HEIGHT);
    return planes;
}

// A flat 8000x6000 RGB file written once per run.
const std::string& LargeFile() {
    static std::string path = [] {
        std::string p = psdbench::ScratchPath("psdkit-bench-core.psd");
        psdkit::PhotoshopFile document;
        document.OpenWriteFile(p.c_str());
        document.SetImageWidth(WIDTH);
        document.SetImageHeight(HEIGHT);
        document.SetImageData(Planes().data(), Planes().size());
        document.CommitWriteFile();
        return p;
    }();
    return path;
}

// Reading the file: the library against a plain read of the whole file into a
// freshly allocated buffer. Target: ratio at most 0.5.
void BM_OpenReadFile(benchmark::State& state) {
    const std::string& path = LargeFile();
    psdbench::RunAgainstBaseline(
        state,
        [&] {
            std::ifstream in(path, std::ios_base::binary);
            in.seekg(0, std::ios_base::end);
            std::streamsize size = in.tellg();
            in.seekg(0);
            std::unique_ptr<char[]> buffer(new char[size]);
            in.read(buffer.get(), size);
            benchmark::DoNotOptimize(buffer.get());
        },
        [&] {
            psdkit::PhotoshopFile document;
            if (!document.OpenReadFile(path.c_str()) || document.GetImageDataLen() != 3 * PLANE)
                state.SkipWithError("read failed");
            benchmark::DoNotOptimize(document.GetImageData());
        });
}

// Baseline of the hand-in benchmarks: a copy into a freshly allocated buffer.
void CopyIntoFreshBuffer() {
    const std::vector<char>& planes = Planes();
    std::unique_ptr<char[]> buffer(new char[planes.size()]);
    std::memcpy(buffer.get(), planes.data(), planes.size());
    benchmark::DoNotOptimize(buffer.get());
}

// Handing the image in: the library against a copy into a freshly allocated
// buffer. Target: ratio at most 0.5.
void BM_SetImageData(benchmark::State& state) {
    const std::vector<char>& planes = Planes();
    psdbench::RunAgainstBaseline(state, CopyIntoFreshBuffer, [&] {
        psdkit::PhotoshopFile document;
        document.SetImageData(planes.data(), planes.size());
        benchmark::DoNotOptimize(document.GetImageData());
    });
}

void BM_SetPlanarImageData(benchmark::State& state) {
    const std::vector<char>& planes = Planes();
    psdbench::RunAgainstBaseline(state, CopyIntoFreshBuffer, [&] {
        psdkit::PhotoshopFile document;
        document.SetPlanarImageData(planes.data(), planes.data() + PLANE, planes.data() + 2 * PLANE, PLANE);
        benchmark::DoNotOptimize(document.GetImageData());
    });
}

// Writing the file: a whole commit against a plain ofstream write and close of
// the same image bytes. Target: ratio at most 1.1 (1.2 with the standard
// resources).
void BM_CommitWriteFile(benchmark::State& state) {
    const std::vector<char>& planes = Planes();
    std::string plainPath = psdbench::ScratchPath("psdkit-bench-plain-write.bin");
    std::string path = psdbench::ScratchPath("psdkit-bench-commit.psd");
    psdkit::PhotoshopFile document;
    document.SetImageData(planes.data(), planes.size());
    psdbench::RunAgainstBaseline(
        state,
        [&] {
            std::ofstream out(plainPath, std::ios_base::binary | std::ios_base::trunc);
            out.write(planes.data(), static_cast<std::streamsize>(planes.size()));
            out.close();
        },
        [&] {
            document.OpenWriteFile(path.c_str());
            document.SetImageWidth(WIDTH);
            document.SetImageHeight(HEIGHT);
            if (!document.CommitWriteFile()) state.SkipWithError("commit failed");
        });
    std::remove(plainPath.c_str());
    std::remove(path.c_str());
}

long ResidentKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind(field, 0) == 0) return std::stol(line.substr(std::strlen(field)));
    return -1;
}

// Peak memory of a read, measured in a child process that does nothing else:
// the growth of its high-water mark beyond what it held before the read.
void BM_OpenReadFilePeakMemory(benchmark::State& state) {
    const std::string& path = LargeFile();
    double overheadKiB = 0;
    for (auto _ : state) {
        int pipeFds[2];
        if (pipe(pipeFds) != 0) state.SkipWithError("pipe");
        pid_t child = fork();
        if (child == 0) {
            close(pipeFds[0]);
            long before = ResidentKiB("VmRSS:");
            // Start the high-water mark afresh from here.
            std::ofstream("/proc/self/clear_refs") << "5";
            long result = -1;
            {
                psdkit::PhotoshopFile document;
                if (document.OpenReadFile(path.c_str())) result = ResidentKiB("VmHWM:") - before;
            }
            if (write(pipeFds[1], &result, sizeof result) != sizeof result) _exit(1);
            _exit(0);
        }
        close(pipeFds[1]);
        long grown = -1;
        if (read(pipeFds[0], &grown, sizeof grown) != sizeof grown) grown = -1;
        close(pipeFds[0]);
        waitpid(child, nullptr, 0);
        overheadKiB = static_cast<double>(grown) - static_cast<double>(3 * PLANE) / 1024.0;
    }
    state.counters["peak_over_image_KiB"] = overheadKiB;
}

}  // namespace

BENCHMARK(BM_OpenReadFile)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(3);
BENCHMARK(BM_OpenReadFilePeakMemory)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_SetImageData)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(3);
BENCHMARK(BM_SetPlanarImageData)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(3);
BENCHMARK(BM_CommitWriteFile)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(3);
