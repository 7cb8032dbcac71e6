// SPDX-License-Identifier: MIT
//
// Runs a fuzz target on the files named, without a fuzzer; directories stand for their files. Then
// once more on a second thread: from there on the library counts references atomically. A fault
// ends the program.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "fuzz/input.h"

namespace {

typedef std::vector<uint8_t> Bytes;

Bytes contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const Bytes bytes((std::istreambuf_iterator<char>(file)), {});
    return Bytes(bytes.begin(), bytes.end());  // of exactly that size: memory checkers see its end
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
    const auto replay = [&inputs] {
        for (const Bytes& input : inputs) LLVMFuzzerTestOneInput(input.data(), input.size());
    };
    replay();
    std::thread(replay).join();
    return inputs.empty() ? 1 : 0;
}
