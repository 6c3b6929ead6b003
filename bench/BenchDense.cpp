// Files densely packed with small valid objects: empty resource blocks, ICC
// tags of size 0 and minimal layer records. Reading one must take time in
// proportion to its size and keep memory within twice its size and a megabyte:
// the counters per MB stay flat from 1 to 100 MB. The baseline is a plain read
// of the same bytes into a fresh buffer.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/psdkit.h"

namespace {

void U16(std::string& out, unsigned v) {
    out += static_cast<char>(v >> 8);
    out += static_cast<char>(v);
}

void U32(std::string& out, unsigned long v) {
    U16(out, static_cast<unsigned>(v >> 16));
    U16(out, static_cast<unsigned>(v & 0xFFFF));
}

// Header of a 1 x 1 RGB document and an empty colour mode section.
std::string Header() {
    std::string out = "8BPS";
    U16(out, 1);
    out.append(6, '\0');
    U16(out, 3);
    U32(out, 1);
    U32(out, 1);
    U16(out, 8);
    U16(out, 3);
    U32(out, 0);
    return out;
}

std::string Resources(const std::string& blocks) {
    std::string out;
    U32(out, blocks.size());
    return out + blocks;
}

// Kind 0: empty resource blocks; 1: one profile of zero-size tags; 2: minimal layer records.
std::string DenseFile(int kind, unsigned long megabytes) {
    const unsigned long bytes = megabytes << 20;
    std::string body;
    if (kind == 0) {
        std::string block = "8BIM";
        U16(block, 1000);
        U16(block, 0);
        U32(block, 0);
        while (body.size() + block.size() <= bytes) body += block;
        body = Resources(body);
        U32(body, 0);
    } else if (kind == 1) {
        unsigned long tags = bytes / 12;
        std::string profile;
        U32(profile, 132 + 12 * tags);
        profile.append(124, '\0');
        U32(profile, tags);
        for (unsigned long i = 0; i < tags; ++i) {
            U32(profile, 0x74657374);
            U32(profile, 0);
            U32(profile, 0);
        }
        std::string block = "8BIM";
        U16(block, 1039);
        U16(block, 0);
        U32(block, profile.size());
        block += profile;
        if (block.size() % 2 != 0) block += '\0';
        body = Resources(block);
        U32(body, 0);
    } else {
        std::string record;
        for (int i = 0; i < 4; ++i) U32(record, 0);
        U16(record, 0);
        record += "8BIMnorm";
        record += std::string("\xFF\0\0\0", 4);
        U32(record, 12);
        U32(record, 0);
        U32(record, 0);
        record.append(4, '\0');
        std::string info;
        unsigned long count = bytes / record.size();
        if (count > 32767) count = 32767;  // the count is 16 bits, signed
        U16(info, static_cast<unsigned>(count));
        for (unsigned long i = 0; i < count; ++i) info += record;
        body = Resources("");
        U32(body, info.size() + 4);
        U32(body, info.size());
        body += info;
    }
    std::string file = Header() + body;
    U16(file, 0);
    file.append(3, '\0');
    std::string path =
        psdbench::ScratchPath("psdkit-bench-dense-" + std::to_string(kind) + "-" + std::to_string(megabytes) + ".psd");
    std::ofstream(path, std::ios_base::binary | std::ios_base::trunc).write(file.data(), file.size());
    return path;
}

void BM_ReadDenseFile(benchmark::State& state) {
    const int kind = static_cast<int>(state.range(0));
    const unsigned long megabytes = static_cast<unsigned long>(state.range(1));
    const std::string path = DenseFile(kind, megabytes);
    std::size_t kept = 0;
    psdbench::RunAgainstBaseline(
        state,
        [&] {
            std::ifstream in(path, std::ios_base::binary);
            std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            benchmark::DoNotOptimize(bytes.data());
        },
        [&] {
            std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
            psdkit::PhotoshopFile document;
            document.OpenReadFile(path.c_str());
            std::size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
            kept = after > before ? after - before : 0;
        },
        1);
    state.counters["kept_bytes_per_file_byte"] = static_cast<double>(kept) / static_cast<double>(megabytes << 20);
    state.counters["s_per_MB"] = benchmark::Counter(
        static_cast<double>(megabytes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_ReadDenseFile)
    ->ArgsProduct({{0, 1, 2}, {1, 10, 100}})
    ->ArgNames({"kind", "MB"})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(2);
