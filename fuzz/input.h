// SPDX-License-Identifier: MIT
//
// What a fuzz target reads its decisions from, and how it reports a fault.

#ifndef VELUTILS_FUZZ_INPUT_H
#define VELUTILS_FUZZ_INPUT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

// One run: any bytes. Called by the fuzzer, or by replay_main.cc with the bytes of a file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define REQUIRE(condition)                                                      \
    do {                                                                        \
        if (condition) break;                                                   \
        fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
        abort();                                                                \
    } while (false)

// The bytes of a run, taken from the front; behind their end everything is zero.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}

    bool isEmpty() const { return left_ == 0; }
    // A number below n, of one byte; n is at most 256.
    size_t below(size_t n) { return number<uint8_t>() % n; }
    template <class Number>
    Number number() {
        Number value = 0;
        const std::string bytes = text(sizeof value);
        memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    // The next bytes, n at most.
    std::string text(size_t n) {
        n = std::min(n, left_);
        const std::string bytes(reinterpret_cast<const char*>(at_), n);
        at_ += n;
        left_ -= n;
        return bytes;
    }
    // The bytes up to the next NUL, which is taken too, or to the end.
    std::string line() {
        const std::string bytes = text(strnlen(reinterpret_cast<const char*>(at_), left_));
        text(1);
        return bytes;
    }
    std::string rest() { return text(left_); }

  private:
    const uint8_t* at_;
    size_t left_;
};

#endif
