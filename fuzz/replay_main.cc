// SPDX-License-Identifier: MIT
//
// Runs a fuzz target without a fuzzer, on the given files and the files of given directories, and
// on mixtures of their pieces, which are the same at every run. Then runs it again on a second
// thread, in which the library counts references atomically. A fault aborts the program.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>
#include <vector>

#include "fuzz/input.h"

namespace {

typedef std::vector<uint8_t> Bytes;
const size_t MOST_MIXTURES = 4000;
const size_t MOST_BYTES = 500000;

Bytes contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const Bytes bytes((std::istreambuf_iterator<char>(file)), {});
    return Bytes(bytes.begin(), bytes.end());  // of exactly that size: memory checkers see its end
}

// Returns a seed with a few pieces replaced, mostly by pieces of the other seeds. Targets can use
// such bytes more often than random ones.
Bytes mixtureOf(const std::vector<Bytes>& seeds, std::minstd_rand& random) {
    const auto below = [&random](size_t n) { return ptrdiff_t(random() % std::max(n, size_t{1})); };
    Bytes bytes = seeds[size_t(below(seeds.size()))];
    for (ptrdiff_t edits = 1 + below(8); edits > 0; --edits) {
        const Bytes& other = seeds[size_t(below(seeds.size()))];
        const auto from = other.begin() + below(other.size());
        Bytes piece(from, from + std::min(1 + below(6), other.end() - from));
        if (below(4) == 0) piece.assign(1, uint8_t(below(256)));
        const auto at = bytes.begin() + below(bytes.size() + 1);
        const auto after = bytes.erase(at, at + std::min(below(6), bytes.end() - at));
        bytes.insert(after, piece.begin(), piece.end());
    }
    return Bytes(bytes);  // of exactly that size, too
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Bytes> inputs;
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_directory(argv[i]))
            for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
                inputs.push_back(contentOf(entry.path()));
        else
            inputs.push_back(contentOf(argv[i]));
    }
    if (inputs.empty()) return 1;
    std::sort(inputs.begin(), inputs.end());
    const std::vector<Bytes> seeds = inputs;
    std::minstd_rand random(1);
    for (size_t i = 0, bytes = 0; i < MOST_MIXTURES && bytes < MOST_BYTES; ++i) {
        inputs.push_back(mixtureOf(seeds, random));
        bytes += inputs.back().size();
    }
    const auto replay = [&inputs] {
        for (const Bytes& input : inputs) LLVMFuzzerTestOneInput(input.data(), input.size());
    };
    replay();
    std::thread(replay).join();
    return 0;
}
